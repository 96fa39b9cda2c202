// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The sub display switched on and off, and its brightness.
#include <chrono>
#include <climits>
#include <thread>

#include "tests/sub_display/Settling.h"
#include "tests/sub_display/SubDisplayTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using support::LogLine;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string kOnReport = "\3\2\x5A";
const std::string kOffReport("\3\0\0", 3);

class SubDisplayPowerTest : public SubDisplayTest {
  protected:
    // Brings the panel into this state; what came before is forgotten.
    void enter(SubScreenState state) {
        start();
        if (state == SubScreenState::INITIALIZED) setFault("hid config error EPIPE");
        if (state != SubScreenState::UNINITIALIZED) attachPanel();
        clearFaults();
        if (state == SubScreenState::ON) awaitIdle();
        if (state == SubScreenState::OFF) {
            EXPECT_EQ(service->setSubDisplayPowerState(false), Status::OK);
        }
        ASSERT_EQ(this->state(), state);
        service->setSubDisplayCallback(client);
        log.clear();
        mFrom = journal.next();
    }

    // The configurations that the panel was sent since then.
    std::vector<std::string> configs() const { return bytes(transfers(Kind::HidSet, mFrom)); }

  private:
    uint64_t mFrom = 0;
};

struct Switching {
    const char* name;
    SubScreenState from;
    bool enable;
    std::string report;
    SubScreenState to;
};
class SwitchingTest : public SubDisplayPowerTest, public testing::WithParamInterface<Switching> {};

TEST_P(SwitchingTest, SendsTheConfigurationAndTellsTheClient) {
    enter(GetParam().from);
    EXPECT_EQ(service->setSubDisplayPowerState(GetParam().enable), Status::OK);
    EXPECT_THAT(configs(), ElementsAre(GetParam().report));
    EXPECT_EQ(state(), GetParam().to);
    EXPECT_THAT(client->states(), ElementsAre(GetParam().to));
    EXPECT_EQ(log.lines().front(), infoLine("setSubDisplayPowerState ++, enable : " +
                                            std::to_string(int{GetParam().enable})));
    EXPECT_TRUE(log.contains(ANDROID_LOG_INFO, "setSubDisplayPowerState --"));
}

INSTANTIATE_TEST_SUITE_P(States, SwitchingTest,
                         testing::Values(Switching{"InitializedToOn", SubScreenState::INITIALIZED,
                                                   true, kOnReport, SubScreenState::ON},
                                         Switching{"InitializedToOff", SubScreenState::INITIALIZED,
                                                   false, kOffReport, SubScreenState::OFF},
                                         Switching{"OnToOff", SubScreenState::ON, false, kOffReport,
                                                   SubScreenState::OFF},
                                         Switching{"OffToOn", SubScreenState::OFF, true, kOnReport,
                                                   SubScreenState::ON}),
                         [](const auto& info) { return info.param.name; });

struct Refused {
    const char* name;
    SubScreenState from;
    bool enable;
    LogLine line;
};
class RefusedSwitchingTest : public SubDisplayPowerTest,
                             public testing::WithParamInterface<Refused> {};

TEST_P(RefusedSwitchingTest, LeavesThePanelAlone) {
    enter(GetParam().from);
    EXPECT_EQ(service->setSubDisplayPowerState(GetParam().enable), Status::FAIL);
    EXPECT_THAT(configs(), IsEmpty());
    EXPECT_EQ(state(), GetParam().from);
    EXPECT_THAT(client->states(), IsEmpty());
    EXPECT_THAT(log.lines(), ElementsAre(infoLine("setSubDisplayPowerState ++, enable : " +
                                                  std::to_string(int{GetParam().enable})),
                                         GetParam().line))
            << "and no closing line";
    // The next request is not taken for one in progress.
    EXPECT_EQ(service->setSubDisplayPowerState(GetParam().enable), Status::FAIL);
}

INSTANTIATE_TEST_SUITE_P(
        States, RefusedSwitchingTest,
        testing::Values(
                Refused{"OnWithoutAPanel", SubScreenState::UNINITIALIZED, true,
                        errorLine("Sub Display is not initialized yet")},
                Refused{"OffWithoutAPanel", SubScreenState::UNINITIALIZED, false,
                        errorLine("Sub Display is not initialized yet")},
                Refused{"OnWhileOn", SubScreenState::ON, true,
                        infoLine("Same status is requested, cur_state : 3, isON : 1, enable : "
                                 "1")},
                Refused{"OffWhileOff", SubScreenState::OFF, false,
                        infoLine("Same status is requested, cur_state : 2, isON : 0, enable : "
                                 "0")}),
        [](const auto& info) { return info.param.name; });

