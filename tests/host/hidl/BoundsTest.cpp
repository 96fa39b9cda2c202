// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A peer that speaks Cap'n Proto by hand, and would have a service hold more than one connection
// may. The service hangs up on it, and serves others as before.
#include <capnp/capability.h>
#include <capnp/message.h>
#include <capnp/rpc.capnp.h>
#include <capnp/serialize.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <vector>

#include "Hidl.capnp.h"
#include "Processes.h"

namespace {

using namespace hidltest;
using capnp::MallocMessageBuilder;
using Message = capnp::rpc::Message;
namespace wire = ::android::hardware::wire;

// Far more than one connection may have of anything.
constexpr uint32_t kMany = 20000;
constexpr uint32_t kBootstrap = kMany + 1;
constexpr uint32_t kEnter = kMany + 2;

class RawPeer {
  public:
    explicit RawPeer(const ServiceDirectory& directory) : mFd(connectToService(directory)) {}
    ~RawPeer() { close(mFd); }
    RawPeer(const RawPeer&) = delete;
    RawPeer& operator=(const RawPeer&) = delete;

    // False once the service has hung up.
    bool send(MallocMessageBuilder& message, size_t descriptors = 0) {
        const auto words = capnp::messageToFlatArray(message);
        const auto bytes = words.asBytes();
        size_t sent = descriptors > 0 ? sendWithDescriptors(bytes, descriptors) : 0;
        while (sent < bytes.size()) {
            const ssize_t part =
                    ::send(mFd, bytes.begin() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            if (part < 0) return false;
            sent += static_cast<size_t>(part);
        }
        return true;
    }

    bool bootstrap(uint32_t question) {
        MallocMessageBuilder message;
        message.initRoot<Message>().initBootstrap().setQuestionId(question);
        return send(message);
    }
    bool enter(uint32_t question) {
        MallocMessageBuilder message;
        auto call = message.initRoot<Message>().initCall();
        call.setQuestionId(question);
        call.setInterfaceId(capnp::typeId<wire::Door>());
        call.initTarget().initPromisedAnswer().setQuestionId(kBootstrap);
        call.initParams();
        return send(message);
    }
    // Calls the service's object.
    bool transact(uint32_t question, size_t bytes, uint32_t objects, size_t descriptors = 0) {
        MallocMessageBuilder message;
        auto call = message.initRoot<Message>().initCall();
        call.setQuestionId(question);
        call.setInterfaceId(capnp::typeId<wire::Object>());
        auto target = call.initTarget().initPromisedAnswer();
        target.setQuestionId(kEnter);
        target.initTransform(1)[0].setGetPointerField(0);
        auto table = call.initParams().initCapTable(objects + descriptors);
        for (uint32_t i = 0; i < table.size(); ++i) {
            table[i].setSenderHosted(++mExports);
            if (i >= objects) table[i].setAttachedFd(i - objects);
        }
        capnp::BuilderCapabilityTable named;
        auto contents = named.imbue(call.getParams().getContent())
                                .initAs<wire::Object::TransactParams>()
                                .initContents();
        contents.initWords(bytes);
        auto list = contents.initObjects(objects);
        // Each becomes the next one of the table above.
        for (uint32_t i = 0; i < objects; ++i) {
            list.set(i, wire::Object::Client(capnp::newBrokenCap("hosted by hand")));
        }
        return send(message, descriptors);
    }
    bool finish(uint32_t question) {
        MallocMessageBuilder message;
        message.initRoot<Message>().initFinish().setQuestionId(question);
        return send(message);
    }
    void open() {
        EXPECT_TRUE(bootstrap(kBootstrap));
        EXPECT_TRUE(enter(kEnter));
    }

    // Blocks until the service says something, and takes it; false once it has hung up.
    bool hear() {
        char bytes[4096];
        return read(mFd, bytes, sizeof(bytes)) > 0;
    }
    // Takes what the service says, without waiting.
    void drain() {
        char bytes[4096];
        while (recv(mFd, bytes, sizeof(bytes), MSG_DONTWAIT) > 0) {
        }
    }

  private:
    size_t sendWithDescriptors(kj::ArrayPtr<const kj::byte> bytes, size_t count) {
        const std::vector<int> fds(count, mFd);
        alignas(cmsghdr) char control[CMSG_SPACE(32 * sizeof(int))] = {};
        iovec part = {const_cast<kj::byte*>(bytes.begin()), bytes.size()};
        msghdr header = {};
        header.msg_iov = &part;
        header.msg_iovlen = 1;
        header.msg_control = control;
        header.msg_controllen = CMSG_SPACE(count * sizeof(int));
        cmsghdr* rights = CMSG_FIRSTHDR(&header);
        rights->cmsg_level = SOL_SOCKET;
        rights->cmsg_type = SCM_RIGHTS;
        rights->cmsg_len = CMSG_LEN(count * sizeof(int));
        memcpy(CMSG_DATA(rights), fds.data(), count * sizeof(int));
        const ssize_t sent = sendmsg(mFd, &header, MSG_NOSIGNAL);
        return sent < 0 ? 0 : static_cast<size_t>(sent);
    }

    const int mFd;
    uint32_t mExports = 0;
};

// A service that answers calls, and one that holds them: no thread of it has joined the pool.
class Bounds : public testing::TestWithParam<bool> {
  protected:
    explicit Bounds(bool serves = true)
        : mChild([serves](const Child::Ready& ready) {
              const sp<IBivista> service = new FakeBivista;
              ::android::hardware::configureRpcThreadpool(1, true);
              if (service->registerAsService() != ::android::OK) return 1;
              ready();
              if (serves) ::android::hardware::joinRpcThreadpool();
              pause();
              return 1;
          }) {
        EXPECT_TRUE(mChild.waitUntilReady());
        // Connected before the others, so that their descriptors can be counted.
        mService = getService();
        mDescriptors = descriptorsOf(mChild.pid());
    }
    // Sends until the service hangs up; how often that was.
    static uint32_t sendUntilHungUp(const std::function<bool(uint32_t)>& send) {
        uint32_t sent = 0;
        while (sent < kMany && send(sent)) ++sent;
        return sent;
    }
    void expectUnharmed() {
        waitUntil([this] { return descriptorsOf(mChild.pid()) == mDescriptors; });
        // Needs no RPC thread of the service.
        EXPECT_NE(IBivista::tryGetService(), nullptr);
    }

