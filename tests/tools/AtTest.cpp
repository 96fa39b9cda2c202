// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gmock/gmock.h>

#include <unistd.h>
#include <nlohmann/json.hpp>

#include <string>

#include "tests/tools/Cli.h"

using namespace std::string_literals;
using testing::HasSubstr;
using Json = nlohmann::ordered_json;

namespace {

class AtTest : public CliTest {};

}  // namespace

TEST_F(AtTest, PrintsEachLineAsItIs) {
    givenService({"--lines", hex("LINE-KEY_1\n\n a\x1b\xff\n")});
    Result result = run({"at", "AT%SWV"});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ("LINE-KEY_1\n\n a\x1b\xff\n", result.output);
    EXPECT_EQ("", result.errors);
    EXPECT_EQ(Json::parse(R"({"method":"sendAtCommand","args":["AT%SWV","callback"]})"),
              nextCall());
}

TEST_F(AtTest, AnAnswerWithoutLinesPrintsNothing) {
    givenService({"--lines", "", "--text", ""});
    Result result = run({"at", "AT%BV=1"});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ("", result.output);
}

TEST_F(AtTest, AnAnswerThatCameOnlyAsAWholeIsPrinted) {
    givenService({"--lines", "", "--text", hex("one\ntwo")});
    EXPECT_EQ("one\ntwo\n", run({"at", "AT%SWV"}).output);
}

TEST_F(AtTest, FailEndsWithOneAndTellsWhereToLook) {
    givenService({"--lines", "", "--text", "", "--fail"});
    Result result = run({"at", "AT%NO"});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("", result.output);
    EXPECT_THAT(result.errors, HasSubstr("FAIL"));
    EXPECT_THAT(result.errors, HasSubstr("log"));
}

TEST_F(AtTest, TheLinesBeforeAFailureArePrinted) {
    givenService({"--lines", hex("half\n"), "--fail"});
    Result result = run({"at", "AT%SWV"});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("half\n", result.output);
}

TEST_F(AtTest, OnATerminalControlCharactersAreSpelled) {
    givenService({"--lines", hex("a\x1b[31m\r\xff\n")});
    Result result = runOnTerminal({"at", "AT%SWV"});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ("a<ESC>[31m<CR><0xff>\n", result.output);
}

TEST_F(AtTest, WithoutAServiceItEndsWithThree) {
    EXPECT_EQ(3, run({"at", "AT%SWV"}).code);
}

TEST_F(AtTest, AServiceThatDiesEndsWithThree) {
    givenService({"--exit-in", "sendAtCommand"});
    Result result = run({"at", "AT%SWV"});
    EXPECT_EQ(3, result.code);
    EXPECT_THAT(result.errors, HasSubstr("the service died during the call"));
}

TEST_F(AtTest, ATextThatTheServiceOrTheCoverWouldMisunderstandIsWrongUsage) {
    givenService();
    const std::string asItIs =
            "; \"bivistactl call sendAtCommand TEXT null\" sends a text as it is";
    for (const std::string text : {"", "A", "HELLO", " AT", "T%SWV"}) {
        expectWrongUsage({{"at", text}, "CMD: an AT command begins with AT" + asItIs + ". "});
        expectWrongUsage({{"at", "--json", text}, "CMD: an AT command begins with AT"});
    }
    for (const std::string text : {"AT\r", "AT%SWV\rAT%SWV", "AT\n", "\rAT"}) {
        if (text.starts_with("AT")) {
            expectWrongUsage({{"at", text},
                              "CMD: a carriage return or line feed inside makes two commands of "
                              "one" + asItIs +
                                      ". "});
        }
        EXPECT_EQ(2, run({"at", text}).code);
    }
    // None of them has reached the service.
    EXPECT_EQ(0, run({"at", "at%swv"}).code);
    EXPECT_EQ("at%swv", nextCall()["args"][0]);
}

TEST_F(AtTest, TheCallOfItsMethodSendsAnything) {
    givenService();
    for (const std::string text : {"", "HELLO", "AT%SWV\rAT%SWV", "AT\r\n"}) {
        EXPECT_EQ(0, run({"call", "sendAtCommand", text, "null"}).code);
        EXPECT_EQ(text, nextCall()["args"][0]);
    }
}

TEST_F(AtTest, WithoutACommandItIsWrongUsage) {
    Result result = run({"at"});
    EXPECT_EQ(2, result.code);
    EXPECT_THAT(result.errors, HasSubstr("CMD is required"));
    EXPECT_EQ(2, run({"at", "AT", "AT"}).code);
}

TEST_F(AtTest, OutputThatCannotBeWrittenEndsWithFour) {
    givenService();
    int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(4, run({"at", "AT%SWV"}, full).code);
    close(full);
}