TEST_F(SubDisplayPowerTest, APanelThatRefusesKeepsItsState) {
    enter(SubScreenState::ON);
    setFault("hid config error EPIPE");
    EXPECT_EQ(service->setSubDisplayPowerState(false), Status::FAIL);
    EXPECT_EQ(state(), SubScreenState::ON);
    EXPECT_THAT(client->states(), IsEmpty());
    EXPECT_THAT(log.lines(),
                ElementsAre(infoLine("setSubDisplayPowerState ++, enable : 0"),
                            errorLine("hidDisplaySetConfig: failed to set config: Broken pipe"),
                            infoLine("setSubDisplayPowerState --")));
    clearFaults();
    EXPECT_EQ(service->setSubDisplayPowerState(false), Status::OK) << "nothing is in progress";
}

TEST_F(SubDisplayPowerTest, OffEndsTheUpdateThread) {
    enter(SubScreenState::ON);
    EXPECT_EQ(service->setSubDisplayPowerState(false), Status::OK);
    // Meant: the line names the other function.
    EXPECT_THAT(log.lines(),
                ElementsAre(infoLine("setSubDisplayPowerState ++, enable : 0"),
                            infoLine("deinitSubDisplay : sub_display_destroyThread = 1"),
                            infoLine("Sub DISPLAY UPDATE Thread is over"),
                            infoLine("setSubDisplayPowerState --")));
}

TEST_F(SubDisplayPowerTest, OffDropsFramesThatWereNotSent) {
    enter(SubScreenState::INITIALIZED);
    setBufferState(0, BUFFER_READY);
    setBufferState(1, BUFFER_WRITING);
    EXPECT_EQ(service->setSubDisplayPowerState(false), Status::OK);
    EXPECT_EQ(bufferState(0), BUFFER_FREE);
    EXPECT_EQ(bufferState(1), BUFFER_FREE);
}

TEST_F(SubDisplayPowerTest, OnStartsTheUpdateThreadAgain) {
    enter(SubScreenState::OFF);
    EXPECT_EQ(service->setSubDisplayPowerState(true), Status::OK);
    log.waitFor(ANDROID_LOG_INFO,
                "Sub DISPLAY UPDATE Thread is running, sub_display_destroyThread : 0");
    log.waitFor("There is no buffer to be consumed.");
}

// As when a second node appears without the first one having gone.
TEST_F(SubDisplayPowerTest, AnUpdateThreadThatRunsIsNotStartedTwice) {
    enter(SubScreenState::ON);
    EXPECT_EQ(service->initSubDisplay(service.get(), {2, 128, 128, 4, 1}), 0);
    EXPECT_EQ(state(), SubScreenState::ON);
    EXPECT_EQ(service->setSubDisplayPowerState(false), Status::OK);
    EXPECT_FALSE(
            log.contains("Sub DISPLAY UPDATE Thread is running, sub_display_destroyThread : "
                         "0"));
    EXPECT_EQ(log.count("Sub DISPLAY UPDATE Thread is over"), 1u);
}

TEST_F(SubDisplayPowerTest, ThePanelHasHalfASecondToSettle) {
    enter(SubScreenState::ON);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(service->setSubDisplayPowerState(false), Status::OK);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
}

TEST_F(SubDisplayPowerTest, TheStateChangesWhenThePanelHasSettled) {
    enter(SubScreenState::ON);
    const auto start = std::chrono::steady_clock::now();
    std::thread request([&] { service->setSubDisplayPowerState(false); });
    log.waitFor("Sub DISPLAY UPDATE Thread is over");
    client->waitFor(SubScreenState::OFF);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
    request.join();
}

