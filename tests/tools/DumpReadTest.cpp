// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What bivistactl understands of a dump, whose text any program may have written.
#include "tools/client/Dump.h"

#include <gmock/gmock.h>

#include <string>

using bivistactl::Dump;
using bivistactl::DumpMember;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr DumpMember kNumber = {"a", "n"};

std::optional<int64_t> numberIn(const std::string& value) {
    return Dump(R"({"a":{"n":)" + value + "}}").number(kNumber);
}

}  // namespace

TEST(DumpReadTest, GivesMembersOfSectionsAndRows) {
    const Dump dump(R"({"a":{"n":-7,"f":true,"t":"x","none":null},
                        "rows":[{"group":"rgb","v":[1]},{"group":"mode","v":[3,4]}]})");
    EXPECT_EQ("", dump.fault());
    EXPECT_EQ(-7, dump.number(kNumber));
    EXPECT_EQ(true, dump.flag({"a", "f"}));
    EXPECT_EQ("x", dump.text({"a", "t"}));
    EXPECT_EQ(3, dump.number({"rows", "v", "group", "mode"}));
    EXPECT_TRUE(dump.has({"a", "none"}));
    EXPECT_EQ(std::nullopt, dump.text({"a", "none"}));
    EXPECT_FALSE(dump.has({"a", "other"}));
    EXPECT_FALSE(dump.has({"other", "n"}));
    EXPECT_FALSE(dump.has({"rows", "v", "group", "tune"}));
}

TEST(DumpReadTest, WhatIsOfAnotherKindIsUnknown) {
    for (const char* value :
         {"true", "\"1\"", "1.5", "null", "{}", "[]", "[\"x\"]", "[[1]]", "9007199254740993",
          "-9007199254740993", "18446744073709551615", "1e400"}) {
        EXPECT_EQ(std::nullopt, numberIn(value)) << value;
    }
    EXPECT_EQ(9007199254740992, numberIn("9007199254740992"));
    EXPECT_EQ(-9007199254740992, numberIn("-9007199254740992"));
    const Dump dump(R"({"a":[{"n":1}],"b":{"f":1,"t":2},"rows":[1,{"group":2,"v":[1]}]})");
    EXPECT_EQ(std::nullopt, dump.number(kNumber));
    EXPECT_EQ(std::nullopt, dump.flag({"b", "f"}));
    EXPECT_EQ(std::nullopt, dump.text({"b", "t"}));
    EXPECT_EQ(std::nullopt, dump.number({"rows", "v", "group", "mode"}));
}

TEST(DumpReadTest, WhatIsNoDumpSaysSo) {
    EXPECT_EQ("the service has no debug dump", Dump("").fault());
    for (const std::string& text :
         std::vector<std::string>{"usb:\n  attached  true\n", "[]", "1",
                                  "{\"a\":", "{\"a\":\"\xff\"}", "Unknown option --json; ..."}) {
        const Dump dump(text);
        EXPECT_EQ("the service's debug dump cannot be understood", dump.fault()) << text;
        EXPECT_EQ(std::nullopt, dump.number(kNumber));
        EXPECT_THAT(dump.commandsWith("n"), IsEmpty());
    }
}

TEST(DumpReadTest, SurvivesAnyDepth) {
    const std::string deep(500'000, '[');
    EXPECT_EQ("the service's debug dump cannot be understood", Dump(deep).fault());
    const std::string closed = deep + std::string(deep.size(), ']');
    const Dump dump(R"({"a":{"n":1,"deep":)" + closed + "}}");
    EXPECT_EQ(1, dump.number(kNumber));
}

// Each cut and each changed byte of a text that is one.
TEST(DumpReadTest, SurvivesWhatWasCutOrChanged) {
    const std::string whole =
            R"({"a":{"n":1},"commands":[{"name":"AT%SWV","n":2}],"c":[{"group":"mode","v":[1]}]})";
    for (size_t at = 0; at < whole.size(); ++at) {
        EXPECT_NE("", Dump(whole.substr(0, at)).fault());
        for (const char byte : {'\0', '"', '{', ']', '9', '\xff'}) {
            std::string changed = whole;
            changed[at] = byte;
            const Dump dump(changed);
            EXPECT_LE(dump.number(kNumber).value_or(1), 9);
            EXPECT_LE(dump.commandsWith("n").size(), 1u);
            dump.number({"c", "v", "group", "mode"});
        }
    }
}

TEST(DumpReadTest, NamesTheCommandsOfWhichThereAreSome) {
    const Dump dump(R"({"commands":[{"name":"A","f":2,"t":2},{"name":"B","f":3,"t":1},
                        {"name":"C","f":0},{"f":1},{"name":7,"f":1},5]})");
    EXPECT_THAT(dump.commandsWith("f"), ElementsAre("A", "B"));
    EXPECT_THAT(dump.commandsWith("f", "t"), ElementsAre("B"));
    EXPECT_THAT(dump.commandsWith("x"), IsEmpty());
}
