// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/text/Json.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <string>

using namespace std::string_literals;
using ::android::hardware::hidl_string;
using bivistactl::Json;
using bivistactl::quote;
using bivistactl::toJson;
using bivistactl::toLine;
using ::vendor::qmx::hardware::bivista::V1_0::Status;
using ::vendor::qmx::hardware::bivista::V1_0::SubScreenState;

namespace {

// The bytes that a quoted string stands for, by the rule that the program documents.
std::string unquote(std::string quoted) {
    // A lone surrogate is an error to the JSON library: it goes through U+EEXX of the private use
    // area, which the test does not use otherwise.
    for (size_t at; (at = quoted.find("\\udc")) != std::string::npos;)
        quoted.replace(at, 4, "\\uee");
    const std::string parsed = Json::parse(quoted).get<std::string>();
    std::string bytes;
    for (size_t at = 0; at < parsed.size(); ++at) {
        if (parsed[at] == '\xee') {
            bytes += static_cast<char>((parsed[at + 1] & 3) << 6 | (parsed[at + 2] & 0x3f));
            at += 2;
        } else {
            bytes += parsed[at];
        }
    }
    return bytes;
}

}  // namespace

TEST(QuoteTest, EscapesWhatJsonWantsEscaped) {
    EXPECT_EQ(R"("a\"b\\c\n\r\t\u0000\u001f")", quote("a\"b\\c\n\r\t\0\x1f"s));
}

TEST(QuoteTest, KeepsUtf8) {
    EXPECT_EQ("\"\xc3\xa9\xf0\x9f\x98\x80\"", quote("\xc3\xa9\xf0\x9f\x98\x80"));
}

TEST(QuoteTest, EveryOtherByteHasAnEscapeOfItsOwn) {
    EXPECT_EQ(R"("a\udcff\udc80")", quote("a\xff\x80"));
    // A surrogate in UTF-8 is no valid UTF-8, so it cannot be mistaken for an escape.
    EXPECT_EQ(R"("\udced\udcb3\udcbf")", quote("\xed\xb3\xbf"));
}

TEST(QuoteTest, NoByteIsLost) {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
    EXPECT_EQ(bytes, unquote(quote(bytes)));
}

TEST(ToLineTest, KeepsTheOrderOfMembers) {
    EXPECT_EQ(R"({"z":1,"a":[true,null,"x"],"m":{}})",
              toLine(Json::parse(R"({"z":1,"a":[true,null,"x"],"m":{}})")));
    EXPECT_EQ("[]", toLine(Json::array()));
}

TEST(ToLineTest, StringsAnywhereMayHoldAnyBytes) {
    EXPECT_EQ(R"({"a":["\udcff"]})", toLine({{"a", Json::array({"\xff"})}}));
}

TEST(ToJsonTest, AStatusIsItsName) {
    EXPECT_EQ(R"("OK")", toLine(toJson(Status::OK)));
    EXPECT_EQ(R"("FAIL")", toLine(toJson(Status::FAIL)));
    EXPECT_EQ("7", toLine(toJson(static_cast<Status>(7))));
}

TEST(ToJsonTest, ATextKeepsItsNulBytes) {
    hidl_string text;
    text = "a\0b"s;
    EXPECT_EQ(R"("a\u0000b")", toLine(toJson(text)));
}

TEST(ToJsonTest, AStateHasANameAndACode) {
    EXPECT_EQ(R"({"state":"UNINITIALIZED","code":0})",
              toLine(toJson(SubScreenState::UNINITIALIZED)));
    EXPECT_EQ(R"({"state":"ON","code":3})", toLine(toJson(SubScreenState::ON)));
    EXPECT_EQ(R"({"state":null,"code":9})", toLine(toJson(static_cast<SubScreenState>(9))));
}

TEST(EventNameTest, KnowsTheEventsOfBothVersions) {
    EXPECT_EQ("UNKNOWN", bivistactl::eventName(-1));
    EXPECT_EQ("WAKEUP", bivistactl::eventName(0));
    EXPECT_EQ("BV_PEN_DETECTION", bivistactl::eventName(3));
    EXPECT_EQ("SWITCH_AES_BOTH", bivistactl::eventName(4));
    EXPECT_EQ("BV_UPDATE_STATE", bivistactl::eventName(7));
    EXPECT_EQ(nullptr, bivistactl::eventName(8));
}
