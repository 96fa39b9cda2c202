// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The one-line language of faults: what it reads and prints, and its messages for mistakes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "emulator/cover/FaultLanguage.h"

namespace cover {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using Effect = Fault::Effect;

struct Reading {
    std::string line;
    Fault fault;
    std::string printed;  // empty: as the line
};

void PrintTo(const Reading& r, std::ostream* os) {
    *os << r.line;
}

class Readings : public testing::TestWithParam<Reading> {};

TEST_P(Readings, GiveTheFault) {
    const ParsedFault parsed = parseFault(GetParam().line);
    ASSERT_TRUE(parsed.fault) << parsed.error;
    EXPECT_EQ(*parsed.fault, GetParam().fault);
    EXPECT_EQ(parsed.error, "");
}

TEST_P(Readings, PrintToTextThatReadsTheSame) {
    const Reading& reading = GetParam();
    const std::string printed = toText(reading.fault);
    EXPECT_EQ(printed, reading.printed.empty() ? reading.line : reading.printed);
    const ParsedFault again = parseFault(printed);
    ASSERT_TRUE(again.fault) << again.error;
    EXPECT_EQ(*again.fault, reading.fault);
}

INSTANTIATE_TEST_SUITE_P(
        Effects, Readings,
        testing::Values(
                Reading{"on AT%SWV silent", {.prefix = "AT%SWV", .effect = Effect::Silent}, ""},
                Reading{"on * silent", {.effect = Effect::Silent}, ""},
                Reading{"on AT%SWV late 200ms",
                        {.prefix = "AT%SWV", .effect = Effect::Late, .time = 200ms},
                        ""},
                Reading{"on * split 1ms", {.effect = Effect::Split, .time = 1ms}, ""},
                Reading{"on * garble", {.effect = Effect::Garble}, ""},
                Reading{"on * garble all", {.effect = Effect::Garble, .all = true}, ""},
                Reading{"on * error", {.effect = Effect::Error}, ""},
                Reading{R"(on * before "boot: hello")",
                        {.effect = Effect::Before, .text = "boot: hello"},
                        ""},
                Reading{R"(on * after "")", {.effect = Effect::After}, ""},
                Reading{R"(on AT%HPD inside "log: hello")",
                        {.prefix = "AT%HPD", .effect = Effect::Inside, .text = "log: hello"},
                        ""},
                Reading{"on * hangup", {.effect = Effect::HangUp}, ""},
                Reading{"on * hangup after 5", {.effect = Effect::HangUp, .count = 5}, ""},
                Reading{"on * hangup after 0", {.effect = Effect::HangUp, .count = 0}, ""},
                Reading{R"(on * answer "raw \r\n bytes \x00\xff\\\"\t")",
                        {.effect = Effect::Answer, .text = "raw \r\n bytes \0\xff\\\"\t"s},
                        ""},
                Reading{"on * half", {.effect = Effect::Half}, ""},
                Reading{"on * flood", {.effect = Effect::Flood}, ""},
                Reading{"on * flood 100000", {.effect = Effect::Flood, .count = 100000}, ""},
                Reading{"on * deaf", {.effect = Effect::Deaf}, ""},
                Reading{"on AT%SWV deaf times 1",
                        {.prefix = "AT%SWV", .effect = Effect::Deaf, .times = 1},
                        ""}));

INSTANTIATE_TEST_SUITE_P(
        Times, Readings,
        testing::Values(Reading{"on * error times 3", {.effect = Effect::Error, .times = 3}, ""},
                        Reading{"on * late 1s times 1",
                                {.effect = Effect::Late, .time = 1s, .times = 1},
                                ""},
                        Reading{"on * garble all times 2",
                                {.effect = Effect::Garble, .all = true, .times = 2},
                                ""},
                        Reading{"on * flood times 2", {.effect = Effect::Flood, .times = 2}, ""},
                        Reading{"on * flood 7 times 2",
                                {.effect = Effect::Flood, .count = 7, .times = 2},
                                ""},
                        Reading{"on * hangup times 2", {.effect = Effect::HangUp, .times = 2}, ""},
                        Reading{"on * hangup after 5 times 18446744073709551615",
                                {.effect = Effect::HangUp, .count = 5, .times = UINT64_MAX},
                                ""}));

