// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The first line of a recording is checked strictly.

#include "emulator/recording/Header.h"

#include <gtest/gtest.h>

#include <string>

namespace recording {
namespace {

// What is wrong with the header of these members beside the version.
std::string refusal(const std::string& members) {
    Header header;
    return readHeader(Json::parse("{\"recording\":2," + members + "}"), &header);
}

TEST(HeaderTest, HasOneLineOfJson) {
    Header header;
    header.program = "bivista-emulator 1.0";
    header.lanes = {"tty"};
    header.properties = {{"a", "1"}};
    header.files = {{"/sys/n", "0\n"}};
    header.images = {{"i", 3}};
    header.unknown = {"Who called."};
    EXPECT_EQ(toJson(header),
              R"({"recording":2,"program":"bivista-emulator 1.0","source":"phone","lanes":["tty"],)"
              R"("start":{"properties":{"a":"1"},"files":{"/sys/n":"0\\n"},"images":{"i":3}},)"
              R"("unknown":["Who called."]})");
}

TEST(HeaderTest, IsKnownByItsFirstMember) {
    EXPECT_TRUE(isHeader(Json{{"recording", "x"}}));
    EXPECT_FALSE(isHeader(Json{{"seq", 1}}));
    EXPECT_FALSE(isHeader(Json::array()));
}

TEST(HeaderTest, AnotherVersionIsRefusedWhateverItHas) {
    Header header;
    EXPECT_EQ(readHeader(Json::parse(R"({"recording":3,"smell":1})"), &header),
              "is a recording of version 3; this program reads versions 1 to 2");
    EXPECT_EQ(readHeader(Json::parse(R"({"recording":99999999999})"), &header),
              "is a recording of version 99999999999; this program reads versions 1 to 2");
    EXPECT_EQ(readHeader(Json::parse(R"({"recording":1})"), &header),
              "there is no recording of version 1");
    EXPECT_EQ(readHeader(Json::parse(R"({"recording":-2})"), &header),
              "there is no recording of version -2");
    EXPECT_EQ(readHeader(Json::parse(R"({"recording":"2"})"), &header),
              "the recording's version must be a number");
}

TEST(HeaderTest, AbsentMembersAreRefused) {
    EXPECT_EQ(refusal(R"("source":"phone","start":{})"), "the header has no \"program\"");
    EXPECT_EQ(refusal(R"("program":"bivista-emulator","start":{})"),
              "the header has no \"source\"");
    EXPECT_EQ(refusal(R"("program":"bivista-emulator","source":"log")"),
              "the header has no \"start\"");
}

TEST(HeaderTest, WrongMembersAreRefused) {
    const auto with = [](const std::string& members) {
        return refusal(R"("program":"bivista-emulator","source":"log","start":{},)" + members);
    };
    EXPECT_EQ(with(R"("lanes":[])"), "");
    EXPECT_EQ(with(R"("lanes":[1])"), "the header's \"lanes\" must be a list of texts");
    EXPECT_EQ(with(R"("unknown":{})"), "the header's \"unknown\" must be a list of texts");
    EXPECT_EQ(with(R"("smell":1)"), "the header has an unknown member \"smell\"");
    EXPECT_EQ(with(R"("files":{})"), "the header's \"files\" belongs into its \"start\"");
    EXPECT_EQ(refusal(R"("program":"other 1","source":"log","start":{})"),
              "is a recording of another program, \"other 1\"");
    EXPECT_EQ(refusal(R"("program":7,"source":"log","start":{})"),
              "the header's \"program\" must be a text");
    EXPECT_EQ(refusal(R"("program":"bivista-emulator","source":"tape","start":{})"),
              "the header's \"source\" must be \"phone\" or \"log\"");
}

TEST(HeaderTest, WrongStartsAreRefused) {
    const auto with = [](const std::string& start) {
        return refusal(R"("program":"bivista-emulator","source":"phone","start":)" + start);
    };
    EXPECT_EQ(with("[]"), "the header's \"start\" must be an object");
    EXPECT_EQ(with(R"({"properties":{"a":1}})"),
              "the header's \"properties\" must be texts by name");
    EXPECT_EQ(with(R"({"files":{"a":"\\q"}})"), "the header's \"files\" must be texts by path");
    EXPECT_EQ(with(R"({"files":7})"), "the header's \"files\" must be texts by path");
    EXPECT_EQ(with(R"({"images":{"a":-1}})"), "the header's \"images\" must be sizes by file name");
    EXPECT_EQ(with(R"({"images":[]})"), "the header's \"images\" must be sizes by file name");
    EXPECT_EQ(with(R"({"lanes":[]})"), "the header's \"start\" has an unknown member \"lanes\"");
}

}  // namespace
}  // namespace recording
