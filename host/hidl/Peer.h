// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A connection's other end, and what travels to it and from it. Inside of the transport only.
//
// Peer, Import and ServedObject are used in turns of the loop. A Proxy is used by any thread, which
// takes a turn; calls that come in are jobs for the RPC threads, as is the release of everything
// that belongs to the user.
#pragma once

#include <capnp/rpc-twoparty.h>
#include <hwbinder/Parcel.h>

#include <functional>
#include <unordered_map>
#include <unordered_set>

#include "Hidl.capnp.h"
#include "RemoteObject.h"

namespace android::hardware::transport {

// What one connection may hold. Our own side keeps to these; a peer that does not is hung up on.
constexpr size_t kMaxQuestions = 1024;
constexpr size_t kMaxQuestionBytes = 8 * Parcel::kMaxSize;
constexpr size_t kMaxQuestionDescriptors = 4 * Parcel::kMaxDescriptors;
constexpr size_t kMaxUnsentBytes = 4 * Parcel::kMaxSize;
constexpr size_t kMaxMessageBytes = Parcel::kMaxSize + Parcel::kMaxSize / 4;
constexpr size_t kMaxObjectsOfCall = 1024;
// Objects of one side that the other holds.
constexpr size_t kMaxObjectsOfPeer = 2 * kMaxObjectsOfCall;

class Import;
class Proxy;
class ServedObject;

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

// The other end of a connection, as far as objects know it.
class Peer : public kj::Refcounted {
  public:
    // Of the connection; null once it is lost, or hung up.
    capnp::TwoPartyVatNetwork* network = nullptr;
    // Ends the connection, in an event of its own.
    std::function<void()> end;
    // What we ask it, and what it asks us.
    Questions asked;
    Questions got;
    // What it has of ours, so that the same object is always the same to it.
    std::unordered_map<BHwBinder*, ServedObject*> served;
    // What we have of it.
    std::unordered_set<Import*> imports;

    // Whether a call to it keeps to what one connection may hold.
    bool mayCall(const ParcelContents& contents) const;
    // Ends the connection, since the peer has gone beyond that.
    void hangUp(const char* reason);
    // The connection is lost: calls fail from now on, and those who want to know are told.
    void lose();
};

// One remote object, for as long as there are proxies of it.
class Import : public kj::Refcounted {
  public:
    Import(wire::Object::Client client, kj::Own<Peer> peer);
    ~Import() noexcept(false) override;
    // The one that is known for a capability, or null.
    static Import* find(capnp::ClientHook* identity);

    wire::Object::Client& client() { return mClient; }
    Peer& peer() { return *mPeer; }
    // The proxy; a new one when the last one is going.
    sp<IBinder> proxy();
    void tellOfDeath();

  private:
    wire::Object::Client mClient;
    kj::Own<Peer> mPeer;
    wp<Proxy> mProxy;
};

inline capnp::ClientHook* identityOf(wire::Object::Client& client) {
    return capnp::ClientHook::from(kj::cp(client)).get();
}

// What a proxy stands for; the proxy of what a peer has sent; and an object of ours as a peer has
// it.
wire::Object::Client clientOfProxy(IBinder& proxy);
wire::Object::Client clientOfServed(const sp<BHwBinder>& object, Peer& peer);
// The object of ours that a capability stands for, or null.
sp<IBinder> findServed(capnp::ClientHook* identity);
wire::Object::Client clientFor(const sp<IBinder>& object, Peer& peer);
sp<IBinder> objectFor(wire::Object::Client client, Peer& peer);

// The size of a message with these contents; contents into a message, and out of one. What comes
// out is the peer's word: nothing of it is believed unseen.
capnp::MessageSize sizeOf(const ParcelContents& contents);
status_t fill(wire::Contents::Builder builder, const ParcelContents& contents, Peer& peer);
status_t read(wire::Contents::Reader reader, Peer& peer, Parcel* parcel);

}  // namespace android::hardware::transport
