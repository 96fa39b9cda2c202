// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Objects of this process, and the calls to them that come in.
#define LOG_TAG "host-hidl"

#include <fcntl.h>
#include <log/log.h>

#include <deque>
#include <vector>

#include <android-base/unique_fd.h>
#include "CallRecorder.h"
#include "Loop.h"
#include "Peer.h"
#include "RpcThreads.h"

namespace android::hardware::transport {

namespace {

std::unordered_map<capnp::ClientHook*, ServedObject*>& servedObjects() {
    static auto* const instance = new std::unordered_map<capnp::ClientHook*, ServedObject*>;
    return *instance;
}

// What is dropped may be the user's, whose destructors may do anything: not in a turn.
void releaseOnRpcThread(std::vector<sp<IBinder>> objects) {
    if (objects.empty()) return;
    RpcThreads::get().run([objects = std::move(objects)]() mutable { objects.clear(); });
}

// The outcome of a call, made on an RPC thread.
struct Answer {
    status_t status = OK;
    ParcelContents contents;
    std::vector<base::unique_fd> descriptors;

    Answer() = default;
    Answer(Answer&&) = default;
    ~Answer() { releaseOnRpcThread(std::move(contents.objects)); }
};

// Takes what the call left in `reply`.
Answer answerOf(status_t status, Parcel& reply) {
    Answer answer;
    answer.status = status;
    if (status == OK && reply.dataSize() > Parcel::kMaxSize) {
        ALOGE("A reply of %zu bytes is too large", reply.dataSize());
        answer.status = FAILED_TRANSACTION;
    }
    if (answer.status != OK) return answer;
    answer.contents = reply.takeContents();
    for (int& fd : answer.contents.descriptors) {
        // The method may close its own as soon as it has answered.
        answer.descriptors.push_back(base::unique_fd(fcntl(fd, F_DUPFD_CLOEXEC, 0)));
        fd = answer.descriptors.back().get();
    }
    return answer;
}

// A call while the loop waits for its answer.
struct PendingCall {
    kj::Own<kj::PromiseFulfiller<Answer>> fulfiller;
    // Keeps the object known to the loop until then.
    wire::Object::Client object;
};

// A call on its way to an RPC thread.
struct IncomingCall {
    sp<BHwBinder> object;
    Parcel data;
    uint32_t code;
    uint32_t flags;
    ChainId chain;
    // Used in turns only. Null once the call is answered.
    std::unique_ptr<PendingCall> pending;

    bool isOneway() const { return (flags & IBinder::FLAG_ONEWAY) != 0; }
};

// A method gives its results before it returns, and its caller has them at once: a second answer
// is none.
void postAnswer(IncomingCall& call, calls::RecordedCall& recorded, status_t status, Parcel& reply) {
    if (call.pending == nullptr) return;
    Answer answer = answerOf(status, reply);
    // Before the caller can have it: a caller finds its own call in the journal.
    recorded.end(answer.status, answer.contents.words);
    Loop::get().run([pending = std::move(call.pending), answer = std::move(answer)]() mutable {
        pending->fulfiller->fulfill(std::move(answer));
        pending = nullptr;
    });
    recorded.tell();
}

// On an RPC thread.
void serve(IncomingCall& call) {
    ChainMember member(call.chain);
    calls::RecordedCall recorded(false, call.code, call.data);
    Parcel reply;
    const status_t status = call.object->transact(
            call.code, call.data, &reply, call.flags,
            [&](Parcel& results) { postAnswer(call, recorded, OK, results); });
    postAnswer(call, recorded, status, reply);
}

void dispatch(std::unique_ptr<IncomingCall> call) {
    Loop::afterTurn([call = std::move(call)]() mutable {
        const ChainId chain = call->chain;
        RpcThreads::get().run([call = std::move(call)] { serve(*call); }, chain);
    });
}

}  // namespace

// An object of this process as one peer has it.
class ServedObject final : public wire::Object::Server {
  public:
    ServedObject(const sp<BHwBinder>& object, kj::Own<Peer> peer)
        : mObject(object), mPeer(kj::mv(peer)) {}

