// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The strings of a uevent, and the names of events: text in, what the worker sees out.
#include "display/UeventWalk.h"

#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "display/LpwgEvent.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using namespace std::string_literals;

struct Uevent {
    const char* what;
    std::string message;
    // Each subsystem string and, after it, the string that follows ("-" for none).
    std::vector<std::string> seen;
};

void PrintTo(const Uevent& uevent, std::ostream* out) {
    *out << uevent.what;
}

class UeventWalkTest : public testing::TestWithParam<Uevent> {};

TEST_P(UeventWalkTest, FindsTheSubsystemAndWhatFollows) {
    // Exactly as long as promised, so that a step too far is seen.
    const std::string message = GetParam().message + "\0"s;
    const std::vector<char> exact(message.begin(), message.end());
    std::vector<std::string> seen;

    UeventWalk walk(exact.data());
    while (const char* subsystem = walk.findSubsystem()) {
        seen.emplace_back(subsystem);
        const char* following = walk.next();
        seen.emplace_back(following != nullptr ? following : "-");
        if (following == nullptr) break;
    }

    EXPECT_EQ(seen, GetParam().seen);
    EXPECT_EQ(walk.next(), nullptr);
    EXPECT_EQ(walk.next(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(
        Messages, UeventWalkTest,
        testing::Values(
                Uevent{"empty", "", {}},
                Uevent{"nothing of ours", "change@/a\0ACTION=change\0SEQNUM=1\0"s, {}},
                Uevent{"ours",
                       "change@/a\0SUBSYSTEM=QMX_BV2\0KEY=1\0SEQNUM=1\0"s,
                       {"SUBSYSTEM=QMX_BV2", "KEY=1"}},
                Uevent{"ours in the first string",
                       "SUBSYSTEM=QMX_BV2\0KEY=1\0"s,
                       {"SUBSYSTEM=QMX_BV2", "KEY=1"}},
                Uevent{"ours in the last string",
                       "change@/a\0SUBSYSTEM=QMX_BV2\0"s,
                       {"SUBSYSTEM=QMX_BV2", "-"}},
                Uevent{"inside another string",
                       "xSUBSYSTEM=QMX_BV2x\0KEY=1\0"s,
                       {"xSUBSYSTEM=QMX_BV2x", "KEY=1"}},
                Uevent{"twice in a row",
                       "SUBSYSTEM=QMX_BV2\0SUBSYSTEM=QMX_BV2\0KEY=1\0"s,
                       {"SUBSYSTEM=QMX_BV2", "SUBSYSTEM=QMX_BV2", "SUBSYSTEM=QMX_BV2", "KEY=1"}},
                Uevent{"twice apart",
                       "SUBSYSTEM=QMX_BV2\0A=1\0SUBSYSTEM=QMX_BV2\0B=2\0"s,
                       {"SUBSYSTEM=QMX_BV2", "A=1", "SUBSYSTEM=QMX_BV2", "B=2"}},
                Uevent{"another subsystem", "SUBSYSTEM=QMX_BV\0SUBSYSTEM=qmx_bv2\0"s, {}},
                Uevent{"an empty string ends it", "change@/a\0\0SUBSYSTEM=QMX_BV2\0KEY=1\0"s, {}},
                Uevent{"an empty string behind ours",
                       "SUBSYSTEM=QMX_BV2\0\0KEY=1\0"s,
                       {"SUBSYSTEM=QMX_BV2", "-"}}),
        [](const auto& info) { return "Nr" + std::to_string(info.index); });

TEST(EventText, StandsBehindTheKey) {
    EXPECT_STREQ(findEventText("TOUCH_GESTURE_WAKEUP=WAKEUP"), "WAKEUP");
    EXPECT_STREQ(findEventText("xTOUCH_GESTURE_WAKEUP=WAKEUP x"), "WAKEUP x");
    EXPECT_STREQ(findEventText("TOUCH_GESTURE_WAKEUP="), "");
    EXPECT_STREQ(findEventText("TOUCH_GESTURE_WAKEUP=TOUCH_GESTURE_WAKEUP=A"),
                 "TOUCH_GESTURE_WAKEUP=A");
}

TEST(EventText, IsAbsentWithoutTheKey) {
    EXPECT_EQ(findEventText(""), nullptr);
    EXPECT_EQ(findEventText("TOUCH_GESTURE_WAKEUP"), nullptr);
    EXPECT_EQ(findEventText("touch_gesture_wakeup=WAKEUP"), nullptr);
}

struct Name {
    std::string token;
    LpwgEventStatus status;
    int32_t result;
};

void PrintTo(const Name& name, std::ostream* out) {
    *out << name.token;
}

class EventNameTest : public testing::TestWithParam<Name> {};

TEST_P(EventNameTest, IsComparedWhole) {
    LpwgEventStatus status = LpwgEventStatus::BV_UPDATE_STATE;
    std::string token = GetParam().token;
    EXPECT_EQ(getLpwgStatusHelper_1_1(status, token), GetParam().result);
    EXPECT_EQ(status, GetParam().status);
    EXPECT_EQ(token, GetParam().token);
}

INSTANTIATE_TEST_SUITE_P(Names, EventNameTest,
                         testing::Values(Name{"WAKEUP", LpwgEventStatus(0), 0},
                                         Name{"BV_PEN_WAKEUP", LpwgEventStatus(1), 0},
                                         Name{"BV_PEN_WAKEUP_BTN", LpwgEventStatus(2), 0},
                                         Name{"BV_PEN_DETECTION", LpwgEventStatus(3), 0},
                                         Name{"SWITCH_AES_BOTH", LpwgEventStatus(4), 0},
                                         Name{"SWITCH_AES_TO_1", LpwgEventStatus(5), 0},
                                         Name{"SWITCH_AES_TO_2", LpwgEventStatus(6), 0},
                                         Name{"BV_UPDATE_STATE", LpwgEventStatus(7), 0},
                                         Name{"", LpwgEventStatus(-1), -1},
                                         Name{"SWITCH_AES_TO_3", LpwgEventStatus(-1), -1},
                                         Name{"WAKEU", LpwgEventStatus(-1), -1},
                                         Name{"WAKEUP ", LpwgEventStatus(-1), -1},
                                         Name{" WAKEUP", LpwgEventStatus(-1), -1},
                                         Name{"wakeup", LpwgEventStatus(-1), -1},
                                         Name{"PEN_WAKEUP", LpwgEventStatus(-1), -1}),
                         [](const auto& info) { return "Nr" + std::to_string(info.index); });

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
