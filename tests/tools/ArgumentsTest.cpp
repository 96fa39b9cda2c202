// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/text/Arguments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

using namespace bivistactl;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class WordsFileTest : public testing::Test {
  protected:
    WordsFileTest() {
        char name[] = "/tmp/words-XXXXXX";
        mFolder = mkdtemp(name);
    }
    ~WordsFileTest() override { std::filesystem::remove_all(mFolder); }

    std::string file() const { return mFolder + "/frame"; }
    std::vector<uint32_t> parse(const std::string& content) {
        std::ofstream(file(), std::ios::binary) << content;
        return parseWords("@" + file());
    }

    std::string mFolder;
};

}  // namespace

TEST(ParseInt32Test, TakesDecimalAndHexadecimal) {
    EXPECT_EQ(0, parseInt32("0"));
    EXPECT_EQ(-20, parseInt32("-20"));
    EXPECT_EQ(10, parseInt32("010"));
    EXPECT_EQ(255, parseInt32("0xff"));
    EXPECT_EQ(255, parseInt32("0XFf"));
    EXPECT_EQ(-16, parseInt32("-0x10"));
}

TEST(ParseInt32Test, TakesItsWholeRange) {
    EXPECT_EQ(INT32_MAX, parseInt32("2147483647"));
    EXPECT_EQ(INT32_MIN, parseInt32("-2147483648"));
    EXPECT_EQ(INT32_MIN, parseInt32("-0x80000000"));
}

TEST(ParseInt32Test, RefusesAllElse) {
    for (const char* text :
         {"", "-", "+1", "--1", "1 ", " 1", "1.0", "1e3", "ten", "0x", "x10", "0x-1", "0xg", "1,2",
          "2147483648", "-2147483649", "0x80000000", "99999999999999999999999"}) {
        EXPECT_THROW(parseInt32(text), BadArgument) << text;
    }
}

TEST(ParseInt32Test, TheMessageTellsTextAndRange) {
    try {
        parseInt32("300x");
        FAIL();
    } catch (const BadArgument& bad) {
        EXPECT_STREQ(
                "\"300x\" is not an integer from -2147483648 to 2147483647, decimal or "
                "0x-hexadecimal",
                bad.what());
    }
}

TEST(ParseUint32Test, TakesItsWholeRange) {
    EXPECT_EQ(0u, parseUint32("0"));
    EXPECT_EQ(UINT32_MAX, parseUint32("4294967295"));
    EXPECT_EQ(UINT32_MAX, parseUint32("0xffffffff"));
}

TEST(ParseUint32Test, RefusesAllElse) {
    for (const char* text : {"", "-1", "4294967296", "0x100000000", "1 2"}) {
        EXPECT_THROW(parseUint32(text), BadArgument) << text;
    }
}

TEST(ParseBoolTest, TakesTwoWords) {
    EXPECT_TRUE(parseBool("true"));
    EXPECT_FALSE(parseBool("false"));
    for (const char* text : {"", "1", "0", "True", "yes", "true "}) {
        EXPECT_THROW(parseBool(text), BadArgument) << text;
    }
}

TEST(ParseSwitchTest, TakesTwoWords) {
    EXPECT_TRUE(parseSwitch("on"));
    EXPECT_FALSE(parseSwitch("off"));
    for (const char* text : {"", "1", "true", "On", "off "}) {
        EXPECT_THROW(parseSwitch(text), BadArgument) << text;
    }
}

TEST(ParseWordsTest, TakesNumbersWithCommas) {
    EXPECT_THAT(parseWords("1,0xf0,4294967295"), ElementsAre(1, 0xf0, UINT32_MAX));
    EXPECT_THAT(parseWords("7"), ElementsAre(7));
    EXPECT_THAT(parseWords(""), IsEmpty());
}

TEST(ParseWordsTest, RefusesAllElse) {
    for (const char* text : {",", "1,", ",1", "1,,2", "1 2", "1, 2", "-1", "null"}) {
        EXPECT_THROW(parseWords(text), BadArgument) << text;
    }
}

TEST(ParseWordsTest, RefusesAListLongerThanACallCarries) {
    std::string list = "1";
    for (int i = 0; i < (1 << 20) / 4 - 1; ++i) list += ",1";
    EXPECT_EQ(static_cast<size_t>(1 << 20) / 4, parseWords(list).size());
    EXPECT_THROW(parseWords(list + ",1"), BadArgument);
}

TEST_F(WordsFileTest, HoldsLittleEndianWords) {
    EXPECT_THAT(parse(std::string("\x01\x02\x03\x04\xff\0\0\x80", 8)),
                ElementsAre(0x04030201, 0x800000ff));
    EXPECT_THAT(parse(""), IsEmpty());
}

TEST_F(WordsFileTest, RefusesHalfAWord) {
    EXPECT_THROW(parse("12345"), BadArgument);
}

TEST_F(WordsFileTest, RefusesAFileLongerThanACallCarries) {
    EXPECT_EQ(static_cast<size_t>(1 << 20) / 4, parse(std::string(1 << 20, 'x')).size());
    EXPECT_THROW(parse(std::string((1 << 20) + 4, 'x')), BadArgument);
}

TEST_F(WordsFileTest, RefusesWhatCannotBeRead) {
    EXPECT_THROW(parseWords("@"), BadArgument);
    EXPECT_THROW(parseWords("@" + mFolder + "/absent"), BadArgument);
    EXPECT_THROW(parseWords("@" + mFolder), BadArgument);
}

TEST(ParseNullTest, RefusesAnObjectAndNamesTheRemedy) {
    parseNull("null");
    try {
        parseNull("callback");
        FAIL();
    } catch (const BadArgument& bad) {
        EXPECT_THAT(bad.what(), testing::HasSubstr("bivistactl watch lpwg"));
        EXPECT_THAT(bad.what(), testing::HasSubstr("bivistactl at CMD"));
    }
}
