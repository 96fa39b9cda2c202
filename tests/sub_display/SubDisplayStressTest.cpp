// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A client that draws as fast as it can, while the panel takes frames, is switched and comes and
// goes: what arrives was drawn, and is whole.
#include <algorithm>
#include <atomic>
#include <cstring>
#include <thread>

#include <sched.h>
#include <unistd.h>

#include "tests/sub_display/Settling.h"
#include "tests/sub_display/SubDisplayTest.h"

extern "C" {

// Gives the others a chance in between, as seldom happens by itself.
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    sched_yield();
    return __real_pthread_mutex_lock(mutex);
}
}

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

class SubDisplayStressTest : public SubDisplayTest {
  protected:
    void SetUp() override {
        support::settling = support::Settling::AtOnce;
        start();
        attachPanel();
    }

    // Draws frame after frame, numbered from 1, until stop().
    void startDrawing() {
        mDrawer = std::thread([this] {
            hidl_vec<uint32_t> frame = makeFrame(0);
            while (!mStop) {
                const uint32_t number = mDrawn + 1;
                // The same words over and over, put there faster than they are sent.
                const hidl_vec<uint32_t> words = makeFrame(number, sizeof(number));
                for (size_t i = 0; i < frame.size(); i += words.size()) {
                    memcpy(&frame[i], words.data(), words.size() * sizeof(uint32_t));
                }
                // Counted before: it may arrive before the call returns.
                mDrawn = number;
                (void)service->drawSubDisplay(frame).isOk();
            }
        });
    }
    void stopDrawing() {
        mStop = true;
        mDrawer.join();
    }

    // Every frame is one that was drawn, whole, and none is older than one before it.
    void expectWholeFrames(const std::vector<std::string>& frames) const {
        uint32_t last = 0;
        for (const std::string& frame : frames) {
            uint32_t number = 0;
            memcpy(&number, frame.data(), sizeof(number));
            EXPECT_GE(number, last);
            EXPECT_LE(number, mDrawn);
            EXPECT_TRUE(frame == frameBytes(number)) << "frame " << number << " is mixed";
            last = number;
        }
    }

  private:
    std::thread mDrawer;
    std::atomic<bool> mStop = false;
    std::atomic<uint32_t> mDrawn = 0;
};

TEST_F(SubDisplayStressTest, EveryFrameThatArrivesWasDrawn) {
    startDrawing();
    const std::vector<std::string> frames = waitForFrames(500);
    stopDrawing();
    expectWholeFrames(frames);
}

TEST_F(SubDisplayStressTest, AlsoWhileTransfersFail) {
    startDrawing();
    for (int i = 0; i < 50; ++i) {
        for (const char* fault : {"error EIO after 1", "short 4000 after 2", "short 7 after 3",
                                  "error ETIMEDOUT after 4"}) {
            setFault("hid write " + std::string(fault) + " times 1");
        }
        waitForFrames(shownFrames().size() + 3);
    }
    stopDrawing();
    // A frame that was given up leaves part of it to the next one's, which is written over it.
    expectWholeFrames(shownFrames());
}

TEST_F(SubDisplayStressTest, AlsoWhileThePanelIsSwitched) {
    startDrawing();
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(service->setSubDisplayPowerState(false), Status::OK);
        const size_t frames = shownFrames().size();
        EXPECT_EQ(service->setSubDisplayPowerState(true), Status::OK);
        waitForFrames(frames + 1);
    }
    stopDrawing();
    expectWholeFrames(shownFrames());
}

TEST_F(SubDisplayStressTest, AlsoWhileThePanelComesAndGoes) {
    startDrawing();
    for (int i = 0; i < 50; ++i) {
        detachPanel();
        attachPanel();
        waitForFrames(shownFrames().size() + 1);
    }
    stopDrawing();
    EXPECT_EQ(state(), SubScreenState::ON);
    expectWholeFrames(shownFrames());
}

// A stop may come before the thread's first wait: it then ends without one.
TEST_F(SubDisplayStressTest, AThreadThatIsStoppedAtOnceEnds) {
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(service->setSubDisplayPowerState(false), Status::OK);
        EXPECT_EQ(service->setSubDisplayPowerState(true), Status::OK);
    }
}

// A client's requests and the panel's comings and goings meet in every order.
TEST_F(SubDisplayStressTest, SwitchingAndDetachingMeet) {
    std::atomic<bool> stop = false;
    std::thread switcher([&] {
        for (bool enable = false; !stop; enable = !enable) {
            (void)service->setSubDisplayPowerState(enable).isOk();
        }
    });
    startDrawing();
    for (int i = 0; i < 200; ++i) {
        service->hidDisplayDeviceRemoved();
        service->hidDisplayDeviceAdded();
    }
    stop = true;
    switcher.join();
    stopDrawing();
    expectWholeFrames(shownFrames());
    // Whatever the last state was, the next panel works.
    detachPanel();
    attachPanel();
    EXPECT_EQ(state(), SubScreenState::ON);
    const size_t frames = shownFrames().size();
    EXPECT_EQ(service->drawSubDisplay(makeFrame(7)), Status::OK);
    EXPECT_EQ(waitForFrames(frames + 1).back(), frameBytes(7));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
