// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Pictures that pass to the panel as items.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/timeline/Entries.h"

namespace timeline {
namespace {

using phone::Kind;
using testing::ElementsAre;

TEST(FrameTest, IsDrawnByItsLastReportOverAnotherOpen) {
    Entries entries;
    entries.add(1, Kind::HidOpen, kPanel, "", "O_WRONLY").report(2, 0, 4089).report(3, 4089, 4089);
    entries.add(4, Kind::HidClose, kPanel).add(5, Kind::HidOpen, kPanel, "", "O_WRONLY");
    entries.report(6, 0, 0).add(7, Kind::HidClose, kPanel);
    EXPECT_THAT(
            describeAll(itemsOf(entries)),
            ElementsAre(R"(hid-open 1 "open hidraw0" "O_WRONLY")",
                        R"(frame 2-6 "frame" "8178 bytes in 3 reports" drawn 4 ms)",
                        R"(hid-close 4 "close hidraw0")", R"(hid-open 5 "open hidraw0" "O_WRONLY")",
                        R"(hid-close 7 "close hidraw0")"));
}

TEST(FrameTest, IsOpenUntilThen) {
    EXPECT_THAT(describeAll(itemsOf(Entries().report(1, 0, 9))),
                ElementsAre(R"(frame 1 "frame" "9 bytes in 1 report", open)"));
}

TEST(FrameTest, IsRefusedWithTheReportThatIs) {
    Entries entries;
    entries.fault(1, kPanel, "hid write error EPIPE after 1", "write");
    entries.report(1, 0, 9).report(3, 9, 9, "EPIPE").report(4, 0, 9).report(5, 0, 0);
    EXPECT_THAT(
            describeAll(itemsOf(entries)),
            ElementsAre(R"(fault-met 1 "met hid write error EPIPE after 1" "write")",
                        R"(frame 2-3 "frame" "18 bytes in 2 reports | EPIPE" refused 2 ms, faulty)",
                        R"(frame 4-5 "frame" "9 bytes in 2 reports" drawn 1 ms)"));
}

TEST(FrameTest, SaysThatPartOfAReportIsMissing) {
    EXPECT_THAT(describeAll(itemsOf(Entries().report(1, 0, 9, "passed 8").report(2, 0, 0))),
                ElementsAre(R"(frame 1-2 "frame" "9 bytes in 2 reports" drawn 1 ms)"));
}

TEST(FrameTest, IsCutOffByTheNext) {
    EXPECT_THAT(describeAll(itemsOf(Entries().report(1, 0, 9).report(3, 0, 9).report(4, 0, 0))),
                ElementsAre(R"(frame 1 "frame" "9 bytes in 1 report" cut off 2 ms)",
                            R"(frame 2-3 "frame" "9 bytes in 2 reports" drawn 1 ms)"));
}

// The panel goes during a report, which the journal has after the departure.
TEST(FrameTest, IsCutOffWithThePanel) {
    Entries entries;
    entries.report(1, 0, 9).fault(2, kPanel, "hid write unplug", "write").detach(2);
    entries.report(2.5, 9, 9, "ESHUTDOWN").add(3, Kind::HidClose, kPanel);
    EXPECT_THAT(without("hid-close", itemsOf(entries)),
                ElementsAre(R"(frame 1-4 "frame" "18 bytes in 2 reports | ESHUTDOWN" cut off )"
                            R"(1.5 ms, faulty)",
                            R"(fault-met 2 "met hid write unplug" "write")",
                            R"(detach 3 "detach 1-1")"));
}

TEST(FrameTest, IsCutOffBetweenTwoReports) {
    Entries entries;
    entries.report(1, 0, 9).detach(2).add(3, Kind::HidClose, kPanel);
    EXPECT_THAT(without("hid-close", itemsOf(entries)),
                ElementsAre(R"(frame 1 "frame" "9 bytes in 1 report" cut off 2 ms)",
                            R"(detach 2 "detach 1-1")"));
}

TEST(FrameTest, OtherReportsSayWhatTheyAreAbout) {
    Entries entries;
    entries.add(1, Kind::HidGet, kPanel, std::string("\x02\x80\x00\x40\x00\x04\x01", 7));
    entries.fault(2, kPanel, "hid config error EIO", "config");
    entries.add(2, Kind::HidSet, kPanel, "\x03\x02Z", "EIO");
    entries.add(3, Kind::HidSet, kPanel, std::string("\x03\x00\x05", 3));
    EXPECT_THAT(describeAll(itemsOf(entries)),
                ElementsAre(R"(hid-get 1 "panel is 128x64, format 4, ready 1")",
                            R"(fault-met 2 "met hid config error EIO" "config")",
                            R"(hid-set 3 "panel <- on, brightness 90" "EIO", faulty)",
                            R"(hid-set 4 "panel <- off, brightness 5")"));
}

}  // namespace
}  // namespace timeline