INSTANTIATE_TEST_SUITE_P(
        Prefixes, Readings,
        testing::Values(
                Reading{"on AT%PRGB=1,2 error",
                        {.prefix = "AT%PRGB=1,2", .effect = Effect::Error},
                        ""},
                Reading{R"(on "AT%SWV" error)",
                        {.prefix = "AT%SWV", .effect = Effect::Error},
                        "on AT%SWV error"},
                Reading{R"(on "a b" error)", {.prefix = "a b", .effect = Effect::Error}, ""},
                Reading{R"(on "*" error)", {.prefix = "*", .effect = Effect::Error}, ""},
                Reading{R"(on "\"\\\x01" error)",
                        {.prefix = "\"\\\x01", .effect = Effect::Error},
                        ""},
                Reading{"on on error", {.prefix = "on", .effect = Effect::Error}, ""},
                Reading{"on times error times 1",
                        {.prefix = "times", .effect = Effect::Error, .times = 1},
                        ""}));

INSTANTIATE_TEST_SUITE_P(
        Spelling, Readings,
        testing::Values(
                Reading{"  on \t *   error \r\n", {.effect = Effect::Error}, "on * error"},
                Reading{"on * late 1000us", {.effect = Effect::Late, .time = 1ms}, "on * late 1ms"},
                Reading{"on * late 60000ms",
                        {.effect = Effect::Late, .time = 60s},
                        "on * late 60s"},
                Reading{"on * late 1us", {.effect = Effect::Late, .time = 1us}, ""},
                Reading{"on * late 0ms", {.effect = Effect::Late}, "on * late 0s"},
                Reading{"on * late 86400s", {.effect = Effect::Late, .time = 86400s}, ""},
                Reading{"on * answer \"\x01\n\xff\"",
                        {.effect = Effect::Answer, .text = "\x01\n\xff"},
                        R"(on * answer "\x01\n\xff")"},
                Reading{R"(on * answer "\xaB\x41")",
                        {.effect = Effect::Answer,
                         .text = "\xab"
                                 "A"},
                        R"(on * answer "\xabA")"}));

TEST(Printing, KeepsEveryByteOfATextAndOfAPrefix) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
    const Fault fault = {.prefix = all, .effect = Effect::Answer, .text = all};
    const std::string printed = toText(fault);
    for (const char c : printed) EXPECT_TRUE(c >= 0x20 && c <= 0x7e);
    EXPECT_EQ(parseFault(printed).fault, fault);
}

struct Mistake {
    std::string line;
    std::string says;  // the message says what to write instead
};

void PrintTo(const Mistake& m, std::ostream* os) {
    *os << testing::PrintToString(m.line);
}

class Mistakes : public testing::TestWithParam<Mistake> {};

TEST_P(Mistakes, AreRefusedWithARemedy) {
    const ParsedFault parsed = parseFault(GetParam().line);
    EXPECT_FALSE(parsed.fault);
    EXPECT_THAT(parsed.error, testing::HasSubstr(GetParam().says));
    for (const char c : parsed.error) EXPECT_TRUE(c >= 0x20 && c <= 0x7e) << parsed.error;
}

INSTANTIATE_TEST_SUITE_P(
        Beginning, Mistakes,
        testing::Values(
                Mistake{"",
                        "a fault begins with the word on, but the line ends; for example: on "
                        "AT%SWV late 200ms"},
                Mistake{"AT%SWV late 200ms", "begins with the word on, not \"AT%SWV\""},
                Mistake{"\"on\" * error", "begins with the word on, not \"on\""},
                Mistake{"on", "say which command after on: its first letters, or * for all"},
                Mistake{R"(on "" error)", "write * for every command"},
                Mistake{"on AT%TCH* error", "without *; write * alone for every command"}));