// Meant: what is dropped is reported as carried out.
TEST_F(SubDisplayPowerTest, ASecondRequestIsDroppedWhileOneRuns) {
    enter(SubScreenState::ON);
    support::hold(HidCall::SetFeature);
    std::thread first([&] { EXPECT_EQ(service->setSubDisplayPowerState(false), Status::OK); });
    support::awaitHeld();
    log.clear();
    EXPECT_EQ(service->setSubDisplayPowerState(true), Status::OK);
    EXPECT_THAT(log.lines(), ElementsAre(infoLine("setSubDisplayPowerState ++, enable : 1"),
                                         errorLine("Sub Display Power state is in progress...")));
    support::release();
    first.join();
    EXPECT_THAT(configs(), ElementsAre(kOffReport));
    EXPECT_EQ(state(), SubScreenState::OFF);
}

// The test for a request in progress comes before that for a panel.
TEST_F(SubDisplayPowerTest, ARequestWithoutAPanelIsDroppedTooWhileOneRuns) {
    enter(SubScreenState::ON);
    support::settling = support::Settling::Held;
    std::thread first([&] { service->setSubDisplayPowerState(false); });
    log.waitFor("Sub DISPLAY UPDATE Thread is over");
    detachPanel();
    EXPECT_EQ(service->setSubDisplayPowerState(true), Status::OK);
    EXPECT_TRUE(log.contains("Sub Display Power state is in progress..."));
    support::settling = support::Settling::AsPanelsDo;
    first.join();
}

struct Level {
    const char* name;
    SubScreenState state;
    int32_t value;
    std::string report;
};
class SubBrightnessTest : public SubDisplayPowerTest, public testing::WithParamInterface<Level> {};

TEST_P(SubBrightnessTest, KeepsThePowerAsItIs) {
    enter(GetParam().state);
    EXPECT_EQ(service->setSubDisplayBrightness(GetParam().value), Status::OK);
    EXPECT_THAT(configs(), ElementsAre(GetParam().report));
    EXPECT_EQ(state(), GetParam().state);
    EXPECT_THAT(client->states(), IsEmpty());
    EXPECT_THAT(log.lines(), ElementsAre(infoLine("setSubDisplayBrightness ++, value : " +
                                                  std::to_string(GetParam().value)),
                                         infoLine("setSubDisplayBrightness --")));
}

INSTANTIATE_TEST_SUITE_P(
        Values, SubBrightnessTest,
        testing::Values(Level{"DarkButOn", SubScreenState::ON, 0, std::string("\3\2\0", 3)},
                        Level{"Full", SubScreenState::ON, 255, "\3\2\xFF"},
                        Level{"Initialized", SubScreenState::INITIALIZED, 1, "\3\2\1"},
                        Level{"Off", SubScreenState::OFF, 128, std::string("\3\0\x80", 3)}),
        [](const auto& info) { return info.param.name; });

class WrongBrightnessTest : public SubDisplayPowerTest, public testing::WithParamInterface<int> {};

TEST_P(WrongBrightnessTest, IsRefused) {
    enter(SubScreenState::ON);
    EXPECT_EQ(service->setSubDisplayBrightness(GetParam()), Status::FAIL);
    EXPECT_THAT(configs(), IsEmpty());
    const std::string value = std::to_string(GetParam());
    EXPECT_THAT(log.lines(), ElementsAre(infoLine("setSubDisplayBrightness ++, value : " + value),
                                         errorLine("invalid brightness value:" + value)));
}

INSTANTIATE_TEST_SUITE_P(Values, WrongBrightnessTest,
                         testing::Values(256, 300, 65536, INT_MAX, -1, -255, INT_MIN));

TEST_F(SubDisplayPowerTest, BrightnessWithoutAPanelIsRefused) {
    enter(SubScreenState::UNINITIALIZED);
    EXPECT_EQ(service->setSubDisplayBrightness(300), Status::FAIL);
    EXPECT_THAT(log.lines(), ElementsAre(infoLine("setSubDisplayBrightness ++, value : 300"),
                                         errorLine("Sub Display is not initialized yet")));
}

TEST_F(SubDisplayPowerTest, ABrightnessThatThePanelRefusesFails) {
    enter(SubScreenState::ON);
    setFault("hid config error EIO");
    EXPECT_EQ(service->setSubDisplayBrightness(10), Status::FAIL);
    EXPECT_THAT(
            log.lines(),
            ElementsAre(infoLine("setSubDisplayBrightness ++, value : 10"),
                        errorLine("hidDisplaySetConfig: failed to set config: Input/output error"),
                        infoLine("setSubDisplayBrightness --")));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
