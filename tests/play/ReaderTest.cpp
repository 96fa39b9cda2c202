// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the reader makes of each word of a scenario.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "emulator/play/Reader.h"
#include "tests/play/Written.h"

namespace play {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::Pair;
using How = Pattern::How;

// Of the only step.
template <typename What>
What only(const std::string& step) {
    const Scenario scenario = readText(withSteps(step));
    EXPECT_EQ(1U, scenario.steps.size());
    return std::get<What>(scenario.steps.at(0).what);
}

// Of the only item that is expected.
template <typename What>
What expected(const std::string& item) {
    const auto expect = only<Expect>("  - expect:\n      - " + item + "\n");
    EXPECT_EQ(1U, expect.items.size());
    return std::get<What>(expect.items.at(0).what);
}

void expectPattern(const std::optional<Pattern>& pattern, How how, const std::string& text) {
    ASSERT_TRUE(pattern);
    EXPECT_EQ(how, pattern->how);
    EXPECT_EQ(text, pattern->text);
}

TEST(ReaderTest, ReadsTheHead) {
    const Scenario scenario = readText(
            "scenario: A name\n"
            "about: >\n"
            "  Two\n"
            "  lines.\n"
            "start:\n"
            "  cover: off\n"
            "  properties: {persist.a: \"1\", persist.b: 2}\n"
            "  do:\n"
            "    - fault on AT%SWV late 200ms times 1\n"
            "    - [mark, begin]\n"
            "steps:\n"
            "  - pause: 3s\n");
    EXPECT_EQ("s.yaml", scenario.file.filename());
    EXPECT_EQ("A name", scenario.name);
    EXPECT_EQ("Two lines.\n", scenario.about);
    EXPECT_FALSE(scenario.start.cover);
    EXPECT_THAT(scenario.start.properties,
                ElementsAre(Pair("persist.a", "1"), Pair("persist.b", "2")));
    ASSERT_EQ(2U, scenario.start.deeds.size());
    const auto& fault = std::get<Deed>(scenario.start.deeds[0].what);
    EXPECT_EQ("fault on AT%SWV late 200ms times 1", fault.words);
    EXPECT_EQ("POST", fault.method);
    EXPECT_EQ("/v1/faults", fault.path);
    EXPECT_EQ(Json({{"text", "on AT%SWV late 200ms times 1"}}), fault.values);
    EXPECT_EQ(9, scenario.start.deeds[0].place.line);
    EXPECT_EQ(7, scenario.start.deeds[0].place.column);
    EXPECT_EQ(Json({{"text", "begin"}}), std::get<Deed>(scenario.start.deeds[1].what).values);
    EXPECT_EQ(12, scenario.steps.at(0).place.line);
    EXPECT_EQ(5, scenario.steps.at(0).place.column);
    EXPECT_EQ("pause: 3s", scenario.steps.at(0).text);
}

TEST(ReaderTest, TheCoverIsOnAtTheStartUnlessTheFileSaysOtherwise) {
    EXPECT_TRUE(readText(withSteps("  - pause: 1ms\n")).start.cover);
}

TEST(ReaderTest, ReadsACall) {
    const auto call = only<Call>(
            "  - call: setScreenTune\n"
            "    with: [1, 2, 3, 0]\n"
            "    gives: [OK, \"1\", 2, true, null, 1.5, {x: [1]}, no, \"null\"]\n"
            "    background: true\n"
            "    within: 3s\n");
    EXPECT_EQ("setScreenTune", call.method);
    EXPECT_EQ(Json({1, 2, 3, 0}), call.arguments);
    EXPECT_EQ(Json::parse(R"(["OK","1",2,true,null,1.5,{"x":[1]},"no","null"])"), call.gives);
    EXPECT_TRUE(call.background);
    EXPECT_EQ(3s, call.limit);
}

TEST(ReaderTest, ACallMayGiveAnything) {
    const auto call = only<Call>("  - call: getBV2Status\n");
    EXPECT_EQ(Json::array(), call.arguments);
    EXPECT_FALSE(call.gives);
    EXPECT_FALSE(call.background);
    EXPECT_EQ(60s, call.limit);
    EXPECT_EQ(Json::array({"OK"}), only<Call>("  - call: goDload\n    gives: OK\n").gives);
}

TEST(ReaderTest, ReadsDeedsWithQuotedWords) {
    const auto deed = only<Deed>("  - do: fault 'on AT%SWV before \"a b\"'\n");
    EXPECT_EQ(Json({{"text", "on AT%SWV before \"a b\""}}), deed.values);
    EXPECT_EQ("DELETE", only<Deed>("  - do: fault --clear\n").method);
    EXPECT_EQ(Json({{"bytes", "\\r\\nOK\\r\\n"}}),
              only<Deed>("  - do: send \\r\\nOK\\r\\n\n").values);
}

TEST(ReaderTest, ADeedOfSeveralRequestsIsAsManySteps) {
    const Scenario scenario = readText(withSteps("  - do: pen BV_PEN_WAKEUP BV_PEN_DETECTION\n"));
    ASSERT_EQ(2U, scenario.steps.size());
    EXPECT_EQ(Json({{"name", "BV_PEN_WAKEUP"}}), std::get<Deed>(scenario.steps[0].what).values);
    EXPECT_EQ(Json({{"name", "BV_PEN_DETECTION"}}), std::get<Deed>(scenario.steps[1].what).values);
    EXPECT_EQ("do: pen BV_PEN_WAKEUP BV_PEN_DETECTION", scenario.steps[1].text);
}

TEST(ReaderTest, ReadsARunOfAProgram) {
    const auto run = only<play::Run>(
            "  - run: bivistactl power \"on now\"\n"
            "    status: 3\n"
            "    out: {contains: text}\n"
            "    err: \"\"\n"
            "    within: 2s\n");
    EXPECT_THAT(run.words, ElementsAre("bivistactl", "power", "on now"));
    EXPECT_EQ(3, run.status);
    EXPECT_EQ(2s, run.limit);
    expectPattern(run.out, How::Contains, "text");
    expectPattern(run.err, How::Is, "");
    const auto list = only<play::Run>("  - run: [bivista-emulator, ctl, show]\n");
    EXPECT_THAT(list.words, ElementsAre("bivista-emulator", "ctl", "show"));
    EXPECT_EQ(0, list.status);
    EXPECT_EQ(60s, list.limit);
    EXPECT_FALSE(list.out);
    EXPECT_FALSE(list.err);
}

TEST(ReaderTest, ReadsTimes) {
    EXPECT_EQ(100ms, only<Pause>("  - pause: 100ms\n").time);
    EXPECT_EQ(600s, only<Pause>("  - pause: 600s\n").time);
}

TEST(ReaderTest, ReadsWaits) {
    const auto one = only<Wait>("  - wait: attached\n");
    ASSERT_EQ(1U, one.conditions.size());
    EXPECT_EQ("attached", std::get<ServicePattern>(one.conditions[0].what).condition);
    EXPECT_EQ("attached", one.conditions[0].text);
    EXPECT_EQ(10s, one.limit);
    EXPECT_FALSE(one.forCalls);

    const auto several = only<Wait>(
            "  - wait:\n"
            "      - {screen: on}\n"
            "      - firmware: BV330-V20j_1\n"
            "      - sub: OFF\n"
            "      - state: {/cover/power: running, /attached: true}\n"
            "    within: 3s\n");
    EXPECT_EQ(3s, several.limit);
    ASSERT_EQ(5U, several.conditions.size());
    EXPECT_EQ("screen=on", std::get<ServicePattern>(several.conditions[0].what).condition);
    EXPECT_EQ("firmware=BV330-V20j_1",
              std::get<ServicePattern>(several.conditions[1].what).condition);
    EXPECT_EQ("sub=OFF", std::get<ServicePattern>(several.conditions[2].what).condition);
    EXPECT_EQ("/cover/power", std::get<StatePattern>(several.conditions[3].what).pointer);
    EXPECT_EQ(Json("running"), std::get<StatePattern>(several.conditions[3].what).value);
    EXPECT_EQ(Json(true), std::get<StatePattern>(several.conditions[4].what).value);
}

TEST(ReaderTest, WaitsForCalls) {
    const auto wait = only<Wait>("  - wait: calls\n    within: 500ms\n");
    EXPECT_TRUE(wait.forCalls);
    EXPECT_TRUE(wait.conditions.empty());
    EXPECT_EQ(500ms, wait.limit);
}

TEST(ReaderTest, ExpectsInOrderOrNot) {
    const auto ordered = only<Expect>("  - expect:\n      - at: AT%SWV\n    within: 2s\n");
    EXPECT_TRUE(ordered.inOrder);
    EXPECT_EQ(2s, ordered.limit);
    EXPECT_EQ("at: AT%SWV", ordered.items.at(0).text);
    EXPECT_EQ(5, ordered.items.at(0).place.line);
    EXPECT_EQ(9, ordered.items.at(0).place.column);
    EXPECT_FALSE(only<Expect>("  - expect any order:\n      - at: AT%SWV\n").inOrder);
    EXPECT_EQ(1U, only<Never>("  - never:\n      - at: AT%SWV\n").items.size());
    EXPECT_EQ(1U, only<Never>("  - never: {at: AT%SWV}\n").items.size());
}

TEST(ReaderTest, ExpectsCommandsWithTheirEnd) {
    const auto is = expected<EntryPattern>("at: AT%BV=1");
    EXPECT_EQ("tty-rx", is.kind);
    expectPattern(is.bytes, How::Is, "AT%BV=1\\r");
    expectPattern(expected<EntryPattern>("at: {contains: BV}").bytes, How::Contains, "BV");
    const auto matches = expected<EntryPattern>("at: {matches: AT%DB=.|AT%BV=.*}");
    EXPECT_TRUE(matches.bytes->takes("AT%DB=7\\r"));
    EXPECT_TRUE(matches.bytes->takes("AT%BV=11\\r"));
    EXPECT_FALSE(matches.bytes->takes("AT%DB=70\\r"));
    EXPECT_FALSE(matches.bytes->takes("AT%DB=7"));
}

TEST(ReaderTest, SpellsBytesAsTheJournalDoes) {
    expectPattern(expected<EntryPattern>(R"(answer: "\\r\\nOK\\r\\n")").bytes, How::Is,
                  "\\r\\nOK\\r\\n");
    expectPattern(expected<EntryPattern>(R"(answer: '\r\nOK\r\n')").bytes, How::Is,
                  "\\r\\nOK\\r\\n");
    expectPattern(expected<EntryPattern>(R"(answer: "\r\nOK\r\n")").bytes, How::Is,
                  "\\r\\nOK\\r\\n");
    expectPattern(expected<EntryPattern>(R"(answer: {contains: 'say "\x41\x01"'})").bytes,
                  How::Contains, "say \\\"A\\x01\\\"");
    EXPECT_EQ("tty-tx", expected<EntryPattern>("answer: x").kind);
}

TEST(ReaderTest, ExpectsWritesToNodes) {
    const auto node = expected<EntryPattern>("node: {bv2_pd: 1 0}");
    EXPECT_EQ("node-write", node.kind);
    EXPECT_TRUE(node.path->takes("/sys/class/bivista/bv2/bv2_pd"));
    EXPECT_FALSE(node.path->takes("/sys/class/bivista/bv2/xbv2_pd"));
    expectPattern(node.bytes, How::Is, "1 0");
    EXPECT_FALSE(node.note);
    expectPattern(expected<EntryPattern>("node: {/sys/x: 1}").path, How::Is, "/sys/x");
    EXPECT_TRUE(expected<EntryPattern>("node: {x: {matches: .*}}").bytes->takes("anything"));
}

TEST(ReaderTest, ExpectsCallbacks) {
    const auto given = expected<EntryPattern>("callback: {onLpwgEvent: [1, \"WAKEUP\", 0]}");
    EXPECT_EQ("client-callback", given.kind);
    expectPattern(given.path, How::Ends, ".onLpwgEvent");
    expectPattern(given.bytes, How::Is, "[1,\\\"WAKEUP\\\",0]");
    EXPECT_FALSE(expected<EntryPattern>("callback: {onLpwgEvent: null}").bytes);
    expectPattern(expected<EntryPattern>("callback: {onLpwgEvent: {contains: WAKE}}").bytes,
                  How::Contains, "WAKE");
}

TEST(ReaderTest, ExpectsAnyEntry) {
    const auto entry = expected<EntryPattern>(
            "journal: {kind: hid-write, path: /dev/hidraw0, bytes: {matches: .*}, note: \"\"}");
    EXPECT_EQ("hid-write", entry.kind);
    expectPattern(entry.path, How::Is, "/dev/hidraw0");
    expectPattern(entry.bytes, How::Matches, ".*");
    expectPattern(entry.note, How::Is, "");
}

TEST(ReaderTest, ExpectsLinesOfTheLog) {
    const auto line = expected<LogPattern>("log: {D: \"serialAtCmd: rd: [OK]\"}");
    EXPECT_EQ('D', line.priority);
    expectPattern(line.text, How::Is, "serialAtCmd: rd: [OK]");
    EXPECT_FALSE(expected<LogPattern>("log: {any: {contains: x}}").priority);
}

TEST(ReaderTest, ExpectsStates) {
    const auto state = expected<StatePattern>("state: {/screen/colour: [1, 2, 3]}");
    EXPECT_EQ("/screen/colour", state.pointer);
    EXPECT_EQ(Json({1, 2, 3}), state.value);
}

TEST(ReaderTest, AnExpressionFitsTheWholeTextAndTakesLongOnesInTime) {
    const auto matches = expected<LogPattern>("log: {any: {matches: '(a+)+b'}}").text;
    EXPECT_TRUE(matches.takes("aab"));
    EXPECT_FALSE(matches.takes("xaab"));
    EXPECT_FALSE(matches.takes(std::string(100'000, 'a')));
}

TEST(ReaderTest, ReadsTheScenariosOfTheProject) {
    size_t read = 0;
    for (const auto& entry : std::filesystem::directory_iterator(SCENARIOS)) {
        if (entry.path().extension() != ".yaml") continue;
        EXPECT_NO_THROW(play::read(entry.path())) << entry.path();
        ++read;
    }
    EXPECT_GT(read, 0U);
}

std::string bytesOf(const std::filesystem::path& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// The guide's examples are steps or whole scenarios.
TEST(ReaderTest, ReadsTheExamplesOfTheGuide) {
    const std::string guide = bytesOf(GUIDE);
    const std::string begin = "```yaml\n";
    size_t read = 0;
    for (size_t at = 0; (at = guide.find(begin, at)) != std::string::npos; ++read) {
        at += begin.size();
        const std::string example = guide.substr(at, guide.find("```", at) - at);
        const bool isWhole = example.starts_with("scenario:");
        // Pictures lie beside the scenarios.
        const auto file = std::filesystem::path(SCENARIOS) / "example.yaml";
        EXPECT_NO_THROW(readBytes(isWhole ? example : withSteps(example), file)) << example;
    }
    EXPECT_GT(read, 3U);
    const std::string first = bytesOf(std::filesystem::path(SCENARIOS) / "first-steps.yaml");
    EXPECT_NE(std::string::npos, guide.find(begin + first.substr(first.find('\n') + 1)));
}

}  // namespace
}  // namespace play
