// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What a healthy system does not show: locks that fail, an update thread that cannot be made, waits
// that break off. The calls of this program go through the functions below (linker option --wrap)
// and those of tests/support/Interposition.h.
#include <atomic>
#include <cerrno>

#include "sub_display/SubDisplay.h"
#include "tests/sub_display/SubDisplayTest.h"
#include "tests/support/Interposition.h"

namespace {

// The next wait for a condition returns this at once; 0: it waits.
std::atomic<int> nextWaitResult = 0;

}  // namespace

extern "C" {

int __real_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex);
int __wrap_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    const int result = nextWaitResult.exchange(0);
    return result != 0 ? result : __real_pthread_cond_wait(condition, mutex);
}
}

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using support::onThreadCreate;
using support::ThreadBody;
using testing::ElementsAre;

std::string lockError(const std::string& function) {
    return "Error at pthread_mutex_lock() : " + function + "\n";
}
std::string unlockError(const std::string& function) {
    return "Error at pthread_mutex_unlock() : " + function + "\n";
}

class SubDisplayInterpositionTest : public SubDisplayTest {
  protected:
    ~SubDisplayInterpositionTest() override {
        support::failingMutex = nullptr;
        onThreadCreate = nullptr;
    }

    // As attachPanel(), until the update thread has nothing to do.
    void attachAndAwaitIdle() {
        start();
        attachPanel();
        awaitIdle();
        log.clear();
    }
};

// A function, called on a panel that is on, and the lock that fails meanwhile.
struct LockingFunction {
    const char* name;
    const void* (*mutex)(Bivista& service);
    void (*call)(Bivista& service);
};
class LockFailureTest : public SubDisplayInterpositionTest,
                        public testing::WithParamInterface<LockingFunction> {};

TEST_P(LockFailureTest, IsLoggedWithTheFunctionsNameAndIgnored) {
    attachAndAwaitIdle();
    support::failingMutex = GetParam().mutex(*service);
    GetParam().call(*service);
    log.waitFor(ANDROID_LOG_ERROR, lockError(GetParam().name));
    log.waitFor(ANDROID_LOG_ERROR, unlockError(GetParam().name));
}

const void* hidLock(Bivista& /*service*/) {
    return &hid_lock;
}
const void* updateLock(Bivista& service) {
    return &service.subDisplay().sub_update_lock;
}
const void* bufferLock(Bivista& /*service*/) {
    return &frameBuffer(0)->lock;
}

void configure(Bivista& service) {
    EXPECT_EQ(service.hidDisplaySetConfig(false, true, 1), 3);
}
void sendNothing(Bivista& service) {
    EXPECT_EQ(service.hidDisplayPalette(0, 0, nullptr), 0);
}
void switchOff(Bivista& service) {
    EXPECT_EQ(service.setSubDisplayPowerState(false), Status::OK);
}
void draw(Bivista& service) {
    hidl_vec<uint32_t> frame;
    frame.resize(16384);
    EXPECT_EQ(service.drawSubDisplay(frame), Status::OK);
}

INSTANTIATE_TEST_SUITE_P(
        Functions, LockFailureTest,
        testing::Values(LockingFunction{"hidDisplaySetConfig", hidLock, configure},
                        LockingFunction{"hidDisplayPalette", hidLock, sendNothing},
                        LockingFunction{"hidDisplayDeviceAdded", hidLock,
                                        [](Bivista& service) { service.hidDisplayDeviceAdded(); }},
                        LockingFunction{
                                "hidDisplayDeviceRemoved", hidLock,
                                [](Bivista& service) { service.hidDisplayDeviceRemoved(); }},
                        LockingFunction{"setSubDisplayPowerState", updateLock, switchOff},
                        LockingFunction{"deinitSubDisplay", updateLock,
                                        [](Bivista& service) { service.deinitSubDisplay(); }},
                        LockingFunction{"drawSubDisplay", updateLock, draw},
                        LockingFunction{"subDisplayUpdateThread", updateLock, draw},
                        LockingFunction{"getBufferState", bufferLock, draw},
                        LockingFunction{"setBufferState", bufferLock, draw}),
        [](const auto& info) { return info.param.name; });

// Meant: the service ignores the result of this unlock.
TEST_F(SubDisplayInterpositionTest, TheUnlockBehindTheInfoIsNotLogged) {
    attachAndAwaitIdle();
    support::failingMutex = &hid_lock;
    hid_display_report_info info = {};
    EXPECT_EQ(service->hidDisplayGetInfo(&info), 7);
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(lockError("hidDisplayGetInfo"))));
}

