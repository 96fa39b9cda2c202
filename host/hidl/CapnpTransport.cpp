// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Connections: who serves, who looks up. What goes through them is in Proxy.cpp and
// ServedObject.cpp.
#define LOG_TAG "host-hidl"

#include <errno.h>
#include <fcntl.h>
#include <log/log.h>
#include <sys/socket.h>

#include <algorithm>
#include <map>
#include <optional>
#include <system_error>

#include "BoundedStream.h"
#include "CallRecorder.h"
#include "Loop.h"
#include "Peer.h"
#include "Registry.h"
#include "RpcThreads.h"
#include "Transport.h"
#include "UnixSocket.h"

namespace android::hardware::transport {

namespace {

constexpr size_t kMaxConnections = 512;

class DoorServer final : public wire::Door::Server {
  public:
    DoorServer(const sp<BHwBinder>& object, kj::Own<Peer> peer)
        : mObject(object), mPeer(kj::mv(peer)) {}

    kj::Promise<void> enter(EnterContext context) override {
        context.getResults().setObject(clientFor(mObject, *mPeer));
        return kj::READY_NOW;
    }

  private:
    // Never the last reference, whose end would be the user's: the listener has one, or whoever
    // withdraws it.
    const sp<BHwBinder> mObject;
    kj::Own<Peer> mPeer;
};

capnp::ReaderOptions readerOptions() {
    capnp::ReaderOptions options;
    options.traversalLimitInWords = kMaxMessageBytes / sizeof(capnp::word);
    return options;
}

class Connection;

// By their numbers, the oldest first.
std::map<uint64_t, kj::Own<Connection>>& connections() {
    static auto* const instance = new std::map<uint64_t, kj::Own<Connection>>;
    return *instance;
}

class Connection {
  public:
    // `listener`: who accepted it, or null.
    Connection(uint64_t id, const void* listener, base::unique_fd socket,
               capnp::rpc::twoparty::Side side)
        : mListener(listener),
          mPeer(kj::refcounted<Peer>()),
          mStream(streamOf(std::move(socket)), *mPeer),
          mNetwork(mStream, Parcel::kMaxDescriptors, side, readerOptions()) {
        mPeer->network = &mNetwork;
        // What ends it is destroyed with it, so that it cannot happen in one of its own events.
        mPeer->end = [id] { Loop::get().run([id] { connections().erase(id); }); };
        mEnd = mNetwork.onDisconnect()
                       .then([this] { mPeer->end(); }, [this](kj::Exception&&) { mPeer->end(); })
                       .eagerlyEvaluate(nullptr);
    }
    ~Connection() noexcept(false) { mPeer->lose(); }

    // Makes one, known until it is lost.
    static Connection& open(const void* listener, base::unique_fd socket,
                            capnp::rpc::twoparty::Side side) {
        static uint64_t last = 0;
        const uint64_t id = ++last;
        auto made = kj::heap<Connection>(id, listener, std::move(socket), side);
        return *(connections()[id] = kj::mv(made));
    }

    void serve(const sp<BHwBinder>& object) {
        mRpc.emplace(
                capnp::makeRpcServer(mNetwork, kj::heap<DoorServer>(object, kj::addRef(*mPeer))));
    }
    wire::Door::Client use() {
        auto& rpc = mRpc.emplace(capnp::makeRpcClient(mNetwork));
        capnp::word scratch[4] = {};
        capnp::MallocMessageBuilder message(scratch);
        auto server = message.initRoot<capnp::rpc::twoparty::VatId>();
        server.setSide(capnp::rpc::twoparty::Side::SERVER);
        return rpc.bootstrap(server).castAs<wire::Door>();
    }
    Peer& peer() { return *mPeer; }
    const void* listener() const { return mListener; }
    bool isIdleStranger() const { return mListener != nullptr && !mStream.hasSpoken(); }

  private:
    const void* const mListener;
    kj::Own<Peer> mPeer;
    BoundedStream mStream;
    capnp::TwoPartyVatNetwork mNetwork;
    std::optional<capnp::RpcSystem<capnp::rpc::twoparty::VatId>> mRpc;
    kj::Promise<void> mEnd = nullptr;
};

// Whether there is room for one more: whoever connected first and has said nothing gives way.
bool makeRoom() {
    if (connections().size() < kMaxConnections) return true;
    auto idle = std::find_if(connections().begin(), connections().end(),
                             [](const auto& entry) { return entry.second->isIdleStranger(); });
    if (idle == connections().end()) return false;
    connections().erase(idle);
    return true;
}

// --- serving ---

class Listener final {
  public:
    Listener(base::unique_fd socket, const sp<BHwBinder>& object)
        : mSocket(std::move(socket)),
          mObserver(mSocket.get()),
          mObject(object),
          mSpare(openSpare()) {
        mAccepting = keepAccepting().eagerlyEvaluate(nullptr);
    }
    ~Listener() {
        std::erase_if(connections(),
                      [this](const auto& entry) { return entry.second->listener() == this; });
    }

  private:
    static base::unique_fd openSpare() {
        return base::unique_fd(open("/dev/null", O_RDONLY | O_CLOEXEC));
    }

    kj::Promise<void> keepAccepting() {
        acceptAll();
        return mObserver.whenReadable().then([this] { return keepAccepting(); });
    }

