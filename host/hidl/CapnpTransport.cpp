// HIDL calls over Cap'n Proto RPC.
//
// Peer, Import, ServedObject, Connection and Listener are used in turns of the loop. A Proxy is
// used by any thread, which takes a turn; calls that come in are jobs for the RPC threads, as is
// the release of everything that belongs to the user.
#define LOG_TAG "host-hidl"

#include <capnp/rpc-twoparty.h>
#include <errno.h>
#include <fcntl.h>
#include <hwbinder/Parcel.h>
#include <log/log.h>
#include <sys/socket.h>

#include <algorithm>
#include <deque>
#include <map>
#include <system_error>
#include <unordered_map>
#include <unordered_set>

#include "Hidl.capnp.h"
#include "Loop.h"
#include "MessageSocket.h"
#include "Registry.h"
#include "RemoteObject.h"
#include "RpcThreads.h"
#include "Transport.h"

namespace android::hardware::transport {

namespace {

// Beyond these a peer is refused, so that it cannot exhaust the process.
constexpr size_t kMaxConnections = 512;
constexpr size_t kMaxObjectsOfCall = 1024;
constexpr size_t kMaxPendingCalls = 1024;
constexpr size_t kMaxPendingBytes = 8 * Parcel::kMaxSize;
constexpr size_t kMaxUnsentBytes = 4 * Parcel::kMaxSize;
constexpr size_t kMaxMessageBytes = Parcel::kMaxSize + Parcel::kMaxSize / 4;

class Import;
class Proxy;
class ServedObject;

// The other end of a connection, as far as objects know it.
class Peer : public kj::Refcounted {
  public:
    // Null once the connection is lost.
    capnp::TwoPartyVatNetwork* network = nullptr;
    // What it has of ours, so that the same object is always the same to it.
    std::unordered_map<BHwBinder*, ServedObject*> served;
    // What we have of it.
    std::unordered_set<Import*> imports;
    // Calls of it that were not answered yet.
    size_t pendingCalls = 0;
    size_t pendingBytes = 0;

