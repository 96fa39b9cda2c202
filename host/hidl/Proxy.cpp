// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Objects of other processes, and the calls to them.
#define LOG_TAG "host-hidl"

#include <log/log.h>
#include <utils/Mutex.h>

#include <algorithm>
#include <vector>

#include "CallRecorder.h"
#include "Loop.h"
#include "Peer.h"
#include "RpcThreads.h"

namespace android::hardware::transport {

namespace {

std::unordered_map<capnp::ClientHook*, Import*>& imports() {
    static auto* const instance = new std::unordered_map<capnp::ClientHook*, Import*>;
    return *instance;
}

status_t statusOf(const kj::Exception& exception) {
    switch (exception.getType()) {
        case kj::Exception::Type::DISCONNECTED:
            return DEAD_OBJECT;
        case kj::Exception::Type::OVERLOADED:
            return NO_MEMORY;
        case kj::Exception::Type::UNIMPLEMENTED:
            return UNKNOWN_TRANSACTION;
        default:
            return FAILED_TRANSACTION;
    }
}

// A call on its way out; lives on the stack of the thread that makes it.
struct OutgoingCall {
    Import* import;
    uint32_t code;
    uint32_t flags;
    const ParcelContents* contents;
    Parcel* reply;
    ChainCaller* caller;
    status_t status = UNKNOWN_ERROR;

    bool isOneway() const { return (flags & IBinder::FLAG_ONEWAY) != 0; }
    void finish(status_t result) {
        status = result;
        Loop::afterTurn([caller = caller] { caller->finish(); });
    }
};

void receive(OutgoingCall& call, capnp::Response<wire::Object::TransactResults>& response) {
    status_t status = response.getStatus();
    if (status == OK) status = read(response.getContents(), call.import->peer(), call.reply);
    call.finish(status);
}

// Sends, and sees to it that the caller is told exactly once.
void send(OutgoingCall& call) {
    Peer& peer = call.import->peer();
    if (peer.network == nullptr) return call.finish(DEAD_OBJECT);
    if (!peer.mayCall(*call.contents)) return call.finish(NO_MEMORY);
    auto request = call.import->client().transactRequest(sizeOf(*call.contents));
    request.setCode(call.code);
    request.setFlags(call.flags);
    request.setChain(call.isOneway() ? 0 : call.caller->chain());
    const status_t status = fill(request.initContents(), *call.contents, peer);
    if (status != OK) return call.finish(status);
    if (call.isOneway()) {
        Loop::get().keep(request.send().ignoreResult());
        return call.finish(OK);
    }
    Loop::get().keep(request.send().then(
            [&call](capnp::Response<wire::Object::TransactResults>&& response) {
                auto failure = kj::runCatchingExceptions([&] { receive(call, response); });
                KJ_IF_MAYBE (exception, failure) {
                    call.finish(statusOf(*exception));
                }
            },
            [&call](kj::Exception&& exception) { call.finish(statusOf(exception)); }));
}

}  // namespace

class Proxy final : public RemoteObject {
  public:
    // In a turn.
    explicit Proxy(kj::Own<Import> import) : mImport(kj::mv(import)) {}

    ~Proxy() noexcept override {
        Loop::get().run([import = kj::mv(mImport)]() mutable { import = nullptr; });
    }

    // In a turn only.
    Import& import() { return *mImport; }

    status_t transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags,
                      TransactCallback callback) override {
        if (data.dataSize() > Parcel::kMaxSize) {
            ALOGE("A call of %zu bytes is too large", data.dataSize());
            return FAILED_TRANSACTION;
        }
        calls::RecordedCall recorded(true, code, data);
        ChainCaller caller;
        OutgoingCall call{mImport.get(), code, flags, &data.contents(), reply, &caller};
        Loop::get().run([&call] { send(call); });
        caller.wait();
        recorded.end(call.status, reply->contents().words);
        recorded.tell();
        if (call.status == OK && callback != nullptr && !call.isOneway()) callback(*reply);
        return call.status;
    }

    status_t linkToDeath(const sp<DeathRecipient>& recipient) override {
        AutoMutex lock(mMutex);
        if (mDead) return DEAD_OBJECT;
        mRecipients.push_back(recipient);
        return OK;
    }

    status_t unlinkToDeath(const wp<DeathRecipient>& recipient) override {
        AutoMutex lock(mMutex);
        if (mDead) return DEAD_OBJECT;
        auto it = std::find(mRecipients.begin(), mRecipients.end(), recipient);
        if (it == mRecipients.end()) return NAME_NOT_FOUND;
        mRecipients.erase(it);
        return OK;
    }

    // In a turn, once.
    void tellOfDeath() {
        std::vector<wp<DeathRecipient>> recipients;
        {
            AutoMutex lock(mMutex);
            mDead = true;
            recipients.swap(mRecipients);
        }
        if (recipients.empty()) return;
        RpcThreads::get().run([self = sp<Proxy>(this), recipients = std::move(recipients)] {
            for (const wp<DeathRecipient>& weak : recipients) {
                if (sp<DeathRecipient> recipient = weak.promote(); recipient != nullptr) {
                    recipient->binderDied(wp<IBinder>(self));
                }
            }
        });
    }

  private:
    kj::Own<Import> mImport;
    Mutex mMutex;
    bool mDead GUARDED_BY(mMutex) = false;
    std::vector<wp<DeathRecipient>> mRecipients GUARDED_BY(mMutex);
};

Import::Import(wire::Object::Client client, kj::Own<Peer> peer)
    : mClient(kj::mv(client)), mPeer(kj::mv(peer)) {
    imports()[identityOf(mClient)] = this;
    mPeer->imports.insert(this);
}

Import::~Import() noexcept(false) {
    imports().erase(identityOf(mClient));
    mPeer->imports.erase(this);
}

Import* Import::find(capnp::ClientHook* identity) {
    auto it = imports().find(identity);
    return it != imports().end() ? it->second : nullptr;
}

sp<IBinder> Import::proxy() {
    sp<Proxy> proxy = mProxy.promote();
    if (proxy == nullptr) {
        proxy = new Proxy(kj::addRef(*this));
        mProxy = proxy;
    }
    return proxy;
}

void Import::tellOfDeath() {
    if (sp<Proxy> proxy = mProxy.promote(); proxy != nullptr) proxy->tellOfDeath();
}

wire::Object::Client clientOfProxy(IBinder& proxy) {
    return static_cast<Proxy&>(proxy).import().client();
}

}  // namespace android::hardware::transport
