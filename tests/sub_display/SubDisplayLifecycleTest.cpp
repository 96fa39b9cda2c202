// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The sub display's panel found and lost, and the callbacks that clients get for it.
#include <atomic>
#include <future>
#include <thread>

#include <unistd.h>

#include "tests/sub_display/PowerSpy.h"
#include "tests/sub_display/SubDisplayTest.h"
#include "tests/support/Asleep.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Info {
    Status status = Status::OK;
    SubScreenInfo info = {};
    int results = 0;
};

class SubDisplayLifecycleTest : public SubDisplayTest {
  protected:
    Info getInfo() const {
        Info got;
        const Return<void> done =
                service->getSubDisplayInfo([&](Status status, const SubScreenInfo& info) {
                    got = {status, info, got.results + 1};
                });
        EXPECT_TRUE(done.isOk());
        EXPECT_EQ(got.results, 1);
        return got;
    }

    // Of these lines, those that were logged, in order.
    std::vector<std::string> logged(const std::string& prefix) const {
        std::vector<std::string> lines;
        for (const std::string& text : log.texts()) {
            if (text.rfind(prefix, 0) == 0) lines.push_back(text);
        }
        return lines;
    }
};

TEST_F(SubDisplayLifecycleTest, StartsWithoutAPanel) {
    start();
    EXPECT_EQ(state(), SubScreenState::UNINITIALIZED);
    const Info got = getInfo();
    EXPECT_EQ(got.status, Status::FAIL);
    EXPECT_EQ(got.info, SubScreenInfo{});
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "Sub Display is not initialized yet"));
}

TEST_F(SubDisplayLifecycleTest, APanelIsSwitchedOnAtOnce) {
    start();
    attachPanel();
    EXPECT_EQ(state(), SubScreenState::ON);
    EXPECT_THAT(bytes(transfers(Kind::HidSet, first)), ElementsAre("\3\2\x5A"));
    size_t at = log.waitFor(ANDROID_LOG_INFO, "initSubDisplay ++ ");
    at = log.waitFor(ANDROID_LOG_INFO, "initSubDisplay : sub_display_destroyThread = 0", at);
    at = log.waitFor(ANDROID_LOG_INFO, "initSubDisplay -- ", at);
    at = log.waitFor(ANDROID_LOG_INFO, "setSubDisplayPowerState ++, enable : 1", at);
    log.waitFor(ANDROID_LOG_INFO, "setSubDisplayPowerState --", at);
}

TEST_F(SubDisplayLifecycleTest, TheNextPanelIsSwitchedOnAsTheFirst) {
    start();
    attachPanel();
    detachPanel();
    const size_t from = log.size();
    attachPanel();
    EXPECT_EQ(state(), SubScreenState::ON);
    const size_t at = log.waitFor(ANDROID_LOG_INFO, "initSubDisplay ++ ", from);
    log.waitFor(ANDROID_LOG_INFO, "initSubDisplay : sub_display_destroyThread = 0", at);
    EXPECT_FALSE(log.contains("initSubDisplay : sub_display_destroyThread = 1"));
}

TEST_F(SubDisplayLifecycleTest, TheClientIsToldEveryState) {
    start();
    service->setSubDisplayCallback(client);
    attachPanel();
    detachPanel();
    EXPECT_THAT(client->states(), ElementsAre(SubScreenState::INITIALIZED, SubScreenState::ON,
                                              SubScreenState::UNINITIALIZED));
}

// Clients know before the update thread has ended.
TEST_F(SubDisplayLifecycleTest, ADetachTellsTheClientFirst) {
    start();
    attachPanel();
    class Client : public StateRecorder {
      public:
        explicit Client(const support::LogCapture& log) : mLog(log) {}
        Return<void> onSubDisplayStateChanged(SubScreenState state) override {
            overBefore = mLog.contains("Sub DISPLAY UPDATE Thread is over");
            return StateRecorder::onSubDisplayStateChanged(state);
        }
        bool overBefore = true;

      private:
        const support::LogCapture& mLog;
    };
    const sp<Client> observer = new Client(log);
    service->setSubDisplayCallback(observer);
    detachPanel();
    EXPECT_THAT(observer->states(), ElementsAre(SubScreenState::UNINITIALIZED));
    EXPECT_FALSE(observer->overBefore);
}

