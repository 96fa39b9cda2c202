// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What "play" says about each kind of failure, so that a tester knows what to do without a log.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/play/PlayTest.h"

namespace play_test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

using PlayFailureTest = PlayTest;

// Until the service has nothing to do any more, so that what came is the same each time.
const std::string kAttached = "  - wait: attached\n";
const std::string kScreenOn =
        kAttached + "  - call: setPowerStatus\n    with: [true, false]\n    gives: OK\n";

TEST_F(PlayFailureTest, AnotherResult) {
    EXPECT_EQ(failure(kAttached + "  - call: sendAtCommand\n    with: [\"NO\", callback]\n"
                                  "    gives: [OK]\n"),
              "  s.yaml:5:5\n"
              "  step:     call: sendAtCommand, with: [NO, callback], gives: [OK]\n"
              "  expected: sendAtCommand(\"NO\",\"callback\") gives [\"OK\"]\n"
              "  came:     [\"FAIL\",\"\"]\n");
}

TEST_F(PlayFailureTest, AnotherResultInTheBackground) {
    const std::string call = "  - call: getBV2Connect\n    gives: false\n    background: true\n";
    const std::string text =
            "  s.yaml:5:5\n"
            "  step:     call: getBV2Connect, gives: false, background: true\n"
            "  expected: getBV2Connect() gives [false]\n"
            "  came:     [true]\n";
    EXPECT_EQ(failure(kAttached + call + "  - wait: calls\n  - pause: 100s\n"), text);
    EXPECT_EQ(failure(kAttached + call + "  - pause: 1ms\n"), text);
}

TEST_F(PlayFailureTest, NoAnswer) {
    EXPECT_EQ(failure(kAttached + "  - do: signal STOP\n  - call: getBV2Connect\n    within: 1s\n"),
              "  s.yaml:6:5\n"
              "  step:     call: getBV2Connect, within: 1s\n"
              "  expected: getBV2Connect() gives a result\n"
              "  came:     no answer within 1 s\n");
}

TEST_F(PlayFailureTest, CallsThatAreNotOver) {
    EXPECT_EQ(failure(kAttached +
                      "  - do: fault on AT silent times 1\n"
                      "  - call: sendAtCommand\n    with: [AT, null]\n    background: true\n"
                      "  - wait: calls\n    within: 200ms\n"),
              "  s.yaml:6:5\n"
              "  step:     call: sendAtCommand, with: [AT, null], background: true\n"
              "  expected: sendAtCommand(\"AT\",null) gives a result\n"
              "  came:     no answer yet\n");
}

TEST_F(PlayFailureTest, ARefusedDeed) {
    EXPECT_EQ(failure("  - do: attach\n"),
              "  s.yaml:4:9\n"
              "  step:     do: attach\n"
              "  expected: attach is done\n"
              "  came:     the phone refuses: the cover is attached already: detach it first\n");
}

TEST_F(PlayFailureTest, ARefusedDeedAtTheStart) {
    EXPECT_EQ(failure("  - pause: 1ms\n", "start:\n  do:\n    - detach\n"),
              "  s.yaml:5:7\n"
              "  step:     do: detach\n"
              "  expected: detach is done\n"
              "  came:     the phone refuses: no cover is attached\n");
}

TEST_F(PlayFailureTest, AProgramsStatusAndOutput) {
    EXPECT_THAT(failure(kAttached + "  - run: bivistactl at AT%NO\n"),
                EndsWith("  expected: exit status 0\n"
                         "  came:     exit status 1\n"
                         "            bivistactl: FAIL: the command is malformed, no cover is "
                         "attached, it does not answer, or it rejected the command. The service's "
                         "log tells which.\n"));
    EXPECT_THAT(
            failure(kAttached + "  - run: bivista-emulator ctl fault\n    out: {contains: AT}\n"),
            EndsWith("  expected: standard output that contains \"AT\"\n"
                     "  came:     nothing\n"));
    EXPECT_THAT(failure("  - run: bivistactl watch lpwg\n    within: 100ms\n"),
                EndsWith("  expected: run: bivistactl watch lpwg, within: 100ms ends\n"
                         "  came:     it still ran after 100 ms\n"));
}

