// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Touch diagnostics of the cover. Each is one command to the cover, and returns its outcome.
#include "BivistaTest.h"

#include <algorithm>
#include <cctype>

namespace bivista_vts {
namespace {

class TouchTest : public CoverTest {
  protected:
    // The text belongs to this command and to no other. Measured numbers differ each time.
    void expectTextOf(const char* cmd, TextMethod method) {
        const TextResult result = query(method);
        const TextResult sent = send(cmd);
        EXPECT_EQ(result.status, Status::OK) << cmd;
        EXPECT_EQ(sent.status, Status::OK) << cmd;
        EXPECT_EQ(withoutNumbers(result.text), withoutNumbers(sent.text)) << cmd;
    }

  private:
    static std::string withoutNumbers(std::string text) {
        const auto isDigit = [](unsigned char letter) { return std::isdigit(letter) != 0; };
        text.erase(std::remove_if(text.begin(), text.end(), isDigit), text.end());
        return text;
    }
};

TEST_P(TouchTest, FirmwareVersionIsTheCoversAnswer) {
    const TextResult version = query(&V1_0::IBivista::getTouchFirmwareVersion);
    EXPECT_EQ(version.status, Status::OK);
    EXPECT_EQ(version.text, send("AT%TCHDEBUG=FWVER").text);
}

TEST_P(TouchTest, PinsAreTheCoversAnswer) {
    expectTextOf("AT%TCHDEBUG=GPIO_PIN", &V1_0::IBivista::getGpiopin);
}

TEST_P(TouchTest, SelfTestsAreTheCoversAnswers) {
    expectTextOf("AT%TCHNOTIFY=SD", &V1_0::IBivista::getSelfTest);
    expectTextOf("AT%TCHNOTIFY=LPWG_SD", &V1_0::IBivista::getLPWGSelfTest);
}

TEST_P(TouchTest, FramesAreDumped) {
    expectAs("AT%TCHDEBUG=RAWDATA", service->DoRawdata());
    expectAs("AT%TCHDEBUG=DELTA", service->DoDelta());
}

TEST_P(TouchTest, ControllerIsReset) {
    expectAs("AT%TCHDEBUG=RESET", service->DoTouchReset());
    EXPECT_TRUE(await([this] { return isCoverOn(); }));
}

TEST_P(TouchTest, ResultsAreCollected) {
    ASSERT_EQ(query(&V1_0::IBivista::getSelfTest).status, Status::OK);
    if (statusOf(service->getTestResults()) == Status::OK) return;
    miss(kNodes, "the phone has no folder for touch results");
}

TEST_P(TouchTest, PerformanceModeIsSwitched) {
    for (const bool enable : {true, true, false, false}) {
        expectAs(enable ? "AT%TCPERF=1" : "AT%TCPERF=0", service->set_touch_perf(enable));
    }
}

BIVISTA_PER_INSTANCE(TouchTest);

}  // namespace
}  // namespace bivista_vts