TEST_F(SubDisplayLifecycleTest, ADetachEndsTheUpdateThread) {
    start();
    attachPanel();
    awaitIdle();
    detachPanel();
    size_t at = log.waitFor(ANDROID_LOG_INFO, "deinitSubDisplay ++ ");
    at = log.waitFor(ANDROID_LOG_INFO, "deinitSubDisplay : sub_display_destroyThread = 1", at);
    at = log.waitFor(ANDROID_LOG_INFO, "Sub DISPLAY UPDATE Thread is over", at);
    log.waitFor(ANDROID_LOG_INFO, "deinitSubDisplay -- ", at);
    EXPECT_EQ(state(), SubScreenState::UNINITIALIZED);
}

TEST_F(SubDisplayLifecycleTest, ADetachWithoutAPanelSaysNothing) {
    start();
    log.clear();
    EXPECT_EQ(service->deinitSubDisplay(), 0);
    EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(SubDisplayLifecycleTest, ADetachAndAnAttachDropFramesThatWereNotSent) {
    start();
    setFault("hid config error EPIPE");
    attachPanel();
    setBufferState(0, BUFFER_READY);
    setBufferState(1, BUFFER_READY);
    detachPanel();
    EXPECT_EQ(bufferState(0), BUFFER_FREE);
    EXPECT_EQ(bufferState(1), BUFFER_FREE);
    setBufferState(0, BUFFER_READY);
    setBufferState(1, BUFFER_READY);
    attachPanel();
    EXPECT_EQ(bufferState(0), BUFFER_FREE);
    EXPECT_EQ(bufferState(1), BUFFER_FREE);
}

TEST_F(SubDisplayLifecycleTest, TellsThePanelsSizeAndFormat) {
    start();
    attachPanel({.x = 65535, .y = 1, .format = 255});
    const Info got = getInfo();
    EXPECT_EQ(got.status, Status::OK);
    EXPECT_EQ(got.info, (SubScreenInfo{65535, 1, 255}));
}

// Meant: the failure comes with the last panel's size.
TEST_F(SubDisplayLifecycleTest, TheSizeOutlivesThePanel) {
    start();
    attachPanel();
    detachPanel();
    const Info got = getInfo();
    EXPECT_EQ(got.status, Status::FAIL);
    EXPECT_EQ(got.info, (SubScreenInfo{128, 128, 4}));
}

TEST_F(SubDisplayLifecycleTest, ThePanelNeedNotBeReady) {
    start();
    attachPanel({.ready = 0});
    EXPECT_EQ(state(), SubScreenState::ON);
}

TEST_F(SubDisplayLifecycleTest, APanelThatDoesNotComeOnStaysInitialized) {
    start();
    service->setSubDisplayCallback(client);
    setFault("hid config error EPIPE");
    attachPanel();
    EXPECT_EQ(state(), SubScreenState::INITIALIZED);
    EXPECT_THAT(client->states(), ElementsAre(SubScreenState::INITIALIZED));
    EXPECT_THAT(logged("Sub DISPLAY UPDATE Thread"), IsEmpty());
}

// The power-on of an attach goes through the interface.
TEST_F(SubDisplayLifecycleTest, TheServiceObjectIsAskedToSwitchOn) {
    std::vector<bool> asked;
    start(makePowerSpy(&asked));
    EXPECT_EQ(service->initSubDisplay(service.get(), {}), 0);
    EXPECT_THAT(asked, ElementsAre(true));
    EXPECT_EQ(state(), SubScreenState::INITIALIZED);
}

TEST_F(SubDisplayLifecycleTest, ACallbackReplacesTheOneBefore) {
    start();
    const sp<StateRecorder> second = new StateRecorder;
    service->setSubDisplayCallback(client);
    service->setSubDisplayCallback(second);
    attachPanel();
    EXPECT_EQ(log.count("registering callback"), 2u);
    EXPECT_THAT(client->states(), IsEmpty());
    EXPECT_THAT(second->states(), ElementsAre(SubScreenState::INITIALIZED, SubScreenState::ON));
}

TEST_F(SubDisplayLifecycleTest, AReplacedCallbackIsReleased) {
    start();
    sp<StateRecorder> first = new StateRecorder;
    const ::android::wp<StateRecorder> weak = first;
    service->setSubDisplayCallback(first);
    first = nullptr;
    EXPECT_NE(weak.promote(), nullptr);
    service->setSubDisplayCallback(nullptr);
    EXPECT_EQ(weak.promote(), nullptr);
}

// Releasing a callback may run the client's code, which may ask the service.
TEST_F(SubDisplayLifecycleTest, AReplacedCallbackIsReleasedWithoutTheLock) {
    start();
    class Client : public StateRecorder {
      public:
        explicit Client(Bivista& service) : mService(service) {}
        ~Client() override { mService.setSubDisplayCallback(nullptr); }

      private:
        Bivista& mService;
    };
    service->setSubDisplayCallback(new Client(*service));
    service->setSubDisplayCallback(client);
    attachPanel();
    EXPECT_THAT(client->states(), IsEmpty()) << "cleared by the first one's end";
}

TEST_F(SubDisplayLifecycleTest, ANewCallbackIsNotToldTheStateThatHolds) {
    start();
    attachPanel();
    service->setSubDisplayCallback(client);
    EXPECT_THAT(client->states(), IsEmpty());
}

TEST_F(SubDisplayLifecycleTest, WithoutACallbackADetachClearsEverything) {
    start();
    attachPanel();
    setBufferState(0, BUFFER_WRITING);
    detachPanel();
    EXPECT_EQ(state(), SubScreenState::UNINITIALIZED);
    EXPECT_EQ(bufferState(0), BUFFER_FREE);
    EXPECT_TRUE(log.contains("Sub DISPLAY UPDATE Thread is over"));
}

TEST_F(SubDisplayLifecycleTest, CarriesOnWithACallbackThatDied) {
    start();
    class Dead : public IBivistaSubDisplayCallback {
      public:
        Return<void> onSubDisplayStateChanged(SubScreenState /*state*/) override {
            return ::android::hardware::Status::fromStatusT(::android::DEAD_OBJECT);
        }
    };
    service->setSubDisplayCallback(new Dead);
    attachPanel();
    EXPECT_EQ(state(), SubScreenState::ON);
}

// A call during a client's callback waits for the callback, and returns the new state.
TEST_F(SubDisplayLifecycleTest, AStateIsNotReadWhileTheClientIsBeingTold) {
    start();
    class Slow : public StateRecorder {
      public:
        Return<void> onSubDisplayStateChanged(SubScreenState state) override {
            if (state == SubScreenState::INITIALIZED) {
                called.set_value();
                mAnswer.get_future().wait();
            }
            return StateRecorder::onSubDisplayStateChanged(state);
        }
        void answer() { mAnswer.set_value(); }
        std::promise<void> called;

      private:
        std::promise<void> mAnswer;
    };
    const sp<Slow> slow = new Slow;
    service->setSubDisplayCallback(slow);
    plugPanel();
    slow->called.get_future().wait();
    std::atomic<pid_t> reading = 0;
    std::atomic<bool> hasRead = false;
    std::thread reader([&] {
        reading = gettid();
        EXPECT_NE(state(), SubScreenState::UNINITIALIZED);
        hasRead = true;
    });
    while (reading == 0 || (!hasRead && !support::isAsleep(reading))) usleep(1000);
    EXPECT_FALSE(hasRead);
    EXPECT_TRUE(slow->states().empty());
    slow->answer();
    reader.join();
    EXPECT_FALSE(slow->states().empty());
    log.waitFor("setSubDisplayPowerState --");
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