TEST_F(PlayFailureTest, AProgramThatWritesWithoutEnd) {
    ASSERT_EQ(play({write("  - pause: 1ms\n"), "--keep", folder}).status, 0);
    EXPECT_THAT(failure("  - run: bivista-emulator replay s.jsonl -- yes\n    within: 600s\n"),
                HasSubstr("  came:     it writes more than 256 MiB\n"));
}

TEST_F(PlayFailureTest, AnEntryThatDoesNotCome) {
    EXPECT_EQ(failure(kScreenOn + "  - expect:\n      - node: {bv2_pd: 1 1}\n    within: 100ms\n"),
              "  s.yaml:9:9\n"
              "  step:     expect: [{node: {bv2_pd: 1 1}}], within: 100ms\n"
              "  expected: node: {bv2_pd: 1 1} within 100 ms\n"
              "  came:     node: {bv2_pd: 1 0}\n");
}

TEST_F(PlayFailureTest, AnEntryThatCameTooEarly) {
    EXPECT_EQ(failure(kScreenOn + "  - expect:\n      - node: {bv2_pd: 1 0}\n      - at: AT%BV=1\n"
                                  "    within: 100ms\n"),
              "  s.yaml:10:9\n"
              "  step:     expect: [{node: {bv2_pd: 1 0}}, {at: AT%BV=1}], within: 100ms\n"
              "  expected: at: AT%BV=1 within 100 ms\n"
              "  came:     no tty-rx\n"
              "            it came earlier, before node: {bv2_pd: 1 0}, which was found first: "
              "expect it above that, or both in any order\n");
}

TEST_F(PlayFailureTest, ACallbackThatDoesNotCome) {
    EXPECT_THAT(failure(kAttached + "  - expect:\n      - callback: {onLpwgEvent: [1]}\n"
                                    "    within: 1ms\n"),
                EndsWith("  came:     no client-callback\n"));
}

TEST_F(PlayFailureTest, OneEntryIsNotTwo) {
    EXPECT_THAT(failure(kScreenOn + "  - expect any order:\n      - node: {bv2_pd: 1 0}\n"
                                    "      - node: {bv2_pd: 1 0}\n    within: 100ms\n"),
                EndsWith("  expected: node: {bv2_pd: 1 0} within 100 ms\n"
                         "  came:     node: {bv2_pd: 1 0}\n"));
}

TEST_F(PlayFailureTest, ALineOfTheLogWithAnotherPriority) {
    EXPECT_THAT(failure(kScreenOn +
                        "  - expect:\n      - log: {W: Bivista HAL Ready.}\n    within: 100ms\n"),
                HasSubstr(" log lines, the nearest:\n"));
    EXPECT_THAT(failure(kScreenOn +
                        "  - expect:\n      - log: {W: Bivista HAL Ready.}\n    within: 100ms\n"),
                HasSubstr("\n            log: {I: Bivista HAL Ready.}\n"));
}

TEST_F(PlayFailureTest, AnotherState) {
    EXPECT_THAT(failure("  - expect:\n      - state: {/screen/on: true}\n    within: 100ms\n"),
                EndsWith("  expected: state: {/screen/on: true} within 100 ms\n"
                         "  came:     /screen/on is false\n"));
    EXPECT_THAT(failure("  - expect:\n      - state: {/screen/lit: true}\n    within: 1ms\n"),
                EndsWith("  came:     there is no /screen/lit; /screen has on\n"));
}

TEST_F(PlayFailureTest, AWaitNamesWhatDoesNotHold) {
    EXPECT_EQ(failure("  - wait: [{state: {/attached: true}}, {state: {/screen/on: true}}]\n"
                      "    within: 100ms\n"),
              "  s.yaml:4:40\n"
              "  step:     wait: [{state: {/attached: true}}, {state: {/screen/on: true}}], "
              "within: 100ms\n"
              "  expected: {state: {/screen/on: true}} within 100 ms\n"
              "  came:     /screen/on is false\n");
}

TEST_F(PlayFailureTest, TheServicesStateIsAnother) {
    EXPECT_THAT(failure(kAttached + "  - wait: {screen: \"on\"}\n    within: 100ms\n"),
                EndsWith("  expected: {screen: on} within 100 ms\n"
                         "  came:     attached, screen=off, sub=ON\n"));
}