TEST_F(SubDisplayInterpositionTest, TheStatesLockIsNamedByItsReader) {
    attachAndAwaitIdle();
    support::failLock = 1;
    EXPECT_EQ(state(), SubScreenState::ON);
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(lockError("getSubDisplayState"))));
}

TEST_F(SubDisplayInterpositionTest, TheStatesLockIsNamedByItsWriters) {
    attachAndAwaitIdle();
    support::failUnlocks = true;
    service->setSubDisplayCallback(client);
    service->deinitSubDisplay();
    support::failUnlocks = false;
    for (const char* name : {"getSubDisplayState", "setSubDisplayState", "setSubDisplayCallback"}) {
        EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, unlockError(name))) << name;
    }
    EXPECT_THAT(client->states(), ElementsAre(SubScreenState::UNINITIALIZED));
}

// Results of thread creation that the service takes for a failure, and for a success.
class ThreadCreationTest : public SubDisplayInterpositionTest,
                           public testing::WithParamInterface<int> {
  protected:
    // Attaches a panel whose update thread is not made.
    void attachWithoutThread() {
        onThreadCreate = [](ThreadBody body) {
            return body == subDisplayUpdateThread ? GetParam() : 0;
        };
        start();
        attachPanel();
        onThreadCreate = nullptr;
    }
};

TEST_P(ThreadCreationTest, ThatFailsLeavesThePanelOn) {
    attachWithoutThread();
    EXPECT_EQ(log.contains(ANDROID_LOG_ERROR,
                           "Failed to create sub display pthread: Unknown error -11"),
              GetParam() < 0);
    EXPECT_EQ(state(), SubScreenState::ON);
    EXPECT_EQ(service->drawSubDisplay(makeFrame(1)), Status::OK);
    EXPECT_EQ(bufferState(0), BUFFER_READY) << "nobody sends it";
}

TEST_P(ThreadCreationTest, ThatFailsIsCuredByOffAndOn) {
    attachWithoutThread();
    EXPECT_EQ(service->setSubDisplayPowerState(false), Status::OK);
    EXPECT_EQ(service->setSubDisplayPowerState(true), Status::OK);
    EXPECT_EQ(service->drawSubDisplay(makeFrame(1)), Status::OK);
    EXPECT_THAT(waitForFrames(1), ElementsAre(frameBytes(1)));
}

// Meant: a positive error number, as POSIX has it, counts as success: while it holds, a power-on
// starts no other thread.
TEST_P(ThreadCreationTest, ThatFailsIsTriedAgainOnlyWhenItIsNegative) {
    attachWithoutThread();
    EXPECT_EQ(service->initSubDisplay(service.get(), {2, 128, 128, 4, 1}), 0);
    EXPECT_EQ(service->drawSubDisplay(makeFrame(1)), Status::OK);
    if (GetParam() < 0) {
        waitForFrames(1);
    } else {
        EXPECT_FALSE(
                log.contains("Sub DISPLAY UPDATE Thread is running, "
                             "sub_display_destroyThread : 0"));
    }
}

INSTANTIATE_TEST_SUITE_P(Results, ThreadCreationTest, testing::Values(-EAGAIN, EAGAIN),
                         [](const auto& info) { return info.param < 0 ? "Negative" : "Positive"; });

struct BrokenWait {
    const char* name;
    int result;
    const char* line;
};
class BrokenWaitTest : public SubDisplayInterpositionTest,
                       public testing::WithParamInterface<BrokenWait> {};

TEST_P(BrokenWaitTest, IsLoggedAndTheThreadGoesOn) {
    start();
    nextWaitResult = GetParam().result;
    attachPanel();
    const size_t at = log.waitFor(ANDROID_LOG_ERROR, GetParam().line);
    log.waitFor("There is no buffer to be consumed.", at);
    EXPECT_EQ(service->drawSubDisplay(makeFrame(1)), Status::OK);
    EXPECT_THAT(waitForFrames(1), ElementsAre(frameBytes(1)));
}

INSTANTIATE_TEST_SUITE_P(
        Results, BrokenWaitTest,
        testing::Values(BrokenWait{"Invalid", EINVAL,
                                   "The value specified by abstime, cond or mutex is invalid.\n"},
                        BrokenWait{"NotOwned", EPERM,
                                   "The mutex was not owned by the current thread at the time of "
                                   "the call.\n"}),
        [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
