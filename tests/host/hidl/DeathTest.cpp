// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Services that end, and the clients that are notified.
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "Processes.h"

namespace {

using namespace hidltest;
using ::android::wp;

sp<IBivista> makeFake() {
    return new FakeBivista;
}

class Recipient : public ::android::hardware::hidl_death_recipient {
  public:
    void serviceDied(uint64_t cookie, const wp<::android::hidl::base::V1_0::IBase>& who) override {
        // Null when its last proxy is gone.
        object = who.promote().get();
        cookies += cookie;
    }
    std::atomic<uint64_t> cookies{0};
    std::atomic<::android::hidl::base::V1_0::IBase*> object{nullptr};
};

TEST(DeadService, GivesADeadObject) {
    ServiceDirectory directory;
    ServiceChild child(makeFake);
    const sp<IBivista> service = getService();
    child.kill(SIGKILL);
    child.wait();
    auto result = service->setBrightness(1);
    EXPECT_FALSE(result.isOk());
    EXPECT_TRUE(result.isDeadObject());
    EXPECT_EQ(result.description(), "Status(EX_TRANSACTION_FAILED): 'DEAD_OBJECT: '");
    EXPECT_EQ(IBivista::getService(), nullptr);
}

class Dying : public FakeBivista {
    Return<Status> setBrightness(int32_t) override {
        kill(getpid(), SIGKILL);
        return Status::OK;
    }
};

TEST(DeadService, GivesADeadObjectToACallUnderWay) {
    ServiceDirectory directory;
    ServiceChild child([] { return sp<IBivista>(new Dying); });
    const sp<IBivista> service = getService();
    auto result = service->setBrightness(1);
    EXPECT_FALSE(result.isOk());
    EXPECT_TRUE(result.isDeadObject());
}

TEST(DeadServiceDeathTest, AbortsWhoeverIgnoresIt) {
    ServiceDirectory directory;
    ServiceChild child(makeFake);
    // The process of the death test is forked, so that it must be the one that uses HIDL.
    EXPECT_DEATH(
            {
                sp<IBivista> service = IBivista::getService();
                child.kill(SIGKILL);
                waitUntil([&] { return IBivista::getService() == nullptr; });
                service->ping();
            },
            "not examined.*DEAD_OBJECT");
}

TEST(DeadService, IsReplacedOverItsStaleSocket) {
    ServiceDirectory directory;
    int gate[2];
    ASSERT_EQ(pipe2(gate, O_CLOEXEC), 0);
    // Forked before this process uses HIDL.
    Child second([&](const Child::Ready& ready) {
        char byte;
        if (read(gate[0], &byte, 1) != 1) return 1;
        ::android::hardware::configureRpcThreadpool(1, true);
        if (makeFake()->registerAsService() != ::android::OK) return 2;
        ready();
        ::android::hardware::joinRpcThreadpool();
        return 1;
    });
    auto first = std::make_unique<ServiceChild>(makeFake);
    const sp<IBivista> old = getService();
    first->kill(SIGKILL);
    first->wait();
    ASSERT_EQ(write(gate[1], "x", 1), 1);
    ASSERT_TRUE(second.waitUntilReady());

    const sp<IBivista> service = getService();
    ASSERT_NE(service, nullptr);
    EXPECT_TRUE(service->ping().isOk());
    EXPECT_FALSE(old->ping().isOk());
    EXPECT_FALSE(::android::hardware::interfacesEqual(old, service));
}

TEST(DeathRecipient, IsTold) {
    ServiceDirectory directory;
    ServiceChild child(makeFake);
    const sp<IBivista> service = getService();
    const sp<Recipient> recipient = new Recipient;
    EXPECT_TRUE(static_cast<bool>(service->linkToDeath(recipient, 42)));
    child.kill(SIGKILL);
    waitUntil([&] { return recipient->cookies == 42; });
    EXPECT_EQ(recipient->object, service.get());
}

TEST(DeathRecipient, ThatWasUnlinkedIsNotTold) {
    ServiceDirectory directory;
    ServiceChild child(makeFake);
    const sp<IBivista> service = getService();
    const sp<Recipient> unlinked = new Recipient;
    const sp<Recipient> linked = new Recipient;
    EXPECT_TRUE(static_cast<bool>(service->linkToDeath(unlinked, 1)));
    EXPECT_TRUE(static_cast<bool>(service->linkToDeath(linked, 2)));
    EXPECT_TRUE(static_cast<bool>(service->unlinkToDeath(unlinked)));
    EXPECT_FALSE(static_cast<bool>(service->unlinkToDeath(unlinked)));
    child.kill(SIGKILL);
    waitUntil([&] { return linked->cookies == 2; });
    EXPECT_EQ(unlinked->cookies, 0u);
}

TEST(DeathRecipient, OfADeadServiceIsRefused) {
    ServiceDirectory directory;
    ServiceChild child(makeFake);
    const sp<IBivista> service = getService();
    const sp<Recipient> first = new Recipient;
    EXPECT_TRUE(static_cast<bool>(service->linkToDeath(first, 1)));
    child.kill(SIGKILL);
    waitUntil([&] { return first->cookies == 1; });
    EXPECT_FALSE(static_cast<bool>(service->linkToDeath(new Recipient, 2)));
}

}  // namespace
