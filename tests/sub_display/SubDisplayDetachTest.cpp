// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The panel pulled off while something is going on.
#include <cstring>
#include <thread>

#include <dirent.h>
#include <unistd.h>

#include "tests/sub_display/Settling.h"
#include "tests/sub_display/SubDisplayTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::ElementsAre;

// What the kernel says of a report that was under way: ESHUTDOWN.
const std::string kCutOff = "Cannot send after transport endpoint shutdown";

class SubDisplayDetachTest : public SubDisplayTest {
  protected:
    void SetUp() override {
        start();
        attachPanel();
        service->setSubDisplayCallback(client);
    }

    // The panel takes its time for the next such call, until it is pulled off.
    void holdUp(const std::string& call) { setFault("hid " + call + " late 3600s times 1"); }
    void awaitHeldUp() const {
        // The fault is used up when it holds the call up.
        while (!phone.faults.list().empty()) usleep(1000);
    }

    // After a detach everything works with the next panel.
    void expectRecovery() {
        attachPanel();
        EXPECT_EQ(state(), SubScreenState::ON);
        const size_t frames = shownFrames().size();
        EXPECT_EQ(service->drawSubDisplay(makeFrame(0xABCD)), Status::OK);
        EXPECT_EQ(waitForFrames(frames + 1).back(), frameBytes(0xABCD));
    }
};

TEST_F(SubDisplayDetachTest, InTheMiddleOfAFrame) {
    support::hold(HidCall::Write);
    EXPECT_EQ(service->drawSubDisplay(makeFrame(1)), Status::OK);
    support::awaitHeld();
    detachPanel();
    EXPECT_THAT(client->states(), ElementsAre(SubScreenState::UNINITIALIZED));
    EXPECT_TRUE(log.contains("hidDisplayPalette: failed to write palette: No such device"));
    EXPECT_EQ(bufferState(0), BUFFER_FREE);
    support::release();
    expectRecovery();
}

TEST_F(SubDisplayDetachTest, InTheMiddleOfAReport) {
    holdUp("write");
    EXPECT_EQ(service->drawSubDisplay(makeFrame(1)), Status::OK);
    awaitHeldUp();
    detachPanel();
    EXPECT_THAT(client->states(), ElementsAre(SubScreenState::UNINITIALIZED));
    EXPECT_EQ(log.count("hidDisplayPalette: failed to write palette: " + kCutOff), 1u);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "Could not send palette data."));
    EXPECT_EQ(bufferState(0), BUFFER_FREE);
    expectRecovery();
}

TEST_F(SubDisplayDetachTest, InTheMiddleOfAConfiguration) {
    holdUp("config");
    std::thread request([&] { EXPECT_EQ(service->setSubDisplayBrightness(1), Status::FAIL); });
    awaitHeldUp();
    detachPanel();
    request.join();
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR,
                             "hidDisplaySetConfig: failed to set config: " + kCutOff));
    expectRecovery();
}

TEST_F(SubDisplayDetachTest, ByAFaultOfAReport) {
    const size_t from = log.size();
    setFault("hid write unplug after 1 times 1");
    EXPECT_EQ(service->drawSubDisplay(makeFrame(1)), Status::OK);
    const size_t cut = log.waitFor(ANDROID_LOG_ERROR,
                                   "hidDisplayPalette: failed to write palette: " + kCutOff, from);
    log.waitFor(ANDROID_LOG_ERROR, "Could not send palette data.", cut);
    log.waitFor("deinitSubDisplay -- ", from);
    expectRecovery();
}

TEST_F(SubDisplayDetachTest, WhileThePanelIsBeingConfigured) {
    support::hold(HidCall::SetFeature);
    std::thread request([&] { EXPECT_EQ(service->setSubDisplayPowerState(false), Status::FAIL); });
    support::awaitHeld();
    detachPanel();
    request.join();
    EXPECT_EQ(state(), SubScreenState::UNINITIALIZED);
    EXPECT_THAT(client->states(), ElementsAre(SubScreenState::UNINITIALIZED));
    support::release();
    expectRecovery();
}

// Meant: a request that has come so far ends as it would have; the next panel cures that.
TEST_F(SubDisplayDetachTest, WhileThePanelSettlesAfterOff) {
    support::settling = support::Settling::Held;
    std::thread request([&] { EXPECT_EQ(service->setSubDisplayPowerState(false), Status::OK); });
    log.waitFor("Sub DISPLAY UPDATE Thread is over");
    detachPanel();
    EXPECT_THAT(client->states(), ElementsAre(SubScreenState::UNINITIALIZED));
    support::settling = support::Settling::AsPanelsDo;
    request.join();
    EXPECT_THAT(client->states(), ElementsAre(SubScreenState::UNINITIALIZED, SubScreenState::OFF));
    expectRecovery();
}

TEST_F(SubDisplayDetachTest, WhileThePanelSettlesAfterOn) {
    EXPECT_EQ(service->setSubDisplayPowerState(false), Status::OK);
    support::settling = support::Settling::Held;
    const size_t from = log.size();
    std::thread request([&] { EXPECT_EQ(service->setSubDisplayPowerState(true), Status::OK); });
    awaitIdle(from);
    detachPanel();
    log.waitFor("Sub DISPLAY UPDATE Thread is over", from);
    support::settling = support::Settling::AsPanelsDo;
    request.join();
    EXPECT_EQ(state(), SubScreenState::ON);
    EXPECT_THAT(client->states(), ElementsAre(SubScreenState::OFF, SubScreenState::UNINITIALIZED,
                                              SubScreenState::ON));
    expectRecovery();
}

TEST_F(SubDisplayDetachTest, WhileAClientDraws) {
    uint32_t number = 0;
    std::thread drawer([&] {
        while (service->drawSubDisplay(makeFrame(number)) == Status::OK ||
               state() != SubScreenState::UNINITIALIZED) {
            ++number;
        }
    });
    waitForFrames(5);
    detachPanel();
    drawer.join();
    EXPECT_THAT(client->states(), ElementsAre(SubScreenState::UNINITIALIZED));
    EXPECT_TRUE(log.contains("Sub Panel is not ready state(0). Could not request to draw."));
    for (const std::string& frame : shownFrames()) {
        uint32_t sent = 0;
        memcpy(&sent, frame.data(), sizeof(sent));
        EXPECT_LT(sent, number);
        EXPECT_EQ(frame, frameBytes(sent));
    }
    expectRecovery();
}

TEST_F(SubDisplayDetachTest, ManyTimesLeavesNothingBehind) {
    const auto count = [](const char* folder) {
        size_t entries = 0;
        DIR* const open = opendir(folder);
        while (readdir(open) != nullptr) ++entries;
        closedir(open);
        return entries;
    };
    const size_t threads = count("/proc/self/task");
    const size_t descriptors = count("/proc/self/fd");
    for (int i = 0; i < 5; ++i) {
        detachPanel();
        expectRecovery();
    }
    // A thread that was joined is listed a moment longer; one that was left would stay.
    while (count("/proc/self/task") > threads) usleep(1000);
    EXPECT_EQ(count("/proc/self/fd"), descriptors);
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
