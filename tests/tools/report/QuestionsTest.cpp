// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the doctor answers to the four questions, for each cause that a history and a dump show.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "tools/doctor/Checks.h"

namespace doctor {
namespace {

using testing::Contains;
using testing::HasSubstr;

using Question = Findings (*)(const Account&);

struct Case {
    const char* name;
    Question question;
    // The rest of a row after its number: "kind":...
    std::vector<const char*> events;
    const char* dump;
    const char* log;
    Weight weight;
    // Parts of the finding, and of one of its lines.
    const char* what;
    const char* line;
};

void PrintTo(const Case& each, std::ostream* stream) {
    *stream << each.name;
}

Account accountOf(const Case& each) {
    std::string events;
    int number = 0;
    for (const char* event : each.events) {
        events += (events.empty() ? "" : ",") + std::string("{\"number\":") +
                  std::to_string(++number) + ",\"wallMicros\":1795408980123456," + event + "}";
    }
    const std::string history =
            "{\"callbacks\":{\"lpwg\":" + std::string(each.events.empty() ? "null" : "\"1.1\"") +
            "},\"history\":{\"last\":9,\"lost\":0},\"events\":[" + events + "]}";
    return {bivistactl::Dump(each.dump), bivistactl::History(history), each.log};
}

class QuestionsTest : public testing::TestWithParam<Case> {};

TEST_P(QuestionsTest, HasItsAnswerAndTheLineThatShowsIt) {
    const Case& each = GetParam();
    const Findings findings = each.question(accountOf(each));
    const auto found = std::find_if(findings.begin(), findings.end(), [&](const Finding& finding) {
        return finding.what.find(each.what) != std::string::npos;
    });
    ASSERT_NE(found, findings.end()) << each.what;
    EXPECT_EQ(each.weight, found->weight);
    if (*each.line != '\0') EXPECT_THAT(found->lines, Contains(HasSubstr(each.line)));
}

constexpr char kOn[] = R"({"display":{"initialized":true,"screenOn":true},)"
                       R"("subDisplay":{"attached":true,"state":"ON"}})";
constexpr char kOff[] = R"({"display":{"initialized":true,"screenOn":false}})";
constexpr char kLevel[] = R"("kind":"setting","what":"brightness","values":[200])";
constexpr char kPowerOn[] = R"("kind":"setting","what":"power","values":[1,0])";
constexpr char kPowerOff[] = R"("kind":"setting","what":"power","values":[0,0])";
constexpr char kRegistered[] = R"("kind":"callback","what":"lpwg","cause":"registered")";

const Case kCases[] = {
        {"RefusedLevel",
         examineBrightness,
         {kLevel, R"("kind":"failure","what":"AT%DB","cause":"Command not supported")"},
         kOn,
         "",
         Weight::PROBLEM,
         "the cover refused 1 level",
         "2026-11-23 04:43:00.123Z  #2  failure AT%DB: Command not supported"},
        {"SilentCover",
         examineBrightness,
         {kLevel, R"("kind":"timeout","what":"AT%DB")"},
         kOn,
         "",
         Weight::PROBLEM,
         "the cover did not answer to 1 level",
         "#2  timeout AT%DB"},
        {"NoCover",
         examineBrightness,
         {kLevel, R"("kind":"refused","what":"AT%DB","cause":"No such device")"},
         kOn,
         "",
         Weight::PROBLEM,
         "the service could not send 1 level",
         "AT%DB: No such device"},
        {"NoLevel",
         examineBrightness,
         {kLevel, R"("kind":"failure","what":"setBrightness","cause":"invalid brightness value")"},
         kOn,
         "",
         Weight::PROBLEM,
         "a level that is none",
         "#1  setting brightness 200"},
        {"Offset",
         examineBrightness,
         {kLevel},
         R"({"brightness":{"offset":-20}})",
         "",
         Weight::NOTE,
         "an offset of -20 is in force",
         "dump: brightness.offset is -20"},
        {"Queued",
         examineBrightness,
         {kLevel},
         R"({"brightness":{"queued":1},"display":{"initialized":true}})",
         "x\nWaiting for y\n",
         Weight::NOTE,
         "a level still waited",
         "log:2: Waiting for y"},
        {"OffAfterwards",
         examineBrightness,
         {kLevel, kPowerOff},
         kOff,
         "",
         Weight::NOTE,
         "the screen was switched off after",
         "#2  setting power 0 0"},
        {"SentLevel",
         examineBrightness,
         {kLevel},
         kOn,
         "",
         Weight::FINE,
         "was sent as it is",
         "#1  setting brightness 200"},
        {"NobodySetOne", examineBrightness, {}, kOn, "", Weight::NOTE, "no client has set", ""},

        {"NeverUp",
         examineScreen,
         {kPowerOn, R"("kind":"failure","what":"setPowerStatus","cause":"HPD Status failed")"},
         kOff,
         "setPowerStatus: HPD Status failed Status:Off\n",
         Weight::PROBLEM,
         "its screen did not come up",
         "log:1: setPowerStatus: HPD Status failed"},
        {"NotInitialized",
         examineScreen,
         {kPowerOn, R"("kind":"failure","what":"setPowerStatus","cause":"bv2 not initialized")"},
         kOff,
         "",
         Weight::PROBLEM,
         "there is no cover",
         "#2  failure setPowerStatus"},
        {"RefusedPower",
         examineScreen,
         {kPowerOn, R"("kind":"failure","what":"AT%BV","cause":"Command not supported")"},
         kOff,
         "",
         Weight::PROBLEM,
         "the cover refused to switch",
         "#2  failure AT%BV"},
        {"SilentPower",
         examineScreen,
         {kPowerOn, R"("kind":"timeout","what":"AT%BV")"},
         kOff,
         "",
         Weight::PROBLEM,
         "the cover did not answer to the order",
         "#2  timeout AT%BV"},
        {"UnsentPower",
         examineScreen,
         {kPowerOn, R"("kind":"refused","what":"AT%BV")"},
         kOff,
         "",
         Weight::PROBLEM,
         "did not get as far as the cover",
         "#2  refused AT%BV"},
        {"SwitchedOff",
         examineScreen,
         {kPowerOn, kPowerOff},
         kOff,
         "",
         Weight::NOTE,
         "a client has switched the screen off",
         "#2  setting power 0 0"},
        {"PulledOff",
         examineScreen,
         {kPowerOn, R"("kind":"detach","what":"serial")"},
         kOff,
         "",
         Weight::NOTE,
         "the cover was pulled off",
         "#2  detach serial"},
        {"NeverSwitchedOn",
         examineScreen,
         {},
         kOff,
         "",
         Weight::NOTE,
         "no client has switched the screen on",
         "dump: display.screenOn is false"},
        {"OffForNoReason",
         examineScreen,
         {kPowerOn},
         kOff,
         "",
         Weight::NOTE,
         "the screen is off, though",
         "#1  setting power 1 0"},
        {"Black",
         examineScreen,
         {R"("kind":"setting","what":"brightness","values":[0])"},
         kOn,
         "",
         Weight::NOTE,
         "the screen is on, with brightness 0",
         "#1  setting brightness 0"},
        {"Lit", examineScreen, {kPowerOn}, kOn, "", Weight::FINE, "the screen is on", "is true"},

        {"NobodyRegistered",
         examineEvents,
         {},
         R"({"callbacks":{"lpwg":null}})",
         "",
         Weight::NOTE,
         "no client has registered an LPWG callback",
         "dump: callbacks.lpwg is null"},
        {"Cleared",
         examineEvents,
         {kRegistered, R"("kind":"callback","what":"lpwg","cause":"cleared")"},
         kOn,
         "",
         Weight::PROBLEM,
         "a client has cleared its callback",
         "#2  callback lpwg: cleared"},
        {"Died",
         examineEvents,
         {kRegistered, R"("kind":"callback","what":"lpwg","cause":"died")"},
         kOn,
         "",
         Weight::PROBLEM,
         "has died",
         "#2  callback lpwg: died"},
        {"Replaced",
         examineEvents,
         {kRegistered, R"("kind":"callback","what":"lpwg","cause":"replaced")"},
         kOn,
         "",
         Weight::NOTE,
         "another client has taken the callback",
         "#2  callback lpwg: replaced"},
        {"FailedEvent",
         examineEvents,
         {kRegistered, R"("kind":"lpwgEvent","what":"WAKEUP","values":[0],"cause":"failed")"},
         kOn,
         "",
         Weight::PROBLEM,
         "an event failed",
         "#2  lpwgEvent WAKEUP 0: failed"},
        {"MissedEvent",
         examineEvents,
         {kRegistered, R"("kind":"lpwgEvent","what":"WAKEUP","cause":"no callback")"},
         kOn,
         "",
         Weight::NOTE,
         "when no client had a callback",
         "#2  lpwgEvent WAKEUP"},
        {"Signal",
         examineEvents,
         {kRegistered, R"("kind":"signal","what":"SIGUSR1")"},
         kOn,
         "",
         Weight::PROBLEM,
         "a signal has ended",
         "#2  signal SIGUSR1"},
        {"QuietKernel",
         examineEvents,
         {kRegistered},
         kOn,
         "",
         Weight::NOTE,
         "the kernel reported no event",
         "#1  callback lpwg: registered"},
        {"Delivered",
         examineEvents,
         {kRegistered, R"("kind":"lpwgEvent","what":"WAKEUP","cause":"delivered")"},
         kOn,
         "",
         Weight::FINE,
         "was handled",
         "#2  lpwgEvent WAKEUP: delivered"},

        {"NotOn",
         examinePicture,
         {R"("kind":"failure","what":"drawSubDisplay","cause":"Sub Panel is not ready state")"},
         R"({"subDisplay":{"attached":true,"state":"OFF"}})",
         "",
         Weight::PROBLEM,
         "while the sub display was not on",
         "dump: subDisplay.state is OFF"},
        {"TooLarge",
         examinePicture,
         {R"("kind":"failure","what":"drawSubDisplay","cause":"Input buffer size is overflow")"},
         kOn,
         "",
         Weight::PROBLEM,
         "too large",
         "#1  failure drawSubDisplay"},
        {"TooSmall",
         examinePicture,
         {R"("kind":"failure","what":"drawSubDisplay","cause":"Input buffer size is underflow")"},
         kOn,
         "",
         Weight::PROBLEM,
         "too small",
         "#1  failure drawSubDisplay"},
        {"BuffersInUse",
         examinePicture,
         {R"("kind":"failure","what":"drawSubDisplay","cause":"There is no Writable Buffer")"},
         kOn,
         "",
         Weight::PROBLEM,
         "both frame buffers",
         "#1  failure drawSubDisplay"},
        {"NoBuffers",
         examinePicture,
         {R"("kind":"failure","what":"drawSubDisplay","cause":"There is no Palette Buffer")"},
         kOn,
         "",
         Weight::PROBLEM,
         "there were no frame buffers",
         "#1  failure drawSubDisplay"},
        {"GivenUp",
         examinePicture,
         {R"("kind":"frameDropped","cause":"Input/output error")"},
         kOn,
         "Could not send palette data.\n",
         Weight::PROBLEM,
         "gave up a frame",
         "#1  frameDropped: Input/output error"},
        {"ReplacedFrame",
         examinePicture,
         {R"("kind":"frameDropped","cause":"replaced")"},
         kOn,
         "",
         Weight::NOTE,
         "replaced by a newer one",
         "#1  frameDropped: replaced"},
        {"NoPanel",
         examinePicture,
         {R"("kind":"detach","what":"panel")"},
         R"({"subDisplay":{"attached":false}})",
         "",
         Weight::NOTE,
         "there is no panel",
         "#1  detach panel"},
        {"NoSize",
         examinePicture,
         {R"("kind":"failure","what":"hidDisplayGetInfo","cause":"Broken pipe")"},
         kOn,
         "",
         Weight::PROBLEM,
         "did not tell its size",
         "hidDisplayGetInfo: Broken pipe"},
        {"PanelOff",
         examinePicture,
         {R"("kind":"setting","what":"subDisplay.power","values":[0])"},
         R"({"subDisplay":{"attached":true,"state":"OFF"}})",
         "",
         Weight::NOTE,
         "the sub display is not on: OFF",
         "#1  setting subDisplay.power 0"},
        {"BlackPanel",
         examinePicture,
         {R"("kind":"setting","what":"subDisplay.brightness","values":[0])"},
         kOn,
         "",
         Weight::NOTE,
         "brightness is 0",
         "#1  setting subDisplay.brightness 0"},
        {"NothingDrawn", examinePicture, {}, kOn, "", Weight::NOTE, "no client has drawn", ""},
        {"Drawn",
         examinePicture,
         {},
         R"({"subDisplay":{"attached":true,"state":"ON"},"frames":{"drawn":1,"sent":1}})",
         "",
         Weight::FINE,
         "the panel has taken every frame",
         "dump: frames.sent is 1"},
};

INSTANTIATE_TEST_SUITE_P(Causes, QuestionsTest, testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(QuestionsWithoutHistoryTest, HaveNoAnswer) {
    const Account account = {bivistactl::Dump("{}"), bivistactl::History::unknown("none"), ""};
    for (const Question question :
         {examineBrightness, examineScreen, examineEvents, examinePicture}) {
        EXPECT_TRUE(question(account).empty());
    }
}

}  // namespace
}  // namespace doctor
