// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/LogLine.h"

#include <string>

#include "emulator/phonelog/Clock.h"
#include "emulator/phonelog/Sections.h"

namespace phonelog {
namespace {

using std::chrono::hours;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::nanoseconds;
using std::chrono::seconds;

TEST(LogLineTest, ThreadtimeIsRead) {
    const auto line = parseLogLine("08-14 09:21:07.184   731   745 D clockd  : a: text [x] ");
    ASSERT_TRUE(line);
    EXPECT_EQ(line->year, 0);
    EXPECT_EQ(line->month, 8U);
    EXPECT_EQ(line->day, 14U);
    EXPECT_EQ(line->ofDay, hours(9) + minutes(21) + seconds(7) + milliseconds(184));
    EXPECT_EQ(line->pid, 731);
    EXPECT_EQ(line->tid, 745);
    EXPECT_EQ(line->priority, 'D');
    EXPECT_EQ(line->tag, "clockd");
    EXPECT_EQ(line->text, "a: text [x] ");
}

TEST(LogLineTest, YearMicrosecondsZoneAndUserAreRead) {
    const auto line =
            parseLogLine("2021-12-31 23:59:59.000123 -0130 system   731   745 E clockd: x");
    ASSERT_TRUE(line);
    EXPECT_EQ(line->year, 2021);
    EXPECT_EQ(line->ofDay % seconds(1), microseconds(123));
    EXPECT_EQ(line->zone, -minutes(90));
    EXPECT_EQ(line->pid, 731);
    EXPECT_EQ(line->priority, 'E');
    const auto user = parseLogLine("08-14 09:21:07.184  1000   731   745 D clockd: x");
    ASSERT_TRUE(user);
    EXPECT_EQ(user->pid, 731);
    EXPECT_EQ(user->tid, 745);
}

TEST(LogLineTest, AnEmptyTextIsRead) {
    const auto line = parseLogLine("08-14 09:21:07.184   731   745 D clockd  :");
    ASSERT_TRUE(line);
    EXPECT_EQ(line->text, "");
}

TEST(LogLineTest, OtherLinesAreNone) {
    for (const char* text :
         {"", "--------- beginning of main", "08-14", "13-14 09:21:07.184 1 2 D t: x",
          "08-14 25:21:07.184 1 2 D t: x", "08-14 09:21:07.18 1 2 D t: x",
          "08-14 09:21:07.184 1 2 Q t: x", "08-14 09:21:07.184 x",
          "08-14 09:21:07.184 1 2 D no colon", "\xff\xfe\x00"}) {
        EXPECT_FALSE(parseLogLine(text)) << text;
    }
}

TEST(LogLineTest, AMergedLineIsFound) {
    const std::string second = "08-14 09:21:07.185   731   745 D clockd: b-c 08-15";
    EXPECT_EQ(findMergedLine("08-14 09:21:07.1" + second), 16U);
    EXPECT_EQ(findMergedLine("08-14 09:21:07.12021-" + second), 16U);
    EXPECT_EQ(findMergedLine(second), std::string_view::npos);
    EXPECT_EQ(findMergedLine("2021-" + second), std::string_view::npos);
    EXPECT_EQ(findMergedLine(second + second), second.size());
}

LogLine at(unsigned month, unsigned day, nanoseconds ofDay) {
    LogLine line;
    line.month = month;
    line.day = day;
    line.ofDay = ofDay;
    return line;
}

TEST(ClockTest, ANewYearIsOneSecondLater) {
    Clock clock;
    std::string jump;
    EXPECT_EQ(clock.take(at(12, 31, hours(24) - seconds(1)), &jump), seconds(0));
    EXPECT_EQ(clock.take(at(1, 1, seconds(1)), &jump), seconds(2));
    EXPECT_EQ(jump, "");
}

TEST(ClockTest, AClockThatGoesBackIsToldAndTimeGoesOn) {
    Clock clock;
    std::string jump;
    EXPECT_EQ(clock.take(at(8, 14, hours(9)), &jump), seconds(0));
    EXPECT_EQ(clock.take(at(8, 14, hours(8)), &jump), seconds(0));
    EXPECT_EQ(jump, "the phone's clock goes back by 3600.000 s");
    EXPECT_EQ(clock.take(at(8, 14, hours(8) + seconds(3)), &jump), seconds(3));
}

TEST(ClockTest, LinesThatOvertakeEachOtherAreNoJump) {
    Clock clock;
    std::string jump;
    clock.take(at(8, 14, seconds(2)), &jump);
    EXPECT_EQ(clock.take(at(8, 14, seconds(2) - milliseconds(3)), &jump), seconds(0));
    EXPECT_EQ(jump, "");
}

TEST(ClockTest, AClockThatWasSetCountsAsASecond) {
    Clock clock;
    std::string jump;
    clock.take(at(1, 1, seconds(2)), &jump);
    EXPECT_EQ(clock.take(at(1, 3, seconds(2)), &jump), seconds(1));
    EXPECT_EQ(jump, "the phone's clock goes on by 172800.000 s, counted as 1 s");
}

TEST(SectionsTest, OnlyTheLogOfThisBootCounts) {
    Sections sections;
    EXPECT_TRUE(sections.isLog());
    EXPECT_TRUE(sections.take(1, "------ LAST LOGCAT (logcat -L) ------"));
    EXPECT_FALSE(sections.isLog());
    EXPECT_TRUE(
            sections.take(2, "------ SYSTEM LOG (logcat -v threadtime -v printable -d) ------"));
    EXPECT_TRUE(sections.isLog());
    EXPECT_TRUE(sections.isEscaped());
    EXPECT_FALSE(sections.take(3, "a line"));
    EXPECT_TRUE(sections.take(4, "------ 1.2s was the duration of 'SYSTEM LOG' ------"));
    EXPECT_TRUE(sections.take(5, "a line"));
    EXPECT_TRUE(sections.take(6, "------ KERNEL LOG (dmesg) ------"));
    sections.take(7, "<6>[   12.3] Bivista: mcu up");
    sections.take(8, "<6>[   12.4] Bivista: mcu up");
    ASSERT_EQ(sections.remarks().size(), 1U);
    EXPECT_EQ(sections.remarks()[0].line, 7U);
}

TEST(SectionsTest, PrintableTextIsTakenBack) {
    EXPECT_EQ(unescapePrintable(R"(a\\b\r\377\7x\)"), "a\\b\r\xff\ax\\");
}

TEST(SectionsTest, ChattyIsUnderstood) {
    EXPECT_EQ(parseChatty("uid=1000(system) usb-notify expire 12 lines").count, 12U);
    EXPECT_TRUE(parseChatty("uid=1000(system) usb-notify identical 3 lines").isIdentical);
    EXPECT_EQ(parseChatty("uid=1000(system) usb-notify identical many lines").count, 0U);
    EXPECT_EQ(parseChatty("uid=1000(system) expire 99999999999999999999 lines").count, 0U);
}

}  // namespace
}  // namespace phonelog
