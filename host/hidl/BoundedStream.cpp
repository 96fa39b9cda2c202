// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "BoundedStream.h"

#include <capnp/rpc.capnp.h>
#include <capnp/serialize.h>

#include "Loop.h"
#include "Peer.h"

namespace android::hardware::transport {

namespace {

using Message = capnp::rpc::Message;
using Received = kj::Maybe<capnp::MessageReaderAndFds>;

// After so many messages others have their chance.
constexpr int kMaxBurst = 64;

bool hasTooManyObjects(capnp::rpc::Payload::Reader payload) {
    return payload.getCapTable().size() > kMaxObjectsOfCall + Parcel::kMaxDescriptors;
}

}  // namespace

BoundedStream::BoundedStream(kj::Own<kj::AsyncCapabilityStream> socket, Peer& peer)
    : mSocket(kj::mv(socket)), mStream(*mSocket), mPeer(peer) {}

kj::Promise<Received> BoundedStream::tryReadMessage(kj::ArrayPtr<kj::AutoCloseFd> fdSpace,
                                                    capnp::ReaderOptions options,
                                                    kj::ArrayPtr<capnp::word> scratchSpace) {
    if (++mBurst > kMaxBurst) {
        mBurst = 0;
        return Loop::get().afterOthers().then(
                [=, this] { return tryReadMessage(fdSpace, options, scratchSpace); });
    }
    return mStream.tryReadMessage(fdSpace, options, scratchSpace).then([this](Received&& received) {
        return pass(kj::mv(received));
    });
}

kj::Promise<Received> BoundedStream::pass(Received received) {
    KJ_IF_MAYBE (message, received) {
        if (mPeer.network == nullptr) return kj::NEVER_DONE;
        const char* reason = refuse(*message->reader, message->fds.size());
        if (reason != nullptr) {
            mPeer.hangUp(reason);
            return kj::NEVER_DONE;
        }
        mHasSpoken = true;
    }
    return kj::mv(received);
}

const char* BoundedStream::refuse(capnp::MessageReader& message, size_t descriptors) {
    if (mPeer.network->getCurrentQueueSize() > kMaxUnsentBytes)
        return "it does not read its answers";
    const auto root = message.getRoot<Message>();
    switch (root.which()) {
        case Message::BOOTSTRAP:
            return refuseQuestion(root.getBootstrap().getQuestionId(), message, descriptors);
        case Message::CALL:
            if (hasTooManyObjects(root.getCall().getParams())) return "too many objects in a call";
            return refuseQuestion(root.getCall().getQuestionId(), message, descriptors);
        case Message::FINISH:
            if (mPeer.got.finish(root.getFinish().getQuestionId())) return nullptr;
            return "it finished what it had not asked";
        case Message::RETURN:
            if (!mPeer.asked.answer(root.getReturn().getAnswerId()))
                return "an answer to no question";
            if (root.getReturn().isResults() && hasTooManyObjects(root.getReturn().getResults())) {
                return "too many objects in an answer";
            }
            return nullptr;
        case Message::ABORT:
        case Message::RESOLVE:
        case Message::RELEASE:
        case Message::DISEMBARGO:
            return descriptors == 0 ? nullptr : "descriptors that nothing asked for";
        default:
            return "a kind of message that no client sends";
    }
}

const char* BoundedStream::refuseQuestion(uint32_t id, capnp::MessageReader& message,
                                          size_t descriptors) {
    const size_t bytes = message.sizeInWords() * sizeof(capnp::word);
    if (!mPeer.got.add(id, bytes, descriptors)) return "it asked twice with one number";
    if (mPeer.got.count() > kMaxQuestions) return "too many calls";
    if (mPeer.got.bytes() > kMaxQuestionBytes) return "too large calls";
    if (mPeer.got.descriptors() > kMaxQuestionDescriptors) return "too many descriptors";
    return nullptr;
}

kj::Promise<void> BoundedStream::writeMessage(
        kj::ArrayPtr<const int> fds, kj::ArrayPtr<const kj::ArrayPtr<const capnp::word>> segments) {
    capnp::SegmentArrayMessageReader message(segments);
    const auto root = message.getRoot<Message>();
    if (root.isBootstrap()) {
        mPeer.asked.add(root.getBootstrap().getQuestionId(), 0, 0);
    } else if (root.isCall()) {
        const size_t bytes = message.sizeInWords() * sizeof(capnp::word);
        mPeer.asked.add(root.getCall().getQuestionId(), bytes, fds.size());
    } else if (root.isFinish()) {
        mPeer.asked.finish(root.getFinish().getQuestionId());
    } else if (root.isReturn()) {
        mPeer.got.answer(root.getReturn().getAnswerId());
    }
    return mStream.writeMessage(fds, segments);
}

kj::Promise<void> BoundedStream::writeMessages(
        kj::ArrayPtr<kj::ArrayPtr<const kj::ArrayPtr<const capnp::word>>> messages) {
    if (messages.size() == 0) return kj::READY_NOW;
    return writeMessage(nullptr, messages[0]).then([this, messages]() mutable {
        return writeMessages(messages.slice(1, messages.size()));
    });
}

}  // namespace android::hardware::transport
