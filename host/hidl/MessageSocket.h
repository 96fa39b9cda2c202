// Cap'n Proto messages, and descriptors beside them, over a Unix socket.
#pragma once

#include <capnp/serialize-async.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <deque>
#include <vector>

#include "Loop.h"
#include "UniqueFd.h"

namespace android::hardware {

// Used in turns of the loop. A read of the socket takes all that is there, and a write sends a
// whole message, as far as the peer keeps up. A message above the limit of its reader, or cut
// short, fails the read. The segments of a message that is written are looked at only in the call.
class MessageSocket final : public capnp::MessageStream, private Loop::Watch {
  public:
    // Takes the connected socket, and makes it non-blocking.
    MessageSocket(Loop& loop, UniqueFd socket);

    kj::Promise<kj::Maybe<capnp::MessageReaderAndFds>> tryReadMessage(
            kj::ArrayPtr<kj::AutoCloseFd> fdSpace, capnp::ReaderOptions options,
            kj::ArrayPtr<capnp::word> scratchSpace) override;
    kj::Promise<void> writeMessage(
            kj::ArrayPtr<const int> fds,
            kj::ArrayPtr<const kj::ArrayPtr<const capnp::word>> segments) override;
    kj::Promise<void> writeMessages(
            kj::ArrayPtr<kj::ArrayPtr<const kj::ArrayPtr<const capnp::word>>> messages) override;
    kj::Maybe<int> getSendBufferSize() override { return nullptr; }
    kj::Promise<void> end() override;

    using capnp::MessageStream::tryReadMessage;
    using capnp::MessageStream::writeMessage;
    using capnp::MessageStream::writeMessages;

  private:
    using Message = kj::Maybe<capnp::MessageReaderAndFds>;
    enum class Progress { DONE, BLOCKED, ENDED };

    // A descriptor that came with bytes up to a position in the stream.
    struct Received {
        uint64_t position;
        UniqueFd fd;
    };
    struct PendingRead {
        kj::ArrayPtr<kj::AutoCloseFd> fdSpace;
        capnp::ReaderOptions options;
        kj::Own<kj::PromiseFulfiller<Message>> fulfiller;
    };
    struct PendingWrite {
        std::vector<iovec> parts;
        std::vector<int> fds;
        kj::Own<kj::PromiseFulfiller<void>> fulfiller;
    };

    kj::Promise<Message> read(kj::ArrayPtr<kj::AutoCloseFd> fdSpace,
                              const capnp::ReaderOptions& options);
    void ready(bool hungUp) override;
    void continueRead();
    void continueWrite();

    // Reading: `mMessage` is as large as the message is known to be; `mAhead` has what came behind.
    Progress assemble(const capnp::ReaderOptions& options);
    bool takeFromAhead();
    bool growToKnownSize(const capnp::ReaderOptions& options);
    Progress receive();
    void keepDescriptors(msghdr& header);
    capnp::MessageReaderAndFds finish(kj::ArrayPtr<kj::AutoCloseFd> fdSpace,
                                      const capnp::ReaderOptions& options);
    bool mayWait(kj::ArrayPtr<const kj::ArrayPtr<const capnp::word>> segments);
    void keep(std::vector<iovec>& parts);
    Progress sendParts(std::vector<iovec>& parts, std::vector<int>& fds);

    kj::Array<capnp::word> mMessage;
    size_t mFilled = 0;
    std::vector<kj::byte> mAhead;
    size_t mAheadStart = 0;
    size_t mAheadEnd = 0;
    // Messages since the socket was found ready.
    int mBurst = 0;
    // Nothing is there to be received until the socket is ready again.
    bool mDrained = false;
    // The peer sends no more than what is there.
    bool mHungUp = false;
    // Positions in the stream: what was received, and what is in complete messages.
    uint64_t mReceivedBytes = 0;
    uint64_t mConsumedBytes = 0;
    std::deque<Received> mReceivedFds;
    kj::Maybe<PendingRead> mRead;
    kj::Maybe<PendingWrite> mWrite;
    // The table of segments of the message that is being written.
    std::vector<uint32_t> mTable;
    // A message that goes with the next one, and one that is being written.
    std::vector<kj::byte> mHeld;
    std::vector<kj::byte> mSending;
    // The peer keeps objects for us until it is told that we have the results that name them.
    bool mGotObjects = false;
};

}  // namespace android::hardware
