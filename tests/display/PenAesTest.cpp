// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The pen mode in the cover, the kernel's parameter and the phone's LPWG service, in their order.
#include "tests/display/FakeLpwg.h"
#include "tests/display/WorkerTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PenAesTest : public WorkerTest {
  protected:
    void SetUp() override {
        start();
        attach();
        from = journal.next();
        log.clear();
    }
    void expectSummary(int status, int lpwgResult) const {
        EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG,
                                 "manageAesMode : ATCMD_Status : " + std::to_string(status) +
                                         ", sysNodeError : " + std::to_string(lpwgResult) + "\n"));
    }
};

TEST_F(PenAesTest, IsSetInTheCoverAlone) {
    const sp<FakeLpwg> lpwg = serveLpwg();
    EXPECT_EQ(service->setAesMode(2), Status::OK);
    EXPECT_THAT(told(from), ElementsAre("AT%TCHNOTIFY=SWTICH_AES,2\r"));
    EXPECT_THAT(lpwg->modes, IsEmpty());
    EXPECT_EQ(phone.cover.state().touch.aesMode, 2u);
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "setAesMode: AT%TCHNOTIFY=SWTICH_AES,2\r "));
}

TEST_F(PenAesTest, IsNotRangeTested) {
    EXPECT_EQ(service->setAesMode(UINT32_MAX), Status::OK);
    EXPECT_EQ(service->setAesMode(0), Status::OK);
    EXPECT_THAT(told(from),
                ElementsAre("AT%TCHNOTIFY=SWTICH_AES,4294967295\r", "AT%TCHNOTIFY=SWTICH_AES,0\r"));
}

TEST_F(PenAesTest, FailsWhenTheCoverRefuses) {
    phone.faults.set("on AT%TCHNOTIFY error");
    EXPECT_EQ(service->setAesMode(1), Status::FAIL);
    EXPECT_FALSE(log.contains("setAesMode: AT%TCHNOTIFY=SWTICH_AES,1\r "));
}

TEST_F(PenAesTest, FailsWithoutACover) {
    detach();
    EXPECT_EQ(service->setAesMode(1), Status::FAIL);
}

TEST_F(PenAesTest, Mode1ReachesTheCoverThenTheKernelThenTheLpwgService) {
    const sp<FakeLpwg> lpwg = serveLpwg();
    std::vector<std::string> before;
    lpwg->onMode = [&](int32_t) {
        before = told(from);
        return 5;
    };
    EXPECT_EQ(service->manageAesMode(1), Status::OK);
    EXPECT_THAT(lpwg->modes, ElementsAre(2));
    EXPECT_THAT(before, ElementsAre("AT%TCHNOTIFY=SWTICH_AES,1\r", "aes_mode=0"));
    EXPECT_EQ(told(from), before);
    expectSummary(0, 5);
}

class OtherModeTest : public PenAesTest, public testing::WithParamInterface<uint32_t> {};

// Meant: whatever the mode, it is 2 to the cover.
TEST_P(OtherModeTest, ReachesTheLpwgServiceThenTheCoverThenTheKernel) {
    const sp<FakeLpwg> lpwg = serveLpwg();
    std::vector<std::string> before = {"not called"};
    lpwg->onMode = [&](int32_t) {
        before = told(from);
        return -7;
    };
    EXPECT_EQ(service->manageAesMode(GetParam()), Status::OK);
    EXPECT_THAT(lpwg->modes, ElementsAre(0));
    EXPECT_THAT(before, IsEmpty());
    EXPECT_THAT(told(from), ElementsAre("AT%TCHNOTIFY=SWTICH_AES,2\r", "aes_mode=2"));
    expectSummary(0, -7);
}

INSTANTIATE_TEST_SUITE_P(Modes, OtherModeTest, testing::Values(0u, 2u, 7u, UINT32_MAX));

TEST_F(PenAesTest, IsManagedWithoutAnLpwgService) {
    EXPECT_EQ(service->manageAesMode(1), Status::OK);
    EXPECT_THAT(told(from), ElementsAre("AT%TCHNOTIFY=SWTICH_AES,1\r", "aes_mode=0"));
    expectSummary(0, 0);
}

TEST_F(PenAesTest, IsManagedWhenTheLpwgServiceDies) {
    const sp<FakeLpwg> lpwg = serveLpwg();
    lpwg->onMode = [](int32_t) -> Return<int32_t> {
        return ::android::hardware::Status::fromStatusT(::android::DEAD_OBJECT);
    };
    EXPECT_EQ(service->manageAesMode(1), Status::OK);
    EXPECT_EQ(service->manageAesMode(2), Status::OK);
    EXPECT_THAT(told(from), ElementsAre("AT%TCHNOTIFY=SWTICH_AES,1\r", "aes_mode=0",
                                        "AT%TCHNOTIFY=SWTICH_AES,2\r", "aes_mode=2"));
    expectSummary(0, 0);
}

TEST_F(PenAesTest, IsManagedInTheOtherPlacesWhenTheCoverRefuses) {
    const sp<FakeLpwg> lpwg = serveLpwg();
    phone.faults.set("on AT%TCHNOTIFY error");
    EXPECT_EQ(service->manageAesMode(1), Status::FAIL);
    EXPECT_EQ(service->manageAesMode(2), Status::FAIL);
    EXPECT_THAT(told(from), ElementsAre("AT%TCHNOTIFY=SWTICH_AES,1\r", "aes_mode=0",
                                        "AT%TCHNOTIFY=SWTICH_AES,2\r", "aes_mode=2"));
    EXPECT_THAT(lpwg->modes, ElementsAre(2, 0));
    expectSummary(1, 0);
}

// Meant: the parameter's own failure shows nowhere but in its log line.
TEST_F(PenAesTest, IsManagedWithoutTheKernelsParameterAndMakesNone) {
    phone.files.remove(phone::kAesMode);
    EXPECT_EQ(service->manageAesMode(1), Status::OK);
    EXPECT_TRUE(
            log.contains(ANDROID_LOG_ERROR, std::string("File is not exist : ") + phone::kAesMode));
    EXPECT_FALSE(phone.files.get(phone::kAesMode).has_value());
    expectSummary(0, 0);
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