TEST_F(PlayFailureTest, AnotherPicture) {
    const std::string pattern = folder + "/pattern.png";
    const std::string draw =
            "  - wait: {sub: \"ON\"}\n  - run: bivistactl sub test-pattern\n"
            "  - wait: {state: {/sub_display/frames: 1}}\n";
    ASSERT_EQ(
            play({write(draw + "  - run: bivista-emulator ctl snapshot " + pattern + "\n")}).status,
            0);
    const std::string expect = "  - expect:\n      - picture: pattern.png\n    within: 1s\n";
    EXPECT_EQ(play({write(draw + expect)}).status, 0);

    const std::string file = write("  - wait: {sub: \"ON\"}\n" + expect);
    const Outcome outcome = play({file, "--keep", folder + "/kept"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(failureIn(outcome.out),
                EndsWith("  expected: picture: pattern.png within 1 s\n"
                         "  came:     15568 of 16384 pixels differ; the first, in column 0 of row "
                         "0, is of level 0 instead of 15\n"
                         "            what is shown is in " +
                         folder + "/kept/s.png\n"));
    EXPECT_EQ(run({"head", "-c", "4", folder + "/kept/s.png"}).out, "\x89PNG");
}

TEST_F(PlayFailureTest, APictureOfAPanelThatIsGone) {
    const std::string pattern = folder + "/pattern.png";
    ASSERT_EQ(play({write("  - wait: {sub: \"ON\"}\n  - run: bivista-emulator ctl snapshot " +
                          pattern + "\n")})
                      .status,
              0);
    const std::string expect = "  - expect:\n      - picture: pattern.png\n    within: 100ms\n";
    EXPECT_THAT(failure("  - do: detach\n" + expect),
                EndsWith("  came:     no sub display is attached\n"));
    EXPECT_THAT(
            failure("  - do: subdisplay --width 64\n" + expect),
            EndsWith("  came:     the panel has 64 x 128 pixels, the picture 128 x 128 pixels\n"));
}

TEST_F(PlayFailureTest, WhatIsNeverToCome) {
    EXPECT_THAT(failure(kScreenOn + "  - never:\n      - node: {bv2_pd: {contains: \"0\"}}\n"),
                EndsWith("  expected: never node: {bv2_pd: {contains: 0}}\n"
                         "  came:     node: {bv2_pd: 1 0}\n"));
}

TEST_F(PlayFailureTest, TheServiceDies) {
    const std::string death =
            "  - run: bivista-emulator ctl signal KILL\n"
            "    status: 0\n";
    const std::string text = failure(kAttached + death + "  - pause: 100s\n");
    EXPECT_THAT(text, HasSubstr("  came:     the service was ended by SIGKILL; its log ends with:\n"
                                "            "));
}

TEST_F(PlayFailureTest, TheServiceDiesInACall) {
    const std::string text =
            failure(kAttached +
                    "  - do: fault on AT silent times 1\n"
                    "  - call: sendAtCommand\n    with: [AT, null]\n    background: true\n"
                    "  - run: bivista-emulator ctl signal KILL\n  - wait: calls\n");
    EXPECT_THAT(text, HasSubstr("the service was ended by SIGKILL; its log ends with:\n"));
}

TEST_F(PlayFailureTest, ThePhoneDies) {
    Process player(command({write("  - run: bivistactl watch lpwg\n")}));
    awaitProcess(bin("bivistactl") + " watch");
    kill(awaitProcess(bin("bivista-emulator") + " run"), SIGKILL);
    EXPECT_EQ(player.wait(), 1);
    EXPECT_THAT(player.out(), HasSubstr(" the phone was killed: SIGKILL\n"));
    await([&] { return processes().empty(); });
}

TEST_F(PlayFailureTest, AMeantEndIsNone) {
    const std::string file = write(kAttached +
                                   "  - call: sendAtCommand\n    with: [AT, null]\n"
                                   "    background: true\n"
                                   "  - do: signal TERM\n"
                                   "  - expect:\n      - journal: {kind: signal, bytes: TERM}\n");
    const Outcome outcome = play({file});
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_THAT(failure(kAttached + "  - do: signal KILL\n  - wait: {state: {/screen/on: true}}\n"),
                EndsWith("  came:     the phone has ended, as its service has\n"));
}

}  // namespace
}  // namespace play_test
