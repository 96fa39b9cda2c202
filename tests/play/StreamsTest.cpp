// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/Streams.h"

#include <gtest/gtest.h>

#include <fstream>

#include "emulator/phone/Error.h"
#include "tests/play/Written.h"

namespace play {
namespace {

TEST(StreamTest, ForgetsTheOldestBeyondItsBounds) {
    Stream<int> many;
    for (size_t i = 0; i < Stream<int>::kMost + 3; ++i) many.add(static_cast<int>(i), 1);
    EXPECT_EQ(many.begin(), 3u);
    EXPECT_EQ(many.end(), Stream<int>::kMost + 3);
    EXPECT_EQ(many[3], 3);

    Stream<int> large;
    for (int i = 0; i < 4; ++i) large.add(i, Stream<int>::kMostBytes / 2);
    EXPECT_EQ(large.begin(), 2u);
    large.add(4, 2 * Stream<int>::kMostBytes);
    EXPECT_EQ(large.begin(), 4u);
    EXPECT_EQ(large[4], 4);
}

void expectLine(const std::string& line, char priority, const std::string& tag,
                const std::string& text) {
    const LogLine parsed = parseLogLine(line);
    EXPECT_EQ(parsed.priority, priority) << line;
    EXPECT_EQ(parsed.tag, tag) << line;
    EXPECT_EQ(parsed.text, text) << line;
}

TEST(LogLineTest, IsReadAsTheLoggerWritesIt) {
    expectLine("bivista D 11-22 20:56:25.313  9002  9162 serialAtCmd: rd: [OK]", 'D', "bivista",
               "serialAtCmd: rd: [OK]");
    expectLine("t E 11-22 20:56:25.313 12345 1234567   two  spaces ", 'E', "t", "  two  spaces ");
    expectLine("t I 11-22 20:56:25.313     1     2 ", 'I', "t", "");
}

TEST(LogLineTest, OtherLinesHaveNoPriority) {
    for (const char* line : {"", "Segmentation fault", "t D 11-22", "t D 11-22 20:56:25.313 x 2 y",
                             "t DD 11-22 20:56:25.313 1 2 y", "a b c d e f g"}) {
        expectLine(line, ' ', "", line);
    }
}

class LogFileTest : public testing::Test {
  protected:
    void append(const std::string& bytes) const { std::ofstream(mPath, std::ios::app) << bytes; }

    const Folder mFolder;
    const std::string mPath = mFolder.write("log", "t D 11-22 20:56:25.313 1 2 first\n");
    Stream<LogLine> mLines;
};

TEST_F(LogFileTest, IsReadAsItGrowsInWholeLines) {
    LogFile log(mPath);
    log.readInto(mLines);
    ASSERT_EQ(mLines.end(), 1u);
    EXPECT_EQ(mLines[0].text, "first");
    append("t D 11-22 20:56:25.313 1 2 sec");
    log.readInto(mLines);
    EXPECT_EQ(mLines.end(), 1u);
    append("ond\nthird\n");
    log.readInto(mLines);
    ASSERT_EQ(mLines.end(), 3u);
    EXPECT_EQ(mLines[1].text, "second");
    EXPECT_EQ(mLines[2].text, "third");
}

TEST_F(LogFileTest, CanBeginAtItsEnd) {
    LogFile log(mPath);
    log.skip();
    append("later\n");
    log.readInto(mLines);
    ASSERT_EQ(mLines.end(), 1u);
    EXPECT_EQ(mLines[0].text, "later");
}

TEST_F(LogFileTest, ALineWithoutAnEndIsGivenUp) {
    append(std::string(100'000, 'x'));
    LogFile log(mPath);
    log.readInto(mLines);
    append("\nlast\n");
    log.readInto(mLines);
    ASSERT_GE(mLines.end(), 2u);
    EXPECT_EQ(mLines[mLines.end() - 1].text, "last");
    EXPECT_LT(mLines[1].text.size(), 100'000u);
}

TEST_F(LogFileTest, AnEndlessFileIsReadInParts) {
    LogFile log("/dev/zero");
    log.readInto(mLines);
    EXPECT_EQ(mLines.end(), 0u);
}

TEST_F(LogFileTest, NoneIsEmptyAndOneThatIsAbsentAnError) {
    LogFile none("");
    none.skip();
    none.readInto(mLines);
    EXPECT_EQ(mLines.end(), 0u);
    EXPECT_THROW(LogFile(mPath + ".none"), phone::Error);
}

}  // namespace
}  // namespace play
