// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What stands between a peer and Cap'n Proto, and bounds what the peer can make this process hold.
#pragma once

#include <capnp/serialize-async.h>

namespace android::hardware::transport {

class Peer;

// Passes messages on, and looks at their kinds and sizes. Used in turns of the loop.
class BoundedStream final : public capnp::MessageStream {
  public:
    BoundedStream(kj::Own<kj::AsyncCapabilityStream> socket, Peer& peer);

    // Whether the peer has sent a whole message.
    bool hasSpoken() const { return mHasSpoken; }

    kj::Promise<kj::Maybe<capnp::MessageReaderAndFds>> tryReadMessage(
            kj::ArrayPtr<kj::AutoCloseFd> fdSpace, capnp::ReaderOptions options,
            kj::ArrayPtr<capnp::word> scratchSpace) override;
    kj::Promise<void> writeMessage(
            kj::ArrayPtr<const int> fds,
            kj::ArrayPtr<const kj::ArrayPtr<const capnp::word>> segments) override;
    kj::Promise<void> writeMessages(
            kj::ArrayPtr<kj::ArrayPtr<const kj::ArrayPtr<const capnp::word>>> messages) override;
    kj::Maybe<int> getSendBufferSize() override { return nullptr; }
    kj::Promise<void> end() override { return mStream.end(); }

  private:
    kj::Promise<kj::Maybe<capnp::MessageReaderAndFds>> pass(
            kj::Maybe<capnp::MessageReaderAndFds> received);
    // Why the message is one too many; null when it is not.
    const char* refuse(capnp::MessageReader& message, size_t descriptors);
    const char* refuseQuestion(uint32_t id, capnp::MessageReader& message, size_t descriptors);

    kj::Own<kj::AsyncCapabilityStream> mSocket;
    capnp::AsyncCapabilityMessageStream mStream;
    Peer& mPeer;
    bool mHasSpoken = false;
    int mBurst = 0;
};

}  // namespace android::hardware::transport