    ~ServedObject() noexcept(false) {
        servedObjects().erase(mIdentity);
        mPeer->served.erase(mObject.get());
        std::vector<sp<IBinder>> last;
        last.push_back(std::move(mObject));
        releaseOnRpcThread(std::move(last));
    }

    static wire::Object::Client make(const sp<BHwBinder>& object, Peer& peer) {
        auto server = kj::heap<ServedObject>(object, kj::addRef(peer));
        ServedObject& self = *server;
        wire::Object::Client client = kj::mv(server);
        self.mIdentity = identityOf(client);
        servedObjects()[self.mIdentity] = &self;
        peer.served[object.get()] = &self;
        return client;
    }

    const sp<BHwBinder>& object() const { return mObject; }
    wire::Object::Client client() { return thisCap(); }

    kj::Promise<void> transact(TransactContext context) override {
        auto call = std::make_unique<IncomingCall>();
        const status_t status = accept(context.getParams(), call.get());
        if (status != OK) {
            context.getResults(capnp::MessageSize{8, 0}).setStatus(status);
            return kj::READY_NOW;
        }
        context.releaseParams();
        auto waiting = kj::newPromiseAndFulfiller<Answer>();
        call->pending.reset(new PendingCall{kj::mv(waiting.fulfiller), client()});
        const bool isOneway = call->isOneway();
        start(std::move(call));
        return waiting.promise.then([this, context, isOneway](Answer&& answer) mutable {
            if (isOneway) startNextOneway();
            reply(context, answer);
        });
    }

  private:
    status_t accept(TransactParams::Reader params, IncomingCall* call) {
        call->object = mObject;
        call->code = params.getCode();
        call->flags = params.getFlags();
        call->chain = call->isOneway() ? 0 : params.getChain();
        return read(params.getContents(), *mPeer, &call->data);
    }

    // Oneway calls of an object run in order, one at a time, however many threads there are.
    void start(std::unique_ptr<IncomingCall> call) {
        if (call->isOneway()) {
            if (mOnewayRuns) {
                mOnewayWaiting.push_back(std::move(call));
                return;
            }
            mOnewayRuns = true;
        }
        dispatch(std::move(call));
    }

    void startNextOneway() {
        mOnewayRuns = false;
        if (mOnewayWaiting.empty()) return;
        std::unique_ptr<IncomingCall> next = std::move(mOnewayWaiting.front());
        mOnewayWaiting.pop_front();
        start(std::move(next));
    }

    void reply(TransactContext& context, Answer& answer) {
        if (mPeer->network != nullptr && mPeer->network->getCurrentQueueSize() > kMaxUnsentBytes) {
            mPeer->hangUp("it does not read its answers");
            return;
        }
        auto results = context.getResults(sizeOf(answer.contents));
        if (answer.status == OK) {
            answer.status = fill(results.initContents(), answer.contents, *mPeer);
        }
        results.setStatus(answer.status);
    }

    sp<BHwBinder> mObject;
    kj::Own<Peer> mPeer;
    capnp::ClientHook* mIdentity = nullptr;
    bool mOnewayRuns = false;
    std::deque<std::unique_ptr<IncomingCall>> mOnewayWaiting;
};

wire::Object::Client clientOfServed(const sp<BHwBinder>& object, Peer& peer) {
    auto it = peer.served.find(object.get());
    return it != peer.served.end() ? it->second->client() : ServedObject::make(object, peer);
}

sp<IBinder> findServed(capnp::ClientHook* identity) {
    auto it = servedObjects().find(identity);
    return it != servedObjects().end() ? it->second->object() : nullptr;
}

}  // namespace android::hardware::transport