    ServiceDirectory mDirectory;
    Child mChild;
    sp<IBivista> mService;
    size_t mDescriptors = 0;
};

class BoundsOfCallsHeld : public Bounds {
  protected:
    BoundsOfCallsHeld() : Bounds(false) {}
};

TEST_F(Bounds, OfCallsThatAreNotFinished) {
    RawPeer peer(mDirectory);
    EXPECT_TRUE(peer.bootstrap(kBootstrap));
    const uint32_t sent = sendUntilHungUp([&](uint32_t i) {
        peer.drain();
        return peer.enter(i);
    });
    EXPECT_GE(sent, 1000u);
    EXPECT_LT(sent, kMany);
    expectUnharmed();
}

TEST_F(Bounds, OfBootstrapsThatAreNotFinished) {
    RawPeer peer(mDirectory);
    const uint32_t sent = sendUntilHungUp([&](uint32_t i) {
        peer.drain();
        return peer.bootstrap(i);
    });
    EXPECT_LT(sent, kMany);
    expectUnharmed();
}

TEST_F(Bounds, LeaveFinishedCallsAlone) {
    RawPeer peer(mDirectory);
    peer.open();
    EXPECT_EQ(kMany, sendUntilHungUp([&](uint32_t i) {
                  const bool sent = peer.transact(i, 8, 0) && peer.finish(i);
                  // As many as a client has under way at most.
                  if (i % 500 == 499) EXPECT_TRUE(mService->ping().isOk());
                  peer.drain();
                  return sent;
              }));
    EXPECT_TRUE(peer.bootstrap(0) && peer.hear());
}

TEST_F(Bounds, OfAnswersThatAreNotRead) {
    RawPeer peer(mDirectory);
    EXPECT_TRUE(peer.bootstrap(kBootstrap));
    uint32_t sent = 0;
    while (sent < 50 * kMany && peer.enter(sent) && peer.finish(sent)) ++sent;
    EXPECT_LT(sent, 50 * kMany);
    expectUnharmed();
}

TEST_F(Bounds, OfKindsOfMessages) {
    const std::function<void(Message::Builder)> kinds[] = {
            [](Message::Builder message) { message.initUnimplemented().initBootstrap(); },
            [](Message::Builder message) { message.initProvide(); },
            [](Message::Builder message) { message.initFinish().setQuestionId(7); },
            [](Message::Builder message) { message.initReturn().setAnswerId(7); },
    };
    for (const auto& make : kinds) {
        RawPeer peer(mDirectory);
        MallocMessageBuilder message;
        make(message.initRoot<Message>());
        EXPECT_TRUE(peer.send(message));
        EXPECT_FALSE(peer.hear());
    }
    expectUnharmed();
}

TEST_F(BoundsOfCallsHeld, OfTheirNumberWhenFinishedAtOnce) {
    RawPeer peer(mDirectory);
    peer.open();
    const uint32_t sent = sendUntilHungUp([&](uint32_t i) {
        peer.drain();
        return peer.transact(i, 8, 0) && peer.finish(i);
    });
    EXPECT_GE(sent, 1000u);
    EXPECT_LT(sent, kMany);
    expectUnharmed();
}

TEST_F(BoundsOfCallsHeld, OfTheirBytes) {
    RawPeer peer(mDirectory);
    peer.open();
    const uint32_t sent = sendUntilHungUp(
            [&](uint32_t i) { return peer.transact(i, 1000 * 1024, 0) && peer.finish(i); });
    EXPECT_GE(sent, 8u);
    EXPECT_LT(sent, 20u);
    expectUnharmed();
}

TEST_F(BoundsOfCallsHeld, OfTheirDescriptors) {
    RawPeer peer(mDirectory);
    peer.open();
    const uint32_t sent = sendUntilHungUp([&](uint32_t i) { return peer.transact(i, 8, 0, 32); });
    EXPECT_GE(sent, 4u);
    // What is held goes with the calls: 4 of 32 descriptors, and not one more.
    waitUntil([this] { return descriptorsOf(mChild.pid()) <= mDescriptors + 4 * 32; });
    EXPECT_NE(IBivista::tryGetService(), nullptr);
}

TEST_F(BoundsOfCallsHeld, OfObjectsInThemAndInOne) {
    {
        RawPeer peer(mDirectory);
        peer.open();
        const uint32_t sent =
                sendUntilHungUp([&](uint32_t i) { return peer.transact(i, 8, 1000); });
        EXPECT_LT(sent, 100u);
    }
    RawPeer peer(mDirectory);
    peer.open();
    peer.transact(0, 8, 5000);
    while (peer.hear()) {
    }
    expectUnharmed();
}

TEST_F(Bounds, OfConnectionsThatSayNothing) {
    std::vector<std::unique_ptr<RawPeer>> silent;
    for (int i = 0; i < 600; ++i) silent.push_back(std::make_unique<RawPeer>(mDirectory));
    RawPeer talking(mDirectory);
    EXPECT_TRUE(talking.bootstrap(0));
    EXPECT_TRUE(talking.hear());
    // The first one gave way; a client that has called does not, however long it is silent.
    EXPECT_FALSE(silent[0]->hear());
    EXPECT_TRUE(mService->ping().isOk());
}

}  // namespace
