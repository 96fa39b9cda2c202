// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <cutils/properties.h>

#include <errno.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

using namespace std::string_literals;

namespace {

class PropertiesTest : public testing::Test {
  protected:
    PropertiesTest() {
        char name[] = "/tmp/properties-XXXXXX";
        mFolder = mkdtemp(name);
        setenv("ANDROID_PROPERTY_FILE", file().c_str(), 1);
    }
    ~PropertiesTest() override { std::filesystem::remove_all(mFolder); }

    std::string file() const { return mFolder + "/host.prop"; }
    void givenFile(const std::string& content) { std::ofstream(file()) << content; }

    // The value, which is checked to have the length that the call returned.
    static std::string get(const char* key, const char* defaultValue = "default") {
        char value[PROPERTY_VALUE_MAX];
        memset(value, '#', sizeof(value));
        int length = property_get(key, value, defaultValue);
        EXPECT_EQ(static_cast<size_t>(length), strnlen(value, sizeof(value)));
        return std::string(value, strnlen(value, sizeof(value)));
    }

  private:
    std::string mFolder;
};

}  // namespace

TEST_F(PropertiesTest, FindsAKeyAmongOthers) {
    givenFile("ro.a=1\nro.product.device=Q-71C\nro.b=2\n");
    EXPECT_EQ("Q-71C", get("ro.product.device"));
}

TEST_F(PropertiesTest, TheLastLineNeedsNoNewline) {
    givenFile("ro.a=1\nro.b=2");
    EXPECT_EQ("2", get("ro.b"));
}

TEST_F(PropertiesTest, OfSeveralLinesTheLastOneCounts) {
    givenFile("ro.a=1\nro.a=2\nro.b=3\n");
    EXPECT_EQ("2", get("ro.a"));
}

TEST_F(PropertiesTest, AChangeShowsAtTheNextCall) {
    givenFile("ro.a=1\n");
    ASSERT_EQ("1", get("ro.a"));
    givenFile("ro.a=2\n");
    EXPECT_EQ("2", get("ro.a"));
}

TEST_F(PropertiesTest, AValueMayHoldEqualSignsAndBlanks) {
    givenFile("ro.a= b=c=\n");
    EXPECT_EQ(" b=c=", get("ro.a"));
}

TEST_F(PropertiesTest, KeysAreComparedWhole) {
    givenFile("ro.aa=1\nxro.a=2\n ro.a=3\nro.a =4\nRO.A=5\nro.=6\n");
    EXPECT_EQ("default", get("ro.a"));
}

TEST_F(PropertiesTest, ACarriageReturnBeforeTheNewlineIsNoPartOfTheValue) {
    givenFile("ro.a=1\r\nro.b=2\rx\r\n");
    EXPECT_EQ("1", get("ro.a"));
    EXPECT_EQ("2\rx", get("ro.b"));
}

TEST_F(PropertiesTest, AValueOf91BytesIsWhole) {
    givenFile("ro.a=" + std::string(91, 'x') + "\n");
    EXPECT_EQ(std::string(91, 'x'), get("ro.a"));
}

TEST_F(PropertiesTest, AValueOf91BytesBeforeACarriageReturnIsWhole) {
    givenFile("ro.a=" + std::string(91, 'x') + "\r\n");
    EXPECT_EQ(std::string(91, 'x'), get("ro.a"));
}

TEST_F(PropertiesTest, ALongerValueIsCutAt91Bytes) {
    givenFile("ro.a=" + std::string(92, 'x') + "\nro.b=2\n");
    EXPECT_EQ(std::string(91, 'x'), get("ro.a"));
    EXPECT_EQ("2", get("ro.b"));
}

TEST_F(PropertiesTest, ACarriageReturnAtTheCutStaysWhenTheValueGoesOn) {
    givenFile("ro.a=" + std::string(90, 'x') + "\ry\n");
    EXPECT_EQ(std::string(90, 'x') + "\r", get("ro.a"));
}

TEST_F(PropertiesTest, AnEmptyValueGivesTheDefault) {
    givenFile("ro.a=\nro.b=\r\n");
    EXPECT_EQ("default", get("ro.a"));
    EXPECT_EQ("default", get("ro.b"));
}

TEST_F(PropertiesTest, WithoutADefaultAnUnsetPropertyIsEmpty) {
    givenFile("ro.a=1\n");
    EXPECT_EQ("", get("ro.b", nullptr));
}

TEST_F(PropertiesTest, ADefaultIsCutAt91BytesToo) {
    givenFile("");
    EXPECT_EQ(std::string(91, 'd'), get("ro.a", std::string(200, 'd').c_str()));
}

TEST_F(PropertiesTest, AnEmptyKeyIsNeverSet) {
    givenFile("=1\n");
    EXPECT_EQ("default", get(""));
    EXPECT_EQ("default", get(nullptr));
}

TEST_F(PropertiesTest, LinesThatAreNotPropertiesArePassedOver) {
    givenFile("\n# ro.a=0\nro.a\n\n===\nro.a=1\n");
    EXPECT_EQ("1", get("ro.a"));
}

TEST_F(PropertiesTest, AMissingFileGivesTheDefault) {
    EXPECT_EQ("default", get("ro.a"));
}

TEST_F(PropertiesTest, AnEmptyFileGivesTheDefault) {
    givenFile("");
    EXPECT_EQ("default", get("ro.a"));
}

TEST_F(PropertiesTest, AFileThatIsNotTextIsReadAsBytes) {
    givenFile("\0\xff\xfe\n\0=x\nro.a=\x80z\0tail\nro.b=2\n"s);
    EXPECT_EQ("\x80z", get("ro.a"));
    EXPECT_EQ("2", get("ro.b"));
}

TEST_F(PropertiesTest, AHugeFileWithHugeLinesIsRead) {
    givenFile(std::string(5 << 20, 'x') + "\nro.a=" + std::string(5 << 20, 'y') + "\nro.b=2\n");
    EXPECT_EQ(std::string(91, 'y'), get("ro.a"));
    EXPECT_EQ("2", get("ro.b"));
}

TEST_F(PropertiesTest, AFolderInPlaceOfTheFileGivesTheDefault) {
    ASSERT_EQ(0, mkdir(file().c_str(), 0700));
    EXPECT_EQ("default", get("ro.a"));
}

TEST_F(PropertiesTest, AFifoInPlaceOfTheFileIsNotWaitedFor) {
    ASSERT_EQ(0, mkfifo(file().c_str(), 0600));
    EXPECT_EQ("default", get("ro.a"));
}
