// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What stands between a peer and Cap'n Proto, and bounds what the peer can make this process hold.
#pragma once

#include <capnp/rpc-twoparty.h>
#include <capnp/rpc.capnp.h>
#include <capnp/serialize-async.h>
#include <hwbinder/Parcel.h>
#include <kj/function.h>

#include <unordered_map>

namespace android::hardware {

// What one connection may hold. Our own side keeps to these; a peer that does not is hung up on.
constexpr size_t kMaxObjectsOfCall = 1024;
constexpr size_t kMaxQuestions = 1024;
constexpr size_t kMaxQuestionBytes = 8 * Parcel::kMaxSize;
constexpr size_t kMaxUnsentBytes = 4 * Parcel::kMaxSize;
constexpr size_t kMaxMessageBytes = Parcel::kMaxSize + Parcel::kMaxSize / 4;
constexpr size_t kMaxDescriptorsUnderWay = 4 * Parcel::kMaxDescriptors;

// Questions (calls and bootstraps) of one side, until they are both answered and finished.
class Questions {
  public:
    // False when the number is in use.
    bool add(uint32_t id, size_t bytes, size_t descriptors);
    // False when there is no such question, or it happened to it before.
    bool answer(uint32_t id);
    bool finish(uint32_t id);

    size_t count() const { return mQuestions.size(); }
    // Of those that were not answered.
    size_t bytes() const { return mBytes; }
    size_t descriptors() const { return mDescriptors; }

  private:
    struct Question {
        size_t bytes;
        size_t descriptors;
        bool answered = false;
        bool finished = false;
    };

    std::unordered_map<uint32_t, Question> mQuestions;
    size_t mBytes = 0;
    size_t mDescriptors = 0;
};

// Passes messages on, and looks at their kinds and sizes. Used in turns of the loop.
class BoundedStream final : public capnp::MessageStream {
  public:
    // `hangUp` is called with the reason, and calls stopReading().
    BoundedStream(kj::Own<kj::AsyncCapabilityStream> stream,
                  kj::Function<void(const char*)> hangUp);

    // What holds messages that wait for the peer to read.
    void boundBy(capnp::TwoPartyVatNetwork& network) { mNetwork = &network; }

    // Reads nothing from now on.
    void stopReading() { mStopped = true; }
    bool hasStopped() const { return mStopped; }

    // Whether the peer has sent a whole message.
    bool hasSpoken() const { return mHasSpoken; }
    // What this side asked the other.
    const Questions& asked() const { return mAsked; }

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
    kj::Function<void(const char*)> mHangUp;
    capnp::TwoPartyVatNetwork* mNetwork = nullptr;
    bool mHasSpoken = false;
    bool mStopped = false;
    int mBurst = 0;
    Questions mAsked;
    Questions mGot;
};

}  // namespace android::hardware
