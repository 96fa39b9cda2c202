// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What a healthy system does not show: locks that fail and threads that cannot be made; and moments
// that only a hook can hit: what is done when the service goes to sleep or signals. The calls of
// this program go through the functions below (linker option --wrap) and those of
// tests/support/Interposition.h.
#include <cerrno>
#include <functional>
#include <utility>

#include <unistd.h>

#include "display/Display.h"
#include "tests/display/DisplayTest.h"
#include "tests/support/Interposition.h"

namespace {

// Called on the thread that is about to sleep, or that has just signalled.
thread_local std::function<void(useconds_t)> onSleep;
thread_local std::function<void()> onSignal;

}  // namespace

extern "C" {

int __real_usleep(useconds_t time);
int __wrap_usleep(useconds_t time) {
    if (onSleep) onSleep(time);
    return __real_usleep(time);
}

int __real_pthread_cond_signal(pthread_cond_t* condition);
int __wrap_pthread_cond_signal(pthread_cond_t* condition) {
    const int result = __real_pthread_cond_signal(condition);
    if (onSignal) onSignal();
    return result;
}
}

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using support::onThreadCreate;
using support::ThreadBody;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class ScreenInterpositionTest : public DisplayTest {
  protected:
    ~ScreenInterpositionTest() override {
        support::failingMutex = nullptr;
        onSleep = nullptr;
        onSignal = nullptr;
    }

    // The first thread asked for with this body is not made; `result` is what its creator gets.
    void refuseFirst(ThreadBody refused, int result) {
        onThreadCreate = [=, this](ThreadBody body) {
            return body == refused && requests++ == 0 ? result : 0;
        };
    }
    std::atomic<int> requests = 0;
};

struct LockingFunction {
    const char* name;
    // On an attached cover whose screen is on.
    std::function<void(Bivista& service)> call;
};
class LockFailureTest : public ScreenInterpositionTest,
                        public testing::WithParamInterface<LockingFunction> {
  protected:
    void awaitFailures() {
        for (const char* call : {"lock", "unlock"}) {
            log.waitFor(ANDROID_LOG_ERROR, std::string("Error at pthread_mutex_") + call +
                                                   "() : " + GetParam().name + "\n");
        }
    }
};

TEST_P(LockFailureTest, IsLoggedWithTheFunctionsNameAndIgnored) {
    bringUp();
    powerOn();
    support::failingMutex = &display_lock;
    GetParam().call(*service);
    awaitFailures();
}

void setPower(Bivista& service, bool enable) {
    EXPECT_EQ(service.setPowerStatus(enable, false), Status::OK);
    EXPECT_EQ(bv2_screen_on, enable);
}

void takeDown(Bivista& service) {
    service.bv2_display_deinit(&service);
    EXPECT_FALSE(bv2_screen_on);
}

void askStatus(Bivista& service) {
    Status status = Status::FAIL;
    EXPECT_TRUE(service.getBV2Status(
                               [&](Status itsStatus, const BivistaStatus&) { status = itsStatus; })
                        .isOk());
    EXPECT_EQ(status, Status::OK);
}

void setLevel(Bivista& service) {
    EXPECT_EQ(service.setBrightness(50), Status::OK);
}

void setOffset(Bivista& service) {
    EXPECT_EQ(service.setBVBrightnessOffset(5), Status::OK);
}

INSTANTIATE_TEST_SUITE_P(Functions, LockFailureTest,
                         testing::Values(LockingFunction{"setBrightness", setLevel},
                                         LockingFunction{"BrightnessThread", setLevel},
                                         LockingFunction{"setBVBrightnessOffset", setOffset},
                                         LockingFunction{"getBV2Status", askStatus},
                                         LockingFunction{"bv2_display_deinit", takeDown}),
                         [](const auto& info) { return info.param.name; });

INSTANTIATE_TEST_SUITE_P(
        Switch, LockFailureTest,
        testing::Values(LockingFunction{"setPowerStatus",
                                        [](Bivista& service) { setPower(service, true); }},
                        LockingFunction{"setPowerStatus",
                                        [](Bivista& service) { setPower(service, false); }}),
        [](const auto& info) { return info.index == 0 ? "On" : "Off"; });

TEST_F(ScreenInterpositionTest, AnAttachGoesOnWithALockThatFails) {
    start();
    support::failingMutex = &display_lock;
    attach();
    log.waitFor(ANDROID_LOG_ERROR, "Error at pthread_mutex_lock() : bv2_display_init\n");
    log.waitFor(ANDROID_LOG_ERROR, "Error at pthread_mutex_unlock() : bv2_display_init\n");
    support::failingMutex = nullptr;
    EXPECT_THAT(queue(), IsEmpty());
    EXPECT_TRUE(bv2_initialized);
}

TEST_F(ScreenInterpositionTest, ABrightnessThreadThatIsNotMadeIsTriedAgainAtTheNextAttach) {
    refuseFirst(BrightnessThread, -EAGAIN);
    start();
    mark();
    attach();
    EXPECT_THAT(lines(),
                ElementsAre(infoLine("bv2_display_init ++, bv2_initialized:0"),
                            debugLine("bv2_display_init: M 0,0 H -36 V 60 H 36 V 0 H 0 Z"),
                            errorLine("Failed to create brightness pthread: Unknown error -11"),
                            infoLine("bv2_display_init --, bv2_initialized:1")));
    EXPECT_TRUE(bv2_initialized) << "the display is up all the same";
    EXPECT_EQ(service->setBrightness(60), Status::OK);
    EXPECT_THAT(queue(), ElementsAre(60)) << "nobody takes it";
    detach();
    attach();
    log.waitFor(kRestLine);
    mark();
    EXPECT_EQ(service->setBrightness(70), Status::OK);
    awaitSent(70);
    EXPECT_THAT(commands(), ElementsAre("AT%DB=70\r"));
    EXPECT_EQ(requests, 2);
}

