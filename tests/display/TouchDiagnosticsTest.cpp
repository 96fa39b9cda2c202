// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Touch diagnostics of one command each: what is sent, and what comes of the answer.
#include <functional>
#include <optional>
#include <ostream>

#include "tests/kernel/ServiceTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::ElementsAre;

struct Outcome {
    Status status = Status::FAIL;
    std::optional<std::string> text;  // none: the method has no text
    int results = 0;
};

struct Diagnosis {
    const char* method;
    std::function<Outcome(Bivista& service)> call;
    std::string cmd;
};

template <typename Call>
std::function<Outcome(Bivista&)> withText(Call call) {
    return [call](Bivista& service) {
        Outcome outcome;
        const Return<void> done = (service.*call)([&](Status status, const hidl_string& text) {
            outcome.status = status;
            outcome.text = text;
            ++outcome.results;
        });
        EXPECT_TRUE(done.isOk());
        return outcome;
    };
}

std::function<Outcome(Bivista&)> plain(Return<Status> (Bivista::*call)()) {
    return [call](Bivista& service) { return Outcome{(service.*call)(), std::nullopt, 1}; };
}

void PrintTo(const Diagnosis& diagnosis, std::ostream* out) {
    *out << diagnosis.method;
}

class TouchDiagnosticsTest : public AttachedTest, public testing::WithParamInterface<Diagnosis> {
  protected:
    Outcome call() {
        Outcome outcome = GetParam().call(*service);
        EXPECT_EQ(outcome.results, 1);
        return outcome;
    }
    void answer(const std::string& bytes) {
        phone.faults.set("on AT%TCH answer \"" + bytes + "\"");
    }
    // The text that the client got; the expected one for a method that has none.
    static std::string textOf(const Outcome& outcome, const std::string& expected) {
        return outcome.text.value_or(expected);
    }
    bool loggedItself() const {
        const std::string prefix = std::string(GetParam().method) + ": ";
        for (const std::string& text : log.texts()) {
            if (text.rfind(prefix, 0) == 0) return true;
        }
        return false;
    }
};

TEST_P(TouchDiagnosticsTest, SendsItsCommandAndPassesTheAnswerOn) {
    answer(R"(\r\none\r\ntwo\r\nOK\r\n)");
    const Outcome outcome = call();
    EXPECT_EQ(outcome.status, Status::OK);
    EXPECT_EQ(textOf(outcome, "one\ntwo"), "one\ntwo");
    EXPECT_THAT(commands(from), ElementsAre(GetParam().cmd));
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, std::string(GetParam().method) + ": one\ntwo"));
}

TEST_P(TouchDiagnosticsTest, IsAnsweredByTheCover) {
    EXPECT_EQ(call().status, Status::OK);
}

TEST_P(TouchDiagnosticsTest, TakesAnEmptyAnswer) {
    answer(R"(\r\nOK\r\n)");
    const Outcome outcome = call();
    EXPECT_EQ(outcome.status, Status::OK);
    EXPECT_EQ(textOf(outcome, ""), "");
    EXPECT_TRUE(log.contains(std::string(GetParam().method) + ": "));
}

TEST_P(TouchDiagnosticsTest, CutsTheAnswerAt1023Bytes) {
    answer("\\r\\n" + std::string(600, 'x') + "\\r\\n" + std::string(600, 'y') + "\\r\\nOK\\r\\n");
    const Outcome outcome = call();
    EXPECT_EQ(outcome.status, Status::OK);
    const std::string expected = std::string(600, 'x') + "\n" + std::string(422, 'y');
    EXPECT_EQ(textOf(outcome, expected), expected);
}

TEST_P(TouchDiagnosticsTest, CutsTheAnswerAtItsNul) {
    answer(R"(\r\nab\x00cd\r\nOK\r\n)");
    EXPECT_EQ(textOf(call(), "ab"), "ab");
}

// Meant: also after a failure the client gets what there is.
TEST_P(TouchDiagnosticsTest, FailsWithWhatTheCoverSaidBeforeItRefused) {
    answer(R"(\r\none\r\nERROR\r\n)");
    const Outcome outcome = call();
    EXPECT_EQ(outcome.status, Status::FAIL);
    EXPECT_EQ(textOf(outcome, "one\n"), "one\n");
    EXPECT_FALSE(loggedItself());
}

TEST_P(TouchDiagnosticsTest, FailsWithoutACover) {
    detach();
    const Outcome outcome = call();
    EXPECT_EQ(outcome.status, Status::FAIL);
    EXPECT_EQ(textOf(outcome, ""), "");
    EXPECT_FALSE(loggedItself());
}

TEST_P(TouchDiagnosticsTest, TakesAHangUpForSuccess) {
    answer(R"(\r\none\r\n)");
    phone.faults.set("on AT%TCH hangup after 7");
    const Outcome outcome = call();
    EXPECT_EQ(outcome.status, Status::OK);
    EXPECT_EQ(textOf(outcome, "one\n"), "one\n");
}

// A hang-up in an answer that fills the buffer leaves no room for a NUL.
TEST_P(TouchDiagnosticsTest, PassesOnAnAnswerThatFillsTheBuffer) {
    answer("\\r\\n" + std::string(1000, 'x') + "\\r\\n" + std::string(1000, 'y') + "\\r\\n");
    phone.faults.set("on AT%TCH hangup after 2006");
    const std::string expected = std::string(1000, 'x') + "\n" + std::string(23, 'y');
    EXPECT_EQ(textOf(call(), expected), expected);
}

INSTANTIATE_TEST_SUITE_P(
        Methods, TouchDiagnosticsTest,
        testing::Values(
                Diagnosis{"getTouchFirmwareVersion", withText(&Bivista::getTouchFirmwareVersion),
                          "AT%TCHDEBUG=FWVER\r"},
                Diagnosis{"DoTouchReset", plain(&Bivista::DoTouchReset), "AT%TCHDEBUG=RESET\r"},
                Diagnosis{"getGpiopin", withText(&Bivista::getGpiopin), "AT%TCHDEBUG=GPIO_PIN\r"},
                Diagnosis{"DoTouchFirmwareUpgrade", plain(&Bivista::DoTouchFirmwareUpgrade),
                          "AT%TCHNOTIFY=FW_UPGRADE\r"},
                Diagnosis{"getSelfTest", withText(&Bivista::getSelfTest), "AT%TCHNOTIFY=SD\r"},
                Diagnosis{"getLPWGSelfTest", withText(&Bivista::getLPWGSelfTest),
                          "AT%TCHNOTIFY=LPWG_SD\r"}),
        [](const auto& info) { return info.param.method; });

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