    // The connection is lost: calls fail from now on, and those who want to know are told.
    void lose();
};

// Used in turns.
struct Tables {
    std::unordered_map<capnp::ClientHook*, Import*> imports;
    std::unordered_map<capnp::ClientHook*, ServedObject*> served;
    struct KnownService {
        wire::Door::Client door;
        kj::Own<Peer> peer;
    };
    std::map<registry::SocketId, KnownService> services;
    size_t connections = 0;
};

Tables& tables() {
    static auto* const instance = new Tables;
    return *instance;
}

capnp::ClientHook* identityOf(wire::Object::Client& client) {
    return capnp::ClientHook::from(kj::cp(client)).get();
}

capnp::ReaderOptions readerOptions() {
    capnp::ReaderOptions options;
    options.traversalLimitInWords = kMaxMessageBytes / sizeof(capnp::word);
    return options;
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

// What is dropped may be the user's, whose destructors may do anything: not in a turn.
void releaseOnRpcThread(std::vector<sp<IBinder>> objects) {
    if (objects.empty()) return;
    RpcThreads::get().run(makeJob([objects = std::move(objects)]() mutable { objects.clear(); }));
}

// --- objects of other processes ---

// One remote object, for as long as there are proxies of it.
class Import : public kj::Refcounted {
  public:
    Import(wire::Object::Client client, kj::Own<Peer> peer)
        : mClient(kj::mv(client)), mPeer(kj::mv(peer)) {
        tables().imports[identityOf(mClient)] = this;
        mPeer->imports.insert(this);
    }
    ~Import() noexcept(false) override {
        tables().imports.erase(identityOf(mClient));
        mPeer->imports.erase(this);
    }

    wire::Object::Client& client() { return mClient; }
    Peer& peer() { return *mPeer; }
    // The proxy; a new one when the last one is going.
    sp<Proxy> proxy();
    void tellOfDeath();

  private:
    wire::Object::Client mClient;
    kj::Own<Peer> mPeer;
    wp<Proxy> mProxy;
};

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

void send(OutgoingCall& call);

class Proxy final : public RemoteObject {
  public:
    // In a turn.
    explicit Proxy(kj::Own<Import> import) : mImport(import.get()) { mHeld = kj::mv(import); }

    ~Proxy() noexcept override {
        Loop::get().run([held = kj::mv(mHeld)]() mutable { held = nullptr; });
    }

    // In a turn only.
    Import& import() { return *mImport; }

    status_t transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags,
                      TransactCallback callback) override {
        if (data.dataSize() > Parcel::kMaxSize) {
            ALOGE("A call of %zu bytes is too large", data.dataSize());
            return FAILED_TRANSACTION;
        }
        ChainCaller caller;
        OutgoingCall call{mImport, code, flags, &data.contents(), reply, &caller};
        Loop::get().run([&call] { send(call); });
        caller.wait();
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
        RpcThreads::get().run(makeJob([self = sp<Proxy>(this), recipients = std::move(recipients)] {
            for (const wp<DeathRecipient>& weak : recipients) {
                if (sp<DeathRecipient> recipient = weak.promote(); recipient != nullptr) {
                    recipient->binderDied(wp<IBinder>(self));
                }
            }
        }));
    }

  private:
    Import* const mImport;
    kj::Own<Import> mHeld;
    Mutex mMutex;
    bool mDead GUARDED_BY(mMutex) = false;
    std::vector<wp<DeathRecipient>> mRecipients GUARDED_BY(mMutex);
};

sp<Proxy> Import::proxy() {
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

void Peer::lose() {
    network = nullptr;
    for (Import* import : imports) import->tellOfDeath();
}

// --- contents ---

wire::Object::Client clientFor(const sp<IBinder>& object, Peer& peer);
sp<IBinder> objectFor(wire::Object::Client client, Peer& peer);

class DescriptorServer final : public wire::Descriptor::Server {
  public:
    explicit DescriptorServer(UniqueFd fd) : mFd(std::move(fd)) {}
    kj::Maybe<int> getFd() override { return mFd.get(); }

  private:
    const UniqueFd mFd;
};

UniqueFd duplicate(int fd) {
    return UniqueFd(fcntl(fd, F_DUPFD_CLOEXEC, 0));
}

// How the words of a Parcel come into a message.
enum class Words {
    COPIED,
    // Referred to: they stay as they are until the end of this turn, and the message is written, or
    // never will be, by then.
    BORROWED,
};

capnp::MessageSize sizeOf(const ParcelContents& contents, Words words) {
    constexpr uint64_t kEnvelopeWords = 32;
    const uint64_t extra = contents.objects.size() + contents.descriptors.size();
    const uint64_t copied = words == Words::COPIED ? contents.words.size() : 0;
    return {kEnvelopeWords + copied + extra, static_cast<uint>(extra)};
}

void setWords(wire::Contents::Builder builder, const ParcelWords& contents, Words words) {
    const auto bytes = kj::arrayPtr(reinterpret_cast<const kj::byte*>(contents.data()),
                                    contents.size() * sizeof(uint64_t));
    if (words == Words::COPIED) {
        builder.setWords(bytes);
    } else {
        builder.adoptWords(
                capnp::Orphanage::getForMessageContaining(builder).referenceExternalData(bytes));
    }
}

status_t fill(wire::Contents::Builder builder, const ParcelContents& contents, Words words,
              Peer& peer) {
    setWords(builder, contents.words, words);
    if (!contents.objects.empty()) {
        auto objects = builder.initObjects(contents.objects.size());
        for (uint i = 0; i < objects.size(); ++i) {
            objects.set(i, clientFor(contents.objects[i], peer));
        }
    }
    if (!contents.descriptors.empty()) {
        auto descriptors = builder.initDescriptors(contents.descriptors.size());
        for (uint i = 0; i < descriptors.size(); ++i) {
            UniqueFd copy = duplicate(contents.descriptors[i]);
            if (!copy.ok()) return -errno;
            descriptors.set(i, kj::heap<DescriptorServer>(std::move(copy)));
        }
    }
    return OK;
}

status_t readDescriptors(wire::Contents::Reader reader, std::vector<UniqueFd>* descriptors) {
    for (wire::Descriptor::Client client : reader.getDescriptors()) {
        int received = -1;
        KJ_IF_MAYBE (fd, capnp::ClientHook::from(kj::mv(client))->getFd()) {
            received = *fd;
        }
        descriptors->push_back(duplicate(received));
        if (!descriptors->back().ok()) return received < 0 ? BAD_VALUE : -errno;
    }
    return OK;
}

// Everything here is the peer's word: nothing of it is believed unseen. Looks at the words once,
// since capnp counts what is looked at against the limit of the message.
status_t read(wire::Contents::Reader reader, Peer& peer, Parcel* parcel) {
    const auto words = reader.getWords();
    if (words.size() > Parcel::kMaxSize) return FAILED_TRANSACTION;
    if (words.size() % sizeof(uint64_t) != 0) return BAD_VALUE;
    if (reader.getObjects().size() > kMaxObjectsOfCall) return BAD_VALUE;
    if (reader.getDescriptors().size() > Parcel::kMaxDescriptors) return BAD_VALUE;

    std::vector<UniqueFd> descriptors;
    if (const status_t status = readDescriptors(reader, &descriptors); status != OK) return status;
    ParcelContents contents;
    contents.words.resize(words.size() / sizeof(uint64_t));
    if (words.size() > 0) memcpy(contents.words.data(), words.begin(), words.size());
    for (wire::Object::Client client : reader.getObjects()) {
        contents.objects.push_back(objectFor(kj::mv(client), peer));
    }
    for (UniqueFd& fd : descriptors) contents.descriptors.push_back(fd.release());
    parcel->setContents(std::move(contents));
    return OK;
}

// --- calls that go out ---

void receive(OutgoingCall& call, capnp::Response<wire::Object::TransactResults>& response) {
    status_t status = response.getStatus();
    if (status == OK) status = read(response.getContents(), call.import->peer(), call.reply);
    call.finish(status);
}

// The caller's words outlive the turn, since it is told behind that; and with nothing before it the
// message is written in this turn.
Words wordsOf(Peer& peer, const OutgoingCall& call) {
    constexpr size_t kLarge = 4096 / sizeof(uint64_t);
    const bool isNext = peer.network->getCurrentQueueSize() == 0;
    return isNext && call.contents->words.size() >= kLarge ? Words::BORROWED : Words::COPIED;
}

// Sends, and sees to it that the caller is told exactly once.
void sendTo(Peer& peer, OutgoingCall& call) {
    const Words words = wordsOf(peer, call);
    auto request = call.import->client().transactRequest(sizeOf(*call.contents, words));
    request.setCode(call.code);
    request.setFlags(call.flags);
    request.setChain(call.isOneway() ? 0 : call.caller->chain());
    const status_t status = fill(request.initContents(), *call.contents, words, peer);
    if (status != OK) {
        call.finish(status);
        return;
    }
    if (call.isOneway()) {
        Loop::get().keep(request.send().ignoreResult());
        call.finish(OK);
        return;
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

void send(OutgoingCall& call) {
    Peer& peer = call.import->peer();
    if (peer.network == nullptr) {
        call.finish(DEAD_OBJECT);
        return;
    }
    // A peer that does not read gets no more.
    if (peer.network->getCurrentQueueSize() > kMaxUnsentBytes) {
        call.finish(NO_MEMORY);
        return;
    }
    sendTo(peer, call);
}

// --- calls that come in ---

// The outcome of a call, made on an RPC thread.
struct Answer {
    status_t status = OK;
    ParcelContents contents;
    std::vector<UniqueFd> descriptors;

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
        answer.descriptors.push_back(duplicate(fd));
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
    // Looked behind in turns only.
    PendingCall* pending;

    bool isOneway() const { return (flags & IBinder::FLAG_ONEWAY) != 0; }
};

void postAnswer(PendingCall* pending, Answer answer) {
    Loop::get().run([pending, answer = std::move(answer)]() mutable {
        std::unique_ptr<PendingCall> done(pending);
        done->fulfiller->fulfill(std::move(answer));
    });
}

// On an RPC thread.
void serve(IncomingCall& call) {
    ChainMember member(call.isOneway() ? 0 : call.chain);
    Parcel reply;
    bool answered = false;
    // A method gives its results before it returns, and its caller has them at once.
    const status_t status =
            call.object->transact(call.code, call.data, &reply, call.flags, [&](Parcel& results) {
                if (answered) return;
                answered = true;
                postAnswer(call.pending, answerOf(OK, results));
            });
    if (!answered) postAnswer(call.pending, answerOf(status, reply));
}

void dispatch(std::unique_ptr<IncomingCall> call) {
    Loop::afterTurn([call = std::move(call)]() mutable {
        const ChainId chain = call->isOneway() ? 0 : call->chain;
        auto job = makeJob([call = std::move(call)] { serve(*call); });
        if (chain == 0) {
            RpcThreads::get().run(std::move(job));
        } else {
            RpcThreads::get().run(chain, std::move(job));
        }
    });
}

// An object of this process as one peer has it.
class ServedObject final : public wire::Object::Server {
  public:
    ServedObject(const sp<BHwBinder>& object, kj::Own<Peer> peer)
        : mObject(object), mPeer(kj::mv(peer)) {}

    ~ServedObject() noexcept(false) {
        tables().served.erase(mIdentity);
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
        tables().served[self.mIdentity] = &self;
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
        const size_t bytes = call->data.dataSize();
        auto waiting = kj::newPromiseAndFulfiller<Answer>();
        call->pending = new PendingCall{kj::mv(waiting.fulfiller), client()};
        ++mPeer->pendingCalls;
        mPeer->pendingBytes += bytes;
        const bool isOneway = call->isOneway();
        start(std::move(call));
        return waiting.promise.then([this, context, bytes, isOneway](Answer&& answer) mutable {
            --mPeer->pendingCalls;
            mPeer->pendingBytes -= bytes;
            if (isOneway) startNextOneway();
            reply(context, answer);
        });
    }

  private:
    status_t accept(TransactParams::Reader params, IncomingCall* call) {
        call->object = mObject;
        call->code = params.getCode();
        call->flags = params.getFlags();
        call->chain = params.getChain();
        const status_t status = read(params.getContents(), *mPeer, &call->data);
        if (status != OK) return status;
        if (mPeer->pendingCalls < kMaxPendingCalls &&
            mPeer->pendingBytes + call->data.dataSize() <= kMaxPendingBytes) {
            return OK;
        }
        ALOGE("Refused a call: its process has too many under way");
        return NO_MEMORY;
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
        auto results = context.getResults(sizeOf(answer.contents, Words::COPIED));
        if (answer.status == OK) {
            answer.status = fill(results.initContents(), answer.contents, Words::COPIED, *mPeer);
        }
        results.setStatus(answer.status);
    }

    sp<BHwBinder> mObject;
    kj::Own<Peer> mPeer;
    capnp::ClientHook* mIdentity = nullptr;
    bool mOnewayRuns = false;
    std::deque<std::unique_ptr<IncomingCall>> mOnewayWaiting;
};

wire::Object::Client clientFor(const sp<IBinder>& object, Peer& peer) {
    BHwBinder* local = object->localBinder();
    if (local == nullptr) return static_cast<Proxy*>(object.get())->import().client();
    auto it = peer.served.find(local);
    return it != peer.served.end() ? it->second->client() : ServedObject::make(local, peer);
}

sp<IBinder> objectFor(wire::Object::Client client, Peer& peer) {
    capnp::ClientHook* identity = identityOf(client);
    Tables& known = tables();
    if (auto it = known.served.find(identity); it != known.served.end()) {
        return it->second->object();
    }
    if (auto it = known.imports.find(identity); it != known.imports.end()) {
        return it->second->proxy();
    }
    return kj::refcounted<Import>(kj::mv(client), kj::addRef(peer))->proxy();
}

// --- connections ---

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

class Connection {
  public:
    Connection(UniqueFd socket, capnp::rpc::twoparty::Side side)
        : mSocket(Loop::get(), std::move(socket)),
          mNetwork(mSocket, Parcel::kMaxDescriptors, side, readerOptions()),
          mPeer(kj::refcounted<Peer>()) {
        mPeer->network = &mNetwork;
        ++tables().connections;
    }
    ~Connection() noexcept(false) {
        --tables().connections;
        mPeer->lose();
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
    kj::Promise<void> onDisconnect() { return mNetwork.onDisconnect(); }

  private:
    MessageSocket mSocket;
    capnp::TwoPartyVatNetwork mNetwork;
    kj::Own<Peer> mPeer;
    std::optional<capnp::RpcSystem<capnp::rpc::twoparty::VatId>> mRpc;
};

// --- serving ---

class Listener : private Loop::Watch, private kj::TaskSet::ErrorHandler {
  public:
    Listener(UniqueFd socket, const sp<BHwBinder>& object)
        : Watch(Loop::get(), std::move(socket)),
          mObject(object),
          mSpare(openSpare()),
          mConnections(*this) {}

  private:
    static UniqueFd openSpare() { return UniqueFd(open("/dev/null", O_RDONLY | O_CLOEXEC)); }

    void ready(bool /*hungUp*/) override {
        for (;;) {
            UniqueFd socket(accept4(fd(), nullptr, nullptr, SOCK_CLOEXEC));
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
        mSpare = UniqueFd();
        const bool refused = UniqueFd(accept4(fd(), nullptr, nullptr, SOCK_CLOEXEC)).ok();
        mSpare = openSpare();
        return refused;
    }

    void serve(UniqueFd socket) {
        if (!registry::isPeerOfSameUser(socket.get())) return;
        if (tables().connections >= kMaxConnections) {
            ALOGE("Refused a HIDL client: there are %zu already", kMaxConnections);
            return;
        }
        auto connection =
                kj::heap<Connection>(std::move(socket), capnp::rpc::twoparty::Side::SERVER);
        connection->serve(mObject);
        auto gone = connection->onDisconnect();
        mConnections.add(gone.attach(kj::mv(connection)));
    }

    void taskFailed(kj::Exception&& exception) override { Loop::report(exception); }

    const sp<BHwBinder> mObject;
    UniqueFd mSpare;
    kj::TaskSet mConnections;
};

// What this process serves, by its most derived name. Used in turns.
std::map<std::string, std::unique_ptr<Listener>>& listeners() {
    static auto* const instance = new std::map<std::string, std::unique_ptr<Listener>>;
    return *instance;
}

// --- looking up ---

// A look-up; lives on the stack of the thread that makes it.
struct Lookup {
    registry::SocketId id;
    ChainCaller* caller;
    sp<IBinder> object;

    void finish() {
        Loop::afterTurn([caller = caller] { caller->finish(); });
    }
};

void enter(Lookup& lookup, Tables::KnownService& service) {
    Loop::get().keep(service.door.enterRequest().send().then(
            [&lookup, peer = kj::addRef(*service.peer)](
                    capnp::Response<wire::Door::EnterResults>&& response) mutable {
                auto failure = kj::runCatchingExceptions(
                        [&] { lookup.object = objectFor(response.getObject(), *peer); });
                lookup.finish();
            },
            [&lookup](kj::Exception&&) { lookup.finish(); }));
}

// In a turn. Finishes at once when no connection to the service is there.
void enterKnown(Lookup& lookup) {
    auto it = tables().services.find(lookup.id);
    if (it == tables().services.end()) {
        lookup.finish();
    } else {
        enter(lookup, it->second);
    }
}

// A connection lasts until the service ends: it may hold objects of ours for longer than we hold
// any of its own.
void enterThrough(Lookup& lookup, UniqueFd socket) {
    auto& services = tables().services;
    services.erase(lookup.id);
    auto connection = kj::heap<Connection>(std::move(socket), capnp::rpc::twoparty::Side::CLIENT);
    auto [it, added] = services.insert(
            {lookup.id, Tables::KnownService{connection->use(), kj::addRef(connection->peer())}});
    Peer* peer = &connection->peer();
    auto gone = connection->onDisconnect().then([id = lookup.id, peer] {
        auto it = tables().services.find(id);
        if (it != tables().services.end() && it->second.peer.get() == peer) {
            tables().services.erase(it);
        }
    });
    Loop::get().keep(gone.attach(kj::mv(connection)));
    enter(lookup, it->second);
}

sp<IBinder> findKnown(const registry::SocketId& id) {
    ChainCaller caller;
    Lookup lookup{id, &caller, nullptr};
    Loop::get().run([&lookup] { enterKnown(lookup); });
    caller.wait();
    return lookup.object;
}

sp<IBinder> findThrough(const registry::SocketId& id, UniqueFd socket) {
    ChainCaller caller;
    Lookup lookup{id, &caller, nullptr};
    Loop::get().run([&lookup, socket = std::move(socket)]() mutable {
        auto failure = kj::runCatchingExceptions([&] { enterThrough(lookup, std::move(socket)); });
        if (failure != nullptr) lookup.finish();
    });
    caller.wait();
    return lookup.object;
}

}  // namespace

sp<IBinder> find(const std::string& descriptor, const std::string& instance) {
    std::optional<registry::ServiceSocket> found = registry::find(descriptor, instance);
    if (!found) return nullptr;
    if (sp<IBinder> object = findKnown(found->id); object != nullptr) return object;
    UniqueFd socket = registry::connectTo(*found);
    if (!socket.ok()) return nullptr;
    return findThrough(found->id, std::move(socket));
}

std::vector<std::string> list(const std::string& descriptor) {
    return registry::list(descriptor);
}

status_t publish(const std::vector<std::string>& descriptors, const std::string& instance,
                 const sp<BHwBinder>& object) try {
    Loop& loop = Loop::get();
    UniqueFd socket;
    const status_t status = registry::publish(descriptors, instance, &socket);
    if (status != OK) return status;
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
