// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Without a cover: what needs one is refused, and everything else is answered as ever.
#include "BivistaTest.h"

#include <cstdint>

namespace bivista_vts {
namespace {

TEST_P(NoCoverTest, QueriesFailWithoutAText) {
    const std::pair<const char*, TextMethod> methods[] = {
            {"getFirmwareVersion", &V1_0::IBivista::getFirmwareVersion},
            {"getTouchFirmwareVersion", &V1_0::IBivista::getTouchFirmwareVersion},
            {"getGpiopin", &V1_0::IBivista::getGpiopin},
            {"getSelfTest", &V1_0::IBivista::getSelfTest},
            {"getLPWGSelfTest", &V1_0::IBivista::getLPWGSelfTest},
    };
    for (const auto& [name, method] : methods) {
        const TextResult result = query(method);
        EXPECT_EQ(result.status, Status::FAIL) << name;
        EXPECT_EQ(result.text, "") << name;
    }
}

TEST_P(NoCoverTest, RequestsFail) {
    const std::pair<const char*, StatusMethod> methods[] = {
            {"checkFirmwareVersion", &V1_0::IBivista::checkFirmwareVersion},
            {"goDload", &V1_0::IBivista::goDload},
            {"goSTMDload", &V1_0::IBivista::goSTMDload},
            {"DoRawdata", &V1_0::IBivista::DoRawdata},
            {"DoDelta", &V1_0::IBivista::DoDelta},
            {"DoTouchReset", &V1_0::IBivista::DoTouchReset},
            {"DoTouchFirmwareUpgrade", &V1_0::IBivista::DoTouchFirmwareUpgrade},
            {"getTestResults", &V1_0::IBivista::getTestResults},
    };
    for (const auto& [name, method] : methods) {
        EXPECT_EQ(statusOf(((*service).*method)()), Status::FAIL) << name;
    }
}

TEST_P(NoCoverTest, SettingsOfTheCoverFail) {
    EXPECT_EQ(statusOf(service->setStatus({1, 0})), Status::FAIL);
    EXPECT_EQ(statusOf(service->setStatus({INT32_MIN, INT32_MAX})), Status::FAIL);
    EXPECT_EQ(statusOf(service->setAesMode(1)), Status::FAIL);
    EXPECT_EQ(statusOf(service->setAesMode(UINT32_MAX)), Status::FAIL);
    EXPECT_EQ(statusOf(service->manageAesMode(1)), Status::FAIL);
    EXPECT_EQ(statusOf(service->manageAesMode(2)), Status::FAIL);
    EXPECT_EQ(statusOf(service->bv_update_state()), Status::FAIL);
    EXPECT_EQ(statusOf(service->set_touch_perf(true)), Status::FAIL);
    EXPECT_EQ(statusOf(service->set_touch_perf(false)), Status::FAIL);
}

TEST_P(NoCoverTest, TheScreenCannotBeSwitched) {
    for (const bool enable : {false, true}) {
        EXPECT_EQ(statusOf(service->setPowerStatus(enable, false)), Status::FAIL) << enable;
        EXPECT_EQ(statusOf(service->setPowerStatus(enable, true)), Status::FAIL) << enable;
    }
}

TEST_P(NoCoverTest, AnOffsetIsKept) {
    for (const int32_t offset : {INT32_MIN, -10, 100, INT32_MAX, 0}) {
        EXPECT_EQ(statusOf(service->setBVBrightnessOffset(offset)), Status::OK) << offset;
    }
}

TEST_P(NoCoverTest, CommandsFail) {
    const sp<LineRecorder> recorder = new LineRecorder;
    for (const char* cmd : {"AT", "at", "AT%SWV", "AT%TCHNOTIFY=SD"}) {
        const TextResult result = send(cmd, recorder);
        EXPECT_EQ(result.status, Status::FAIL) << cmd;
        EXPECT_EQ(result.text, "") << cmd;
        EXPECT_EQ(send(cmd).status, Status::FAIL) << cmd << ", without a callback";
    }
    EXPECT_EQ(send("AT" + std::string(2000, 'x'), recorder).status, Status::FAIL);
    EXPECT_TRUE(recorder->lines().empty());
}

TEST_P(NoCoverTest, TheCutoutIsThatOfACoverSeenBefore) {
    const TextResult cutout = query(&V1_0::IBivista::getCoverDisplayCutout);
    if (cutout.status == Status::FAIL) {
        EXPECT_EQ(cutout.text, "");
    }
    const TextResult again = query(&V1_0::IBivista::getCoverDisplayCutout);
    EXPECT_EQ(again.status, cutout.status);
    EXPECT_EQ(again.text, cutout.text);
}

BIVISTA_PER_INSTANCE(NoCoverTest);

}  // namespace
}  // namespace bivista_vts
