// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The two answers to "is the cover there": the accessory service's, and that of the USB bus.
#include <functional>
#include <future>

#include <vendor/qmx/hardware/accessory/1.1/IAccessory.h>

#include "emulator/phone/neighbours/Accessory.h"
#include "tests/display/DisplayTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using accessory::V1_1::IAccessory;

bool isFree(Mutex& mutex) {
    if (!mutex.tryLock()) return false;
    mutex.unlock(__func__);
    return true;
}

// An accessory service that does what the phone's never would.
class OddAccessory : public IAccessory {
  public:
    Return<void> getAccessoryState(getAccessoryState_cb cb) override {
        isLockFree = isFree(display_lock);
        if (onCall) onCall();
        cb(0, state);
        if (fails) return ::android::hardware::Status::fromStatusT(::android::DEAD_OBJECT);
        return Void();
    }
#define RESERVED(number)                        \
    Return<void> reserved_##number() override { \
        return Void();                          \
    }
    RESERVED(1)
    RESERVED(2)
    RESERVED(3)
    RESERVED(4)
    RESERVED(5)
    RESERVED(6)
    RESERVED(7)
    RESERVED(8)
    RESERVED(9)
    RESERVED(10)
    RESERVED(11)
    RESERVED(12)
    RESERVED(13)
    RESERVED(14)
    RESERVED(15)
    RESERVED(16)
    RESERVED(17)
    RESERVED(18)
    RESERVED(19)
    RESERVED(20)
    RESERVED(21)
    RESERVED(22)
#undef RESERVED

    uint32_t state = 0;
    bool fails = false;
    std::function<void()> onCall;
    bool isLockFree = false;
};

class AttachmentStatusTest : public DisplayTest {
  protected:
    // From here on the phone has this accessory service.
    sp<OddAccessory> serveOddAccessory() {
        const sp<OddAccessory> odd = new OddAccessory;
        EXPECT_EQ(odd->registerAsService(), ::android::OK);
        return odd;
    }

    bool isConnected() {
        Status status = Status::FAIL;
        BivistaStatus answer;
        int results = 0;
        const Return<void> done =
                service->getBV2Status([&](Status itsStatus, const BivistaStatus& itsAnswer) {
                    status = itsStatus;
                    answer = itsAnswer;
                    ++results;
                });
        EXPECT_TRUE(done.isOk());
        EXPECT_EQ(status, Status::OK) << "also when the cover is away";
        EXPECT_EQ(results, 1);
        return answer.connected;
    }

    // The phone's own; absent until it is served.
    neighbours::Accessory accessory{phone};
};

TEST_F(AttachmentStatusTest, WithoutAnAccessoryServiceTheCoverIsAway) {
    start();
    EXPECT_FALSE(isConnected());
    EXPECT_FALSE(bv2connected());
}

TEST_F(AttachmentStatusTest, FollowsTheAccessoryService) {
    start();
    accessory.serve();
    EXPECT_FALSE(isConnected());
    phone.cover.attach();
    EXPECT_TRUE(isConnected());
    accessory.withdraw();
    EXPECT_FALSE(isConnected()) << "it is looked up anew";
    accessory.serve();
    EXPECT_TRUE(isConnected());
    phone.cover.detach();
    EXPECT_FALSE(isConnected());
}

TEST_F(AttachmentStatusTest, OnlyStateThreeIsAttached) {
    start();
    accessory.serve();
    for (const uint32_t state : {0u, 1u, 2u, 4u, 0x103u, UINT32_MAX}) {
        accessory.setState(neighbours::AccessoryState{.state = state});
        EXPECT_FALSE(isConnected()) << state;
    }
    accessory.setState(neighbours::AccessoryState{.type = UINT32_MAX, .state = 3});
    EXPECT_TRUE(isConnected());
}

TEST_F(AttachmentStatusTest, TheKindOfTheAccessoryIsNotItsState) {
    start();
    accessory.serve();
    accessory.setState(neighbours::AccessoryState{.type = 3});
    EXPECT_FALSE(isConnected());
}

TEST_F(AttachmentStatusTest, ACallThatFailedIsNotLookedAt) {
    start();
    const sp<OddAccessory> odd = serveOddAccessory();
    odd->fails = true;
    EXPECT_FALSE(isConnected());
    odd->state = 3;
    EXPECT_TRUE(isConnected());
}

TEST_F(AttachmentStatusTest, TheAccessoryServiceIsLetGo) {
    start();
    const sp<OddAccessory> odd = serveOddAccessory();
    const int32_t references = odd->getStrongCount();
    isConnected();
    EXPECT_EQ(odd->getStrongCount(), references);
}

TEST_F(AttachmentStatusTest, TheAccessoryServiceIsAskedUnderTheLock) {
    start();
    const sp<OddAccessory> odd = serveOddAccessory();
    odd->isLockFree = true;
    isConnected();
    EXPECT_FALSE(odd->isLockFree);
    bv2connected();
    EXPECT_TRUE(odd->isLockFree) << "the question alone takes no lock";
}

// Meant: a slow accessory service holds up the cover's removal.
TEST_F(AttachmentStatusTest, ADetachWaitsForTheAccessoryServicesAnswer) {
    bringUp();
    std::promise<void> asked;
    std::promise<void> answer;
    const sp<OddAccessory> odd = serveOddAccessory();
    odd->onCall = [&] {
        asked.set_value();
        answer.get_future().wait();
    };
    std::thread client([&] { isConnected(); });
    asked.get_future().wait();
    phone.cover.detach();
    log.waitFor("bv2_display_deinit ++, bv2_initialized:1");
    LOG_INFO("answered");
    answer.set_value();
    client.join();
    log.waitFor("bv2_display_deinit --, bv2_initialized:0");
    EXPECT_THAT(lines(),
                testing::ElementsAre(infoLine("bv2_display_deinit ++, bv2_initialized:1"),
                                     infoLine("answered"),
                                     infoLine("bv2_display_deinit --, bv2_initialized:0")));
}

TEST_F(AttachmentStatusTest, TheBusMayKnowACoverThatTheAccessoryServiceDoesNot) {
    start();
    accessory.serve();
    accessory.setState(neighbours::AccessoryState{});
    EXPECT_FALSE(service->getBV2Connect());
    phone.cover.attach(support::withoutPanel());
    while (!service->getBV2Connect()) {
    }
    EXPECT_FALSE(isConnected());
}

TEST_F(AttachmentStatusTest, TheAccessoryServiceMayKnowACoverThatTheBusDoesNot) {
    start();
    accessory.serve();
    attach({.withUsb = false});
    EXPECT_TRUE(isConnected());
    EXPECT_FALSE(service->getBV2Connect());
    EXPECT_TRUE(bv2_initialized) << "the tty brings the display up";
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
