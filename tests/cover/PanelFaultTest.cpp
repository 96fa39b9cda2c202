// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Faults of the panel's node: their language, and how they count.
#include <gtest/gtest.h>

#include <cerrno>

#include "emulator/cover/PanelFaults.h"

namespace cover {
namespace {

using namespace std::chrono_literals;

using Effect = PanelFault::Effect;

PanelFault parse(const std::string& line) {
    const ParsedPanelFault parsed = parsePanelFault(line);
    EXPECT_TRUE(parsed.fault) << line << ": " << parsed.error;
    return parsed.fault.value_or(PanelFault());
}

TEST(PanelFaultTest, IsKnownByItsFirstWord) {
    EXPECT_TRUE(isPanelFault("hid"));
    EXPECT_TRUE(isPanelFault("  hid write short 1"));
    EXPECT_FALSE(isPanelFault("hidden write"));
    EXPECT_FALSE(isPanelFault("\"hid\" write"));
    EXPECT_FALSE(isPanelFault("on AT silent"));
    EXPECT_FALSE(isPanelFault(""));
}

TEST(PanelFaultTest, ReadsAsItIsWritten) {
    PanelFault fault = parse("hid write short 100 after 1 times 2");
    EXPECT_EQ(fault.call, PanelCall::Write);
    EXPECT_EQ(fault.effect, Effect::Short);
    EXPECT_EQ(fault.bytes, 100u);
    EXPECT_EQ(fault.after, 1u);
    EXPECT_EQ(fault.times, 2u);
    fault = parse("hid info error EPIPE");
    EXPECT_EQ(fault.call, PanelCall::Info);
    EXPECT_EQ(fault.error, EPIPE);
    EXPECT_EQ(fault.times, std::nullopt);
    EXPECT_EQ(parse("hid * late 2s").time, Time(2s));
    EXPECT_EQ(parse("hid config unplug").effect, Effect::Unplug);
}

TEST(PanelFaultTest, PrintsWhatReadsBack) {
    for (const char* line : {"hid open error ENODEV", "hid info short 0", "hid config late 50ms",
                             "hid write unplug after 3", "hid * error EIO after 1 times 1",
                             "hid write error ETIMEDOUT times 4", "hid info error EPROTO",
                             "hid config error ESHUTDOWN"}) {
        EXPECT_EQ(toText(parse(line)), line);
    }
}

TEST(PanelFaultTest, WhatCannotBeReadIsRefusedWithTheRemedy) {
    for (const char* line :
         {"hid", "hid write", "hid read late 1s", "hid write break", "hid write error",
          "hid write error EWEIRD", "hid write short", "hid write short -1", "hid open short 1",
          "hid write late 5", "hid write late 25h", "hid write unplug after", "hid write unplug 3",
          "hid write unplug times 0", "hid write unplug times 1 after 1", "hid \"write"}) {
        const ParsedPanelFault parsed = parsePanelFault(line);
        EXPECT_FALSE(parsed.fault) << line;
        EXPECT_NE(parsed.error, "") << line;
    }
    EXPECT_NE(parsePanelFault("hid write break").error.find("write: hid"), std::string::npos);
}

TEST(PanelFaultTest, AppliesToItsCallsOnly) {
    PanelFaults faults;
    faults.add(parse("hid write error EIO"));
    EXPECT_EQ(faults.takeOutcome(PanelCall::Info).error, 0);
    EXPECT_EQ(faults.takeOutcome(PanelCall::Write).error, EIO);
    faults.clear();
    EXPECT_EQ(faults.takeOutcome(PanelCall::Write).error, 0);
    faults.add(parse("hid * short 5"));
    EXPECT_EQ(faults.takeOutcome(PanelCall::Info).pass, 5u);
    EXPECT_EQ(faults.takeOutcome(PanelCall::Write).pass, 5u);
}

TEST(PanelFaultTest, LetsTheFirstCallsPassAndRunsOut) {
    PanelFaults faults;
    faults.add(parse("hid write unplug after 2 times 1"));
    EXPECT_FALSE(faults.takeOutcome(PanelCall::Write).unplugs);
    EXPECT_FALSE(faults.takeOutcome(PanelCall::Open).unplugs);
    EXPECT_FALSE(faults.takeOutcome(PanelCall::Write).unplugs);
    EXPECT_EQ(faults.list().size(), 1u);
    EXPECT_TRUE(faults.takeOutcome(PanelCall::Write).unplugs);
    EXPECT_TRUE(faults.list().empty());
}

TEST(PanelFaultTest, DelayAndOutcomeOfOneCallComeTogether) {
    PanelFaults faults;
    faults.add(parse("hid write late 2ms times 1"));
    faults.add(parse("hid * late 3ms"));
    faults.add(parse("hid write short 9"));
    faults.add(parse("hid write short 4 times 1"));
    EXPECT_EQ(faults.takeDelay(PanelCall::Write), Time(5ms));
    EXPECT_EQ(faults.takeOutcome(PanelCall::Write).pass, 4u);
    EXPECT_EQ(faults.takeDelay(PanelCall::Write), Time(3ms));
    EXPECT_EQ(faults.takeOutcome(PanelCall::Write).pass, 9u);
}

TEST(PanelFaultTest, TellsOfTheCallsThatItStruck) {
    PanelFaults faults;
    faults.add(parse("hid write short 9 after 1 times 1"));
    faults.add(parse("hid * late 1ms"));
    for (int i = 0; i < 2; ++i) {
        faults.takeDelay(PanelCall::Write);
        faults.takeOutcome(PanelCall::Write);
    }
    faults.takeDelay(PanelCall::Open);
    EXPECT_EQ(faults.takeStrikes(), (std::vector<Strike>{{"hid * late 1ms", "write"},
                                                         {"hid * late 1ms", "write"},
                                                         {"hid write short 9 times 1", "write"},
                                                         {"hid * late 1ms", "open"}}));
    ASSERT_EQ(faults.list().size(), 1u);
    EXPECT_EQ(faults.list()[0].met, 3u);
}

}  // namespace
}  // namespace cover