    void acceptAll() {
        for (;;) {
            base::unique_fd socket(accept4(mSocket.get(), nullptr, nullptr, SOCK_CLOEXEC));
            if (socket.ok()) {
                serve(std::move(socket));
            } else if (errno == EMFILE || errno == ENFILE) {
                if (!refuseOne()) return;
            } else if (errno != EINTR && errno != ECONNABORTED) {
                if (errno != EAGAIN) ALOGE("Cannot accept a HIDL client: %s", strerror(errno));
                return;
            }
        }
    }

    // Without a descriptor left the client would wait in vain, so it is told by hanging up.
    bool refuseOne() {
        ALOGE("Refused a HIDL client: there are no descriptors left");
        if (!mSpare.ok()) return false;
        mSpare = base::unique_fd();
        const bool refused =
                base::unique_fd(accept4(mSocket.get(), nullptr, nullptr, SOCK_CLOEXEC)).ok();
        mSpare = openSpare();
        return refused;
    }

    void serve(base::unique_fd socket) {
        if (!registry::isPeerOfSameUser(socket.get())) return;
        if (!makeRoom()) {
            ALOGE("Refused a HIDL client: there are %zu already", kMaxConnections);
            return;
        }
        Connection::open(this, std::move(socket), capnp::rpc::twoparty::Side::SERVER)
                .serve(mObject);
    }

    const base::unique_fd mSocket;
    Loop::Observer mObserver;
    const sp<BHwBinder> mObject;
    base::unique_fd mSpare;
    kj::Promise<void> mAccepting = nullptr;
};

// What this process serves, by its most derived name. Used in turns.
std::map<std::string, std::unique_ptr<Listener>>& listeners() {
    static auto* const instance = new std::map<std::string, std::unique_ptr<Listener>>;
    return *instance;
}

// --- looking up ---

struct KnownService {
    wire::Door::Client door;
    kj::Own<Peer> peer;
};

// What this process has found; an entry whose connection is lost is replaced. Used in turns.
std::map<registry::SocketId, KnownService>& services() {
    static auto* const instance = new std::map<registry::SocketId, KnownService>;
    return *instance;
}

// In a turn. Null when no connection to the service is there.
KnownService* findKnown(const registry::SocketId& id) {
    auto it = services().find(id);
    return it != services().end() && it->second.peer->network != nullptr ? &it->second : nullptr;
}

// In a turn. The connection lasts until the service ends: it may hold objects of ours for longer
// than we hold any of its own.
KnownService* connectTo(const registry::SocketId& id, base::unique_fd socket) {
    std::erase_if(services(),
                  [](const auto& entry) { return entry.second.peer->network == nullptr; });
    Connection& connection =
            Connection::open(nullptr, std::move(socket), capnp::rpc::twoparty::Side::CLIENT);
    KnownService known{connection.use(), kj::addRef(connection.peer())};
    return &services().insert_or_assign(id, kj::mv(known)).first->second;
}

kj::Promise<void> enter(KnownService* service, sp<IBinder>* object) {
    if (service == nullptr) return kj::READY_NOW;
    return service->door.enterRequest().send().then(
            [object, peer = kj::addRef(*service->peer)](
                    capnp::Response<wire::Door::EnterResults>&& response) mutable {
                *object = objectFor(response.getObject(), *peer);
            });
}

// The object of the service that `getService` gives in a turn; null when that fails.
template <typename GetService>
sp<IBinder> objectOf(GetService getService) {
    ChainCaller caller;
    sp<IBinder> object;
    const auto finish = [&caller] { Loop::afterTurn([&caller] { caller.finish(); }); };
    Loop::get().run([&] {
        Loop::get().keep(kj::evalNow([&] {
                             return enter(getService(), &object);
                         }).then(finish, [finish](kj::Exception&&) { finish(); }));
    });
    caller.wait();
    return object;
}

}  // namespace

sp<IBinder> find(const std::string& descriptor, const std::string& instance) {
    std::optional<registry::ServiceSocket> found = registry::find(descriptor, instance);
    if (!found) return nullptr;
    sp<IBinder> object = objectOf([&] { return findKnown(found->id); });
    if (object != nullptr) return object;
    base::unique_fd socket = registry::connectTo(*found);
    if (!socket.ok()) return nullptr;
    return objectOf([&] { return connectTo(found->id, std::move(socket)); });
}

status_t publish(const std::vector<std::string>& descriptors, const std::string& instance,
                 const sp<BHwBinder>& object) try {
    Loop& loop = Loop::get();
    base::unique_fd socket;
    const status_t status = registry::publish(descriptors, instance, &socket);
    if (status != OK) return status;
    calls::CallRecorder::connect();
    loop.run(
            [name = descriptors[0] + "/" + instance, socket = std::move(socket), object]() mutable {
                listeners()[name] = std::make_unique<Listener>(std::move(socket), object);
            });
    return OK;
} catch (const std::system_error& error) {
    // A service may be built without exceptions.
    ALOGE("Cannot register a service: %s", error.what());
    return NO_MEMORY;
}

void withdraw(const std::vector<std::string>& descriptors, const std::string& instance) {
    registry::withdraw(descriptors, instance);
    Loop::get().run([name = descriptors[0] + "/" + instance] { listeners().erase(name); });
}

}  // namespace android::hardware::transport