// Meant: a positive error number, as POSIX has it, counts as success, and no thread is ever made.
TEST_F(ScreenInterpositionTest, APositiveErrorOfABrightnessThreadIsNoFailure) {
    refuseFirst(BrightnessThread, EAGAIN);
    start();
    attach();
    detach();
    EXPECT_EQ(service->setBrightness(60), Status::OK);
    attach();
    EXPECT_EQ(requests, 1);
    EXPECT_THAT(lines("Failed"), IsEmpty());
    EXPECT_THAT(queue(), ElementsAre(60)) << "nobody took it, and the attach left it";
}

TEST_F(ScreenInterpositionTest, EachPollComesFiftyMillisecondsBehindWhatWasBefore) {
    bringUp();
    setHotPlugPolls(2);
    std::vector<std::pair<useconds_t, size_t>> sleeps;
    onSleep = [&](useconds_t time) { sleeps.emplace_back(time, commands().size()); };
    EXPECT_EQ(service->setPowerStatus(true, false), Status::OK);
    // The log, the switch, and from then on a poll after each.
    EXPECT_THAT(sleeps, ElementsAre(Pair(50000, 2), Pair(50000, 3), Pair(50000, 4)));
    EXPECT_EQ(commands().size(), 5u);
}

TEST_F(ScreenInterpositionTest, OffSleepsTenMillisecondsBetweenVoteAndNode) {
    bringUp();
    powerOn();
    service->setBrightness(10);
    awaitSent(10);
    mark();
    std::vector<useconds_t> sleeps;
    onSleep = [&](useconds_t time) {
        sleeps.push_back(time);
        EXPECT_FALSE(bv2_screen_on);
        EXPECT_EQ(lastBrightness(), 0);
        EXPECT_THAT(nodeWrites(), ElementsAre("control=auto"));
    };
    EXPECT_EQ(service->setPowerStatus(false, true), Status::OK);
    EXPECT_THAT(sleeps, ElementsAre(10000));
    EXPECT_THAT(nodeWrites(), ElementsAre("control=auto", "bv2_pd=0 1"));
}

TEST_F(ScreenInterpositionTest, AnOffThatFailsSleepsBeforeTheNodeToo) {
    bringUp();
    powerOn();
    phone.faults.set("on AT%BV=0 error");
    std::vector<useconds_t> sleeps;
    onSleep = [&](useconds_t time) {
        sleeps.push_back(time);
        EXPECT_THAT(commands(), ElementsAre("AT%BV=0\r"));
        EXPECT_THAT(nodeWrites(), IsEmpty());
    };
    EXPECT_EQ(service->setPowerStatus(false, true), Status::FAIL);
    EXPECT_THAT(sleeps, ElementsAre(10000));
    EXPECT_THAT(nodeWrites(), ElementsAre("bv2_pd=0 1"));
}

TEST_F(ScreenInterpositionTest, ACoverPulledOffBetweenPollsFailsTheRest) {
    bringUp();
    setHotPlugPolls(10);
    onSleep = [&, sleeps = 0](useconds_t) mutable {
        if (++sleeps == 3) detach();
    };
    EXPECT_EQ(service->setPowerStatus(true, false), Status::FAIL);
    EXPECT_THAT(commands(), ElementsAre("AT%LOGSAVE=3\r", "AT%BV=1\r", "AT%HPD\r", "AT%HPD\r"));
    EXPECT_EQ(lines("setPowerStatus: failed to serial AtCmd"),
              std::vector(8, errorLine("setPowerStatus: failed to serial AtCmd: , ret: -1")));
    EXPECT_THAT(lines("setPowerStatus: HPD"),
                ElementsAre(errorLine("setPowerStatus: HPD Status failed Status:, trial:10")));
    EXPECT_FALSE(bv2_screen_on);
}

// The display's lock is free while power waits.
TEST_F(ScreenInterpositionTest, TheWorkerSendsBetweenTheStepsOfPowerOn) {
    bringUp();
    setHotPlugPolls(1);
    onSleep = [&, sleeps = 0](useconds_t) mutable {
        if (++sleeps != 2) return;
        EXPECT_EQ(service->setBrightness(50), Status::OK);
        awaitSent(50);
    };
    EXPECT_EQ(service->setPowerStatus(true, false), Status::OK);
    EXPECT_THAT(commands(),
                ElementsAre("AT%LOGSAVE=3\r", "AT%BV=1\r", "AT%HPD\r", "AT%DB=50\r", "AT%HPD\r"));
}

// A detach or power-off comes between a signal and the worker that it wakes.
TEST_F(ScreenInterpositionTest, AQueueEmptiedBehindTheSignalSendsNothing) {
    bringUp();
    powerOn();
    // Still under the lock of setBrightness.
    onSignal = []() NO_THREAD_SAFETY_ANALYSIS { br_arr.clear(); };
    EXPECT_EQ(service->setBrightness(50), Status::OK);
    onSignal = nullptr;
    log.waitFor(kRestLine);
    EXPECT_EQ(service->setBrightness(60), Status::OK);
    awaitSent(60);
    EXPECT_THAT(commands(), ElementsAre("AT%DB=60\r"));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
