// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The touch performance mode.
#include "tests/kernel/ServiceTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using TouchPerformanceTest = AttachedTest;

TEST_F(TouchPerformanceTest, IsSwitchedOnAndOff) {
    EXPECT_EQ(service->set_touch_perf(true), Status::OK);
    EXPECT_TRUE(phone.cover.state().touch.performance);
    EXPECT_EQ(service->set_touch_perf(false), Status::OK);
    EXPECT_FALSE(phone.cover.state().touch.performance);
    EXPECT_THAT(commands(from), ElementsAre("AT%TCPERF=1\r", "AT%TCPERF=0\r"));
}

TEST_F(TouchPerformanceTest, LogsTheAnswerAndTheResult) {
    phone.faults.set(R"(on AT%TCPERF answer "\r\ndone\r\nOK\r\n")");
    EXPECT_EQ(service->set_touch_perf(true), Status::OK);
    EXPECT_TRUE(log.contains(ANDROID_LOG_INFO, "set_touch_perf: Bivista send TCPERF: done, ret:5"));
}

TEST_F(TouchPerformanceTest, LogsAlsoAFailedResult) {
    phone.faults.set(R"(on AT%TCPERF answer "\r\nno\r\nERROR\r\n")");
    EXPECT_EQ(service->set_touch_perf(true), Status::FAIL);
    const size_t at =
            log.waitFor(ANDROID_LOG_INFO, "set_touch_perf: Bivista send TCPERF: no\n, ret:-1");
    log.waitFor(ANDROID_LOG_ERROR, "set_touch_perf: enable:1, buf:no\n, ret: -1", at);
}

TEST_F(TouchPerformanceTest, TakesAHangUpForSuccess) {
    phone.faults.set("on AT%TCPERF hangup");
    EXPECT_EQ(service->set_touch_perf(false), Status::OK);
    EXPECT_TRUE(log.contains("set_touch_perf: Bivista send TCPERF: , ret:1"));
}

TEST_F(TouchPerformanceTest, SendsNothingAfterADetach) {
    detach();
    EXPECT_EQ(service->set_touch_perf(true), Status::FAIL);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "set_touch_perf: bv2 not initialized, enable:1"));
    EXPECT_FALSE(log.contains("serialAtCmd: No such device"));
}

using TouchPerformanceWithoutCoverTest = ServiceTest;

TEST_F(TouchPerformanceWithoutCoverTest, SendsNothingBeforeTheFirstAttach) {
    start();
    EXPECT_EQ(service->set_touch_perf(false), Status::FAIL);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "set_touch_perf: bv2 not initialized, enable:0"));
    EXPECT_THAT(commands(first), IsEmpty());
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