INSTANTIATE_TEST_SUITE_P(
        Effect, Mistakes,
        testing::Values(Mistake{"on *",
                                "after the command comes an effect, but the line ends; write one "
                                "of: silent, late, split, garble, error, before, after, inside, "
                                "hangup, answer, half, flood, deaf"},
                        Mistake{"on * sielnt", "not \"sielnt\"; write one of: silent, late"},
                        Mistake{"on * \"silent\"", "comes an effect, not \"silent\""},
                        Mistake{"on * SILENT", "not \"SILENT\""},
                        Mistake{"on * \xff", "must be quoted"}));

INSTANTIATE_TEST_SUITE_P(
        Arguments, Mistakes,
        testing::Values(Mistake{"on * late",
                                "late needs an integer with us, ms or s, and at most one day, "
                                "but the line ends; for example: late 200ms"},
                        Mistake{"on * late 200", "not \"200\"; for example: late 200ms"},
                        Mistake{"on * late ms", "not \"ms\""},
                        Mistake{"on * late -1ms", "not \"-1ms\""},
                        Mistake{"on * late 1.5s", "not \"1.5s\""},
                        Mistake{"on * late 200m", "not \"200m\""},
                        Mistake{"on * late 200 ms", "not \"200\""},
                        Mistake{"on * late 86401s", "at most one day"},
                        Mistake{"on * late 99999999999999999999s", "at most one day"},
                        Mistake{"on * split fast", "for example: split 1ms"},
                        Mistake{"on * before hello",
                                "before needs a quoted text, not \"hello\"; for "
                                "example: before \"boot: hello\""},
                        Mistake{"on * after", "after needs a quoted text, but the line ends"},
                        Mistake{"on * inside", "inside needs a quoted text, but the line ends"},
                        Mistake{"on * answer OK", "answer needs a quoted text"},
                        Mistake{"on * hangup 5", "the line should end before \"5\""},
                        Mistake{"on * hangup after",
                                "hangup needs an integer from 0 up, but the line ends; "
                                "for example: hangup after 5"},
                        Mistake{"on * hangup after x", "not \"x\""},
                        Mistake{"on * flood 0", "flood needs an integer from 1 up, not \"0\""},
                        Mistake{"on * flood many", "not \"many\"; for example: flood 1000"},
                        Mistake{"on * flood 18446744073709551616", "flood needs an integer"},
                        Mistake{"on * deaf 5s", "the line should end before \"5s\""},
                        Mistake{"on * deaff", "not \"deaff\"; write one of: silent, late"},
                        Mistake{"on * deaf times 0",
                                "times needs an integer from 1 up, not \"0\""}));

INSTANTIATE_TEST_SUITE_P(
        Ending, Mistakes,
        testing::Values(Mistake{"on * error times",
                                "times needs an integer from 1 up, but the line ends; "
                                "for example: times 3"},
                        Mistake{"on * error times 0",
                                "times needs an integer from 1 up, not \"0\""},
                        Mistake{"on * error times x", "not \"x\""},
                        Mistake{"on * error late 1s",
                                "the line should end before \"late\"; only times and a "
                                "count may follow the effect. Write another fault"},
                        Mistake{"on * garble some", "the line should end before \"some\""},
                        Mistake{"on * error times 1 2", "the line should end before \"2\""}));

INSTANTIATE_TEST_SUITE_P(
        Quotes, Mistakes,
        testing::Values(
                Mistake{R"(on * answer "x)", "a quoted text does not end; close it with \""},
                Mistake{R"(on * answer "x\")", "a quoted text does not end"},
                Mistake{"on * answer \"", "a quoted text does not end"},
                Mistake{R"(on * answer "\q")", R"(unknown escape in "\\q"; write one of \r \n)"},
                Mistake{R"(on * answer "\x4")", "unknown escape"},
                Mistake{R"(on * answer "\xzz")", "unknown escape"},
                Mistake{R"(on * answer "a"b)", "put a blank behind the quoted text \"a\""},
                Mistake{R"(on a"b error)", "must be quoted"},
                Mistake{R"(on a\b error)", "must be quoted"},
                Mistake{"on a\0b error"s, "must be quoted"}));

}  // namespace
}  // namespace cover
