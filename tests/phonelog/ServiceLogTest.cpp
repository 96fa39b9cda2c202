// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/ServiceLog.h"

#include <gmock/gmock.h>

#include "emulator/phonelog/LineFile.h"
#include "emulator/phonelog/LogLine.h"
#include "tests/phonelog/Written.h"

namespace phonelog {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::string header(int ms, int pid, int tid, const std::string& tag = std::string(kServiceTag)) {
    char text[64];
    snprintf(text, sizeof(text), "08-14 09:21:07.%03d %5d %5d D ", ms, pid, tid);
    return text + tag + ": ";
}

std::vector<std::string> texts(const ServiceLog& log) {
    std::vector<std::string> texts;
    for (const Line& line : log.lines) {
        texts.push_back(std::to_string(line.number) + " " + line.text);
    }
    return texts;
}

std::vector<std::string> remarks(const ServiceLog& log) {
    std::vector<std::string> texts;
    for (const Remark& remark : log.remarks) {
        texts.push_back(std::to_string(remark.line) + ": " + remark.text);
    }
    return texts;
}

TEST(ServiceLogTest, OthersLinesAndBuffersAreLeftOut) {
    const ServiceLog log = readText("--------- beginning of main\r\n" + header(1, 7, 7) + "a\r\n" +
                                    header(2, 9, 9, "clockd") + "b\r\n" +
                                    "--------- switch to system\r\n" + header(3, 7, 8) + "c\r\n");
    EXPECT_THAT(texts(log), ElementsAre("2 a", "5 c"));
    EXPECT_EQ(log.pid, 7);
    EXPECT_EQ(log.lines[1].tid, 8);
    EXPECT_FALSE(log.hasStart);
    EXPECT_THAT(remarks(log), ElementsAre());
}

TEST(ServiceLogTest, TheLastLifeWithAnAttachIsTaken) {
    const std::string attach = "========== Bivista Attached\n";
    const std::string text = header(1, 7, 7) + "first\n" + header(2, 7, 7) + attach +
                             header(3, 8, 8) + "second\n" + header(4, 8, 8) + attach +
                             header(5, 9, 9) + "third\n";
    EXPECT_THAT(texts(readText(text)), ElementsAre("3 second", "4 ========== Bivista Attached"));
    EXPECT_THAT(
            remarks(readText(text)),
            ElementsAre("3: the service was restarted: process 8 after process 7",
                        "5: the service was restarted: process 9 after process 8",
                        "3: taken: process 8, the last one with an attach; --pid takes another"));
    EXPECT_THAT(texts(readText(text, 9)), ElementsAre("5 third"));
    EXPECT_THAT(texts(readText(text, 7)), ElementsAre("1 first", "2 ========== Bivista Attached"));
}

TEST(ServiceLogTest, AProcessIdThatComesBackIsAnotherLife) {
    const std::string begin = "========== Bivista HAL Constructor ==========\n";
    const ServiceLog log = readText(header(1, 7, 7) + begin + header(2, 7, 7) + "a\n" +
                                    header(3, 7, 7) + begin + header(4, 7, 7) + "b\n");
    EXPECT_TRUE(log.hasStart);
    EXPECT_THAT(texts(log), ElementsAre("3 ========== Bivista HAL Constructor ==========", "4 b"));
}

TEST(ServiceLogTest, LinesThatTheLoggerLeftOutArePutBackOrTold) {
    const ServiceLog log =
            readText(header(1, 7, 7) + "a\n" + header(2, 7, 7, "chatty  ") +
                     "uid=1000(system) vendor identical 2 lines\n" + header(3, 7, 7) + "a\n" +
                     header(4, 7, 9, "chatty  ") + "uid=1000(system) vendor expire 5 lines\n" +
                     header(5, 9, 9, "chatty  ") + "uid=1000(system) vendor expire 6 lines\n");
    EXPECT_THAT(texts(log), ElementsAre("1 a", "2 a", "2 a", "3 a"));
    ASSERT_EQ(log.remarks.size(), 2U);
    EXPECT_EQ(log.remarks[0].line, 2U);
    EXPECT_THAT(log.remarks[1].text, HasSubstr("dropped 5 lines"));
}

TEST(ServiceLogTest, AnothersLineInOursIsLeftOut) {
    const ServiceLog log = readText(header(1, 7, 7) + "a]" + header(2, 9, 9, "clockd") + "b\n" +
                                    header(3, 9, 9, "clockd") + "c" + header(4, 7, 7) + "d\n");
    EXPECT_THAT(texts(log), ElementsAre("1 a]", "2 d"));
    EXPECT_THAT(remarks(log), ElementsAre("1: two lines are merged into one",
                                          "2: two lines are merged into one"));
}

TEST(ServiceLogTest, ABugreportGivesItsSystemLog) {
    const ServiceLog log = readText(
            "== dumpstate\n------ LAST LOGCAT (logcat -L) ------\n" + header(1, 7, 7) + "old\n" +
            "------ SYSTEM LOG (logcat -v threadtime -v printable -v uid -d *:v) ------\n" +
            "08-14 09:21:07.184  1000     7     7 D " + std::string(kServiceTag) +
            ": rd: [a\\377]\n" + "------ 1.2s was the duration of 'SYSTEM LOG' ------\n" +
            header(1, 7, 7) + "x\n");
    EXPECT_THAT(texts(log), ElementsAre("5 rd: [a\xff]"));
}

TEST(ServiceLogTest, ATextThatIsNoLogIsRefused) {
    EXPECT_THROW(readText("hello\n"), NotALog);
    EXPECT_THROW(readText(std::string(3'000'000, '\0')), NotALog);
    EXPECT_TRUE(readText("").lines.empty());
    EXPECT_TRUE(readText(header(1, 7, 7, "clockd") + "a\n").lines.empty());
}

TEST(ServiceLogTest, MoreLinesThanTheBoundAreRefused) {
    std::string text;
    const std::string line = header(1, 7, 7) + "a\n";
    for (size_t i = 0; i <= kMostLines; ++i) text += line;
    try {
        readText(text);
        FAIL();
    } catch (const NotALog& wrong) {
        EXPECT_THAT(wrong.what(),
                    HasSubstr(std::to_string(kMostLines + 1) + ": the service wrote more"));
    }
}

TEST(LineFileTest, ALongLineIsCutAndTheNextIsWhole) {
    std::istringstream stream(std::string(3 << 20, 'a') + "\nb\r\nc");
    LineFile file(stream);
    ASSERT_TRUE(file.next());
    EXPECT_EQ(file.text().size(), LineFile::kLongestLine);
    EXPECT_TRUE(file.isCut());
    ASSERT_TRUE(file.next());
    EXPECT_EQ(file.text(), "b");
    EXPECT_EQ(file.number(), 2U);
    EXPECT_FALSE(file.isCut());
    ASSERT_TRUE(file.next());
    EXPECT_EQ(file.text(), "c");
    EXPECT_TRUE(file.isCut());
    EXPECT_FALSE(file.next());
}

}  // namespace
}  // namespace phonelog
