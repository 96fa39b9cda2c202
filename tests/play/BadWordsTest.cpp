// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Words and values that the reader refuses, and what it says.
#include <gtest/gtest.h>

#include "tests/play/Written.h"

namespace play {
namespace {

// Of the only item that is expected; it begins in line 5, column 9.
std::string errorOfItem(const std::string& item) {
    return errorOfSteps("  - expect:\n      - " + item + "\n");
}

TEST(BadWordsTest, OfTheHead) {
    EXPECT_EQ("s.yaml:2:1: \"abot\" is no part of a scenario: did you mean about?",
              errorOf("scenario: a\nabot: b\n"));
    EXPECT_EQ("s.yaml:1:1: \"x\" is no part of a scenario: it is scenario, about, start or steps",
              errorOf("x: 1\n"));
    EXPECT_EQ("s.yaml:1:1: \"scenario\" is missing", errorOf("about: a\n"));
    EXPECT_EQ("s.yaml:1:1: \"about\" is missing", errorOf("scenario: a\n"));
    EXPECT_EQ("s.yaml:1:1: \"steps\" is missing", errorOf("scenario: a\nabout: b\n"));
    EXPECT_EQ("s.yaml:1:11: \"scenario\" must be a text, not a list", errorOf("scenario: [a]\n"));
    EXPECT_EQ("s.yaml:1:11: \"scenario\" must be one line", errorOf("scenario: \"a\\nb\"\n"));
    EXPECT_EQ("s.yaml:1:11: \"scenario\" is empty: write a line", errorOf("scenario: \"\"\n"));
    EXPECT_EQ("s.yaml:2:8: \"about\" is empty: write what the scenario shows",
              errorOf("scenario: a\nabout: \"\"\nsteps: []\n"));
    EXPECT_EQ("s.yaml:3:8: \"steps\" must be a list of steps, each begun with \"- \"",
              errorOf("scenario: a\nabout: b\nsteps: []\n"));
}

TEST(BadWordsTest, OfTheStart) {
    const auto errorOfStart = [](const std::string& start) {
        return errorOf("scenario: a\nabout: b\nstart: " + start + "\nsteps: [pause: 1s]\n");
    };
    EXPECT_EQ("", errorOfStart("{cover: on}"));
    EXPECT_EQ("s.yaml:3:8: \"start\" must be a map of properties, cover and do", errorOfStart("1"));
    EXPECT_EQ("s.yaml:3:9: \"covr\" is no word of \"start\": did you mean cover?",
              errorOfStart("{covr: on}"));
    EXPECT_EQ("s.yaml:3:16: \"cover\" must be on or off", errorOfStart("{cover: maybe}"));
    EXPECT_EQ("s.yaml:3:21: \"properties\" must be a map, {KEY: VALUE}",
              errorOfStart("{properties: [a]}"));
    EXPECT_EQ("s.yaml:3:22: a property must be a text, not nothing",
              errorOfStart("{properties: {a: null}}"));
    EXPECT_EQ(
            "s.yaml:3:13: there is no command \"detatch\": did you mean detach? "
            "\"bivista-emulator ctl --help\" lists them.",
            errorOfStart("{do: detatch}"));
}

TEST(BadWordsTest, OfSteps) {
    EXPECT_EQ("s.yaml:4:5: \"cal\" is no step: did you mean call?",
              errorOfSteps("  - cal: goDload\n"));
    EXPECT_EQ(
            "s.yaml:4:5: \"x\" is no step: it is call, do, run, pause, wait, expect, expect any "
            "order or never",
            errorOfSteps("  - x: 1\n"));
    EXPECT_EQ("s.yaml:4:5: a step is VERB: VALUE, such as \"call: getFirmwareVersion\"",
              errorOfSteps("  - attached\n"));
    EXPECT_EQ("s.yaml:4:5: \"pause\" and \"do\" are two steps: begin each with \"- \"",
              errorOfSteps("  - pause: 1s\n    do: detach\n"));
    EXPECT_EQ("s.yaml:5:5: \"gives\" does not go with \"do\", which stands alone",
              errorOfSteps("  - do: detach\n    gives: OK\n"));
    EXPECT_EQ("s.yaml:5:5: \"witin\" is no word of \"wait\": did you mean within?",
              errorOfSteps("  - wait: attached\n    witin: 1s\n"));
}

TEST(BadWordsTest, OfTimes) {
    EXPECT_EQ("s.yaml:4:12: \"pause\" must be a time, such as 100ms or 3s, not \"3\"",
              errorOfSteps("  - pause: 3\n"));
    EXPECT_EQ("s.yaml:4:12: \"pause\" must be a time, such as 100ms or 3s, not \"1.5s\"",
              errorOfSteps("  - pause: 1.5s\n"));
    EXPECT_EQ("s.yaml:4:12: \"pause\" must be a time, such as 100ms or 3s, not \"3sms\"",
              errorOfSteps("  - pause: 3sms\n"));
    EXPECT_EQ("s.yaml:4:12: \"pause\" must be a time, such as 100ms or 3s, not \"-1s\"",
              errorOfSteps("  - pause: -1s\n"));
    EXPECT_EQ("s.yaml:4:12: \"pause\" must be from 1ms to 600s, not \"0s\"",
              errorOfSteps("  - pause: 0s\n"));
    EXPECT_EQ("s.yaml:4:12: \"pause\" must be from 1ms to 600s, not \"600001ms\"",
              errorOfSteps("  - pause: 600001ms\n"));
    EXPECT_EQ("s.yaml:5:13: \"within\" must be from 1ms to 600s, not \"3600s\"",
              errorOfSteps("  - wait: attached\n    within: 3600s\n"));
    EXPECT_EQ("s.yaml:4:5: \"pause\" must be a text, not nothing", errorOfSteps("  - pause:\n"));
}

TEST(BadWordsTest, OfCalls) {
    EXPECT_EQ(
            "s.yaml:4:11: \"setBrightnes\" is no method of the service: did you mean "
            "setBrightness?",
            errorOfSteps("  - call: setBrightnes\n"));
    EXPECT_EQ("s.yaml:4:11: \"launch\" is no method of the service: docs/scenarios.md lists them",
              errorOfSteps("  - call: launch\n"));
    EXPECT_EQ("s.yaml:4:11: setBrightness: needs 1 argument, not 0",
              errorOfSteps("  - call: setBrightness\n"));
    EXPECT_EQ("s.yaml:5:11: \"with\" must be a list of arguments, such as [128]",
              errorOfSteps("  - call: setBrightness\n    with: 128\n"));
    EXPECT_EQ("s.yaml:5:17: \"background\" must be on or off",
              errorOfSteps("  - call: goDload\n    background: 1\n"));
    // Each is a number, or a text that is none.
    for (const char* value :
         {"99999999999999999999", "1e999", "0x10", "1.5", "\"1\"", "true", "null"}) {
        const std::string error =
                errorOfSteps("  - call: setBrightness\n    with: [" + std::string(value) + "]\n");
        EXPECT_TRUE(error.starts_with("s.yaml:5:11: setBrightness: argument 1: ")) << error;
    }
}

TEST(BadWordsTest, OfDeeds) {
    EXPECT_EQ("s.yaml:4:9: \"do\" is empty: write a command", errorOfSteps("  - do: []\n"));
    EXPECT_EQ("s.yaml:4:9: \"do\" has a quote that does not end", errorOfSteps("  - do: log 'a\n"));
    EXPECT_EQ("s.yaml:4:9: \"do\" holds a byte \\x00", errorOfSteps("  - do: \"log a\\x00b\"\n"));
    EXPECT_EQ(
            "s.yaml:4:9: there is no option \"--tti\": did you mean --tty? \"bivista-emulator "
            "ctl attach --help\" lists them.",
            errorOfSteps("  - do: attach --tti 1\n"));
    EXPECT_EQ(
            "s.yaml:4:9: --width: must be an integer from 0 to 65535. \"bivista-emulator ctl "
            "subdisplay --help\" tells more.",
            errorOfSteps("  - do: subdisplay --width 70000\n"));
    EXPECT_EQ("s.yaml:4:9: \"ctl show\" only shows something, and changes nothing.",
              errorOfSteps("  - do: show\n"));
    EXPECT_EQ("s.yaml:4:9: \"ctl snapshot\" only shows something, and changes nothing.",
              errorOfSteps("  - do: snapshot x.png\n"));
    for (const char* words : {"journal", "klog", "view", "fault", "firmware list", "property"}) {
        const std::string error = errorOfSteps("  - do: " + std::string(words) + "\n");
        EXPECT_TRUE(error.ends_with("only shows something, and changes nothing.")) << error;
    }
    EXPECT_EQ("s.yaml:4:9: a command that only tells about the program does nothing here.",
              errorOfSteps("  - do: detach --help\n"));
    EXPECT_EQ("s.yaml:4:9: --color has no use here.",
              errorOfSteps("  - do: detach --color=always\n"));
    EXPECT_EQ(
            "s.yaml:4:9: after the command comes an effect, not \"lat\"; write one of: silent, "
            "late, split, garble, error, before, after, inside, hangup, answer, half, flood, deaf",
            errorOfSteps("  - do: fault on AT%SWV lat 1s\n"));
    EXPECT_EQ(
            "s.yaml:4:9: answer needs a quoted text, not \"times\"; for example: answer "
            "\"\\r\\nhello\\r\\nOK\\r\\n\"; put the whole fault between '...', which keeps its "
            "double quotes",
            errorOfSteps("  - do: fault on AT%SWV answer \"\" times 1\n"));
    EXPECT_EQ("", errorOfSteps("  - do: fault 'on AT%SWV answer \"\" times 1'\n"));
    EXPECT_EQ(
            "s.yaml:4:9: the path must begin with \"/\"; write: node PATH "
            "missing|unreadable|unwritable|eio|read-eio",
            errorOfSteps("  - do: fault node x missing\n"));
    const std::string panel = errorOfSteps("  - do: fault hid write error NONE\n");
    EXPECT_TRUE(panel.starts_with("s.yaml:4:9: \"NONE\" is no error of the panel: ")) << panel;
}

TEST(BadWordsTest, ALongWordIsCutInTheMessage) {
    const std::string error = errorOfSteps("  - do: " + std::string(500'000, 'c') + "\n");
    EXPECT_EQ("s.yaml:4:9: there is no command \"" + std::string(279, 'c') + "...", error);
    EXPECT_EQ("s.yaml:4:12: \"pause\" must be a time, such as 100ms or 3s, not \"" +
                      std::string(60, 'c') + "...\"",
              errorOfSteps("  - pause: " + std::string(500'000, 'c') + "\n"));
    EXPECT_EQ("s.yaml:4:11: \"a\\nb\" is no method of the service: docs/scenarios.md lists them",
              errorOfSteps("  - call: \"a\\nb\"\n"));
}

TEST(BadWordsTest, OfRuns) {
    EXPECT_EQ("s.yaml:4:10: \"sh\" is no program to run: it is bivistactl or bivista-emulator",
              errorOfSteps("  - run: sh -c true\n"));
    EXPECT_EQ("s.yaml:4:10: \"bivistact\" is no program to run: did you mean bivistactl?",
              errorOfSteps("  - run: bivistact status\n"));
    EXPECT_EQ("s.yaml:5:13: \"status\" must be an integer from 0 to 255, not \"256\"",
              errorOfSteps("  - run: bivistactl status\n    status: 256\n"));
    EXPECT_EQ(
            "s.yaml:5:10: \"out\" must be a text, {contains: TEXT} or {matches: EXPRESSION}, not "
            "a list",
            errorOfSteps("  - run: bivistactl status\n    out: []\n"));
}

TEST(BadWordsTest, OfPatterns) {
    EXPECT_EQ("s.yaml:5:14: \"contain\" is no way to compare: did you mean contains?",
              errorOfItem("at: {contain: x}"));
    EXPECT_EQ(
            "s.yaml:5:27: a command has one name: begin another with \"- \" in front of "
            "\"matches\"",
            errorOfItem("at: {contains: x, matches: x}"));
    constexpr char kNoExpression[] =
            " is no regular expression; a sign that has a meaning there, such as ( or [, is "
            "written \\( or \\[";
    EXPECT_EQ(std::string("s.yaml:5:23: \"(\"") + kNoExpression, errorOfItem("at: {matches: (}"));
    EXPECT_EQ(std::string("s.yaml:5:23: \"(a)\\1\"") + kNoExpression,
              errorOfItem("at: {matches: (a)\\1}"));
    EXPECT_EQ(std::string("s.yaml:5:23: \"((a{999}){999}){999}\"") + kNoExpression,
              errorOfItem("at: {matches: '((a{999}){999}){999}'}"));
    for (const char* number : {"a{99999999999}", "a{1,99999999999}", "(a)\\99999999999"}) {
        EXPECT_EQ(std::string("s.yaml:5:23: \"") + number + "\"" + kNoExpression,
                  errorOfItem(std::string("at: {matches: '") + number + "'}"));
    }
    EXPECT_EQ("", errorOfItem("at: {matches: '12345,12345{1,99}'}"));
    EXPECT_EQ("s.yaml:5:23: an expression has at most 4096 bytes",
              errorOfItem("at: {matches: " + std::string(4097, 'x') + "}"));
    EXPECT_EQ(
            "s.yaml:5:13: \"a\\q\" has a wrong escape: it is \\r, \\n, \\t, \\\\, \\\" or \\xHH; "
            "between double quotes YAML wants each \\ twice",
            errorOfItem("at: a\\q"));
}

TEST(BadWordsTest, OfExpectations) {
    EXPECT_EQ("s.yaml:5:9: \"noed\" is no word of \"expect\": did you mean node?",
              errorOfItem("noed: {x: 1}"));
    EXPECT_EQ("s.yaml:5:9: what \"expect\" has is NAME: VALUE, not a text",
              errorOfItem("attached"));
    EXPECT_EQ("s.yaml:4:13: \"expect\" is empty: write what is expected",
              errorOfSteps("  - expect: []\n"));
    EXPECT_EQ(
            "s.yaml:4:13: \"state\" is no word of \"never\": it is at, answer, node, callback, "
            "journal or log",
            errorOfSteps("  - never: {state: {/attached: true}}\n"));
    EXPECT_EQ("s.yaml:5:15: a node is NAME: VALUE, not a text", errorOfItem("node: x"));
    EXPECT_EQ("s.yaml:5:20: \"onLpwgEvnt\" is no callback of a client: did you mean onLpwgEvent?",
              errorOfItem("callback: {onLpwgEvnt: null}"));
    EXPECT_EQ("s.yaml:5:33: a callback has a list of arguments, [1, \"TEXT\"], or null for any",
              errorOfItem("callback: {onLpwgEvent: 1}"));
    EXPECT_EQ("s.yaml:5:18: an entry is {kind: KIND}, with path, bytes and note",
              errorOfItem("journal: tty-rx"));
    EXPECT_EQ("s.yaml:5:18: \"kind\" is missing: the kind of the entry",
              errorOfItem("journal: {path: x}"));
    EXPECT_EQ("s.yaml:5:25: \"tty-rxx\" is no kind of entry: did you mean tty-rx?",
              errorOfItem("journal: {kind: tty-rxx}"));
    EXPECT_EQ("s.yaml:5:33: \"noe\" is no member of an entry: did you mean note?",
              errorOfItem("journal: {kind: tty-rx, noe: x}"));
    EXPECT_EQ("s.yaml:5:15: \"d\" is no priority of a line: did you mean D?",
              errorOfItem("log: {d: x}"));
    EXPECT_EQ("s.yaml:5:17: \"screen\" is no pointer into the state, such as /screen/on",
              errorOfItem("state: {screen: 1}"));
    EXPECT_EQ("s.yaml:5:16: a state is {/POINTER: VALUE}, such as {/screen/on: true}",
              errorOfItem("state: {}"));
}

TEST(BadWordsTest, OfWaits) {
    EXPECT_EQ("s.yaml:4:11: \"atached\" is no condition to wait for: did you mean attached?",
              errorOfSteps("  - wait: atached\n"));
    EXPECT_EQ("s.yaml:4:12: \"scren\" is no condition to wait for: did you mean screen?",
              errorOfSteps("  - wait: {scren: on}\n"));
    EXPECT_EQ("s.yaml:4:20: \"lit\" is no state of the screen: it is on or off",
              errorOfSteps("  - wait: {screen: lit}\n"));
    EXPECT_EQ("s.yaml:4:17: \"on\" is no state of the sub: did you mean ON?",
              errorOfSteps("  - wait: {sub: on}\n"));
    EXPECT_EQ("s.yaml:4:11: \"wait\" is empty: write a condition", errorOfSteps("  - wait: []\n"));
    EXPECT_EQ("s.yaml:4:12: \"calls\" is waited for alone", errorOfSteps("  - wait: [calls]\n"));
    EXPECT_EQ(
            "s.yaml:4:12: \"at\" is no condition to wait for: it is screen, firmware, sub, state "
            "or picture",
            errorOfSteps("  - wait: {at: x}\n"));
}

}  // namespace
}  // namespace play
