// The two answers to "is the cover there": the accessory service's, and that of the USB bus.
#include <future>

#include <vendor/qmx/hardware/accessory/1.1/IAccessory.h>

#include "tests/display/DisplayTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using accessory::V1_1::IAccessory;

bool isFree(Mutex& mutex) {
    if (!mutex.tryLock()) return false;
    mutex.unlock(__func__);
    return true;
}

// The platform's accessory service, with an answer that the test sets.
class FakeAccessory : public IAccessory {
  public:
    Return<void> getAccessoryState(getAccessoryState_cb cb) override {
        isLockFree = isFree(display_lock);
        if (onCall) onCall();
        cb(type, state);
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

    uint32_t type = 0;
    uint32_t state = 0;
    bool fails = false;
    std::function<void()> onCall;
    bool isLockFree = false;
};

class AttachmentStatusTest : public DisplayTest {
  protected:
    // From here on the phone has an accessory service.
    sp<FakeAccessory> serveAccessory() {
        const sp<FakeAccessory> accessory = new FakeAccessory;
        EXPECT_EQ(accessory->registerAsService(), ::android::OK);
        return accessory;
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
};

TEST_F(AttachmentStatusTest, WithoutAnAccessoryServiceTheCoverIsAway) {
    start();
    EXPECT_FALSE(isConnected());
    EXPECT_FALSE(bv2connected());
}

TEST_F(AttachmentStatusTest, OnlyStateThreeIsAttached) {
    start();
    const sp<FakeAccessory> accessory = serveAccessory();
    for (const uint32_t state : {0u, 1u, 2u, 4u, 0x103u, UINT32_MAX}) {
        accessory->state = state;
        EXPECT_FALSE(isConnected()) << state;
    }
    accessory->state = 3;
    EXPECT_TRUE(isConnected());
    accessory->state = 2;
    EXPECT_FALSE(isConnected()) << "each question is asked anew";
}

TEST_F(AttachmentStatusTest, TheKindOfTheAccessoryIsNotItsState) {
    start();
    const sp<FakeAccessory> accessory = serveAccessory();
    accessory->type = 3;
    EXPECT_FALSE(isConnected());
}

TEST_F(AttachmentStatusTest, ACallThatFailedIsNotLookedAt) {
    start();
    const sp<FakeAccessory> accessory = serveAccessory();
    accessory->fails = true;
    EXPECT_FALSE(isConnected());
    accessory->state = 3;
    EXPECT_TRUE(isConnected());
}

TEST_F(AttachmentStatusTest, TheAccessoryServiceIsLetGo) {
    start();
    const sp<FakeAccessory> accessory = serveAccessory();
    const int32_t references = accessory->getStrongCount();
    isConnected();
    EXPECT_EQ(accessory->getStrongCount(), references);
}

TEST_F(AttachmentStatusTest, TheAccessoryServiceIsAskedUnderTheLock) {
    start();
    const sp<FakeAccessory> accessory = serveAccessory();
    accessory->isLockFree = true;
    isConnected();
    EXPECT_FALSE(accessory->isLockFree);
    bv2connected();
    EXPECT_TRUE(accessory->isLockFree) << "the question alone takes no lock";
}

// Meant: a slow accessory service holds up the cover's removal.
TEST_F(AttachmentStatusTest, ADetachWaitsForTheAccessoryServicesAnswer) {
    bringUp();
    std::promise<void> asked;
    std::promise<void> answer;
    const sp<FakeAccessory> accessory = serveAccessory();
    accessory->onCall = [&] {
        asked.set_value();
        answer.get_future().wait();
    };
    std::thread client([&] { isConnected(); });
    asked.get_future().wait();
    phone.detachCover();
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
    const sp<FakeAccessory> accessory = serveAccessory();
    EXPECT_FALSE(service->getBV2Connect());
    phone.attachCover();
    while (!service->getBV2Connect()) {
    }
    EXPECT_FALSE(isConnected());
}

TEST_F(AttachmentStatusTest, TheAccessoryServiceMayKnowACoverThatTheBusDoesNot) {
    start();
    const sp<FakeAccessory> accessory = serveAccessory();
    accessory->state = 3;
    attach({.withUsb = false});
    EXPECT_TRUE(isConnected());
    EXPECT_FALSE(service->getBV2Connect());
    EXPECT_TRUE(bv2_initialized) << "the tty brings the display up";
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
