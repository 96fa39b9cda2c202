// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Results of calls, and what they are to be.
#include <gtest/gtest.h>

#include "emulator/play/PlayerCalls.h"
#include "emulator/play/StageRun.h"

namespace play {
namespace {

Json json(const char* text) {
    return Json::parse(text);
}

Call callThatGives(const char* gives) {
    Call call;
    call.method = "get";
    call.arguments = json(R"([1,"a",null])");
    if (gives != nullptr) call.gives = json(gives);
    return call;
}

TEST(ResultTest, OnlyWhatIsNamedCounts) {
    const Json given = json(R"({"x":128,"y":8,"list":[1,2]})");
    EXPECT_TRUE(fits(json("null"), given));
    EXPECT_TRUE(fits(json(R"({"y":8})"), given));
    EXPECT_TRUE(fits(json(R"({"list":[null,2]})"), given));
    EXPECT_FALSE(fits(json(R"({"list":[1]})"), given));
    EXPECT_FALSE(fits(json(R"({"z":1})"), given));
    EXPECT_FALSE(fits(json(R"("x")"), given));
}

TEST(ResultTest, ResultsAreComparedAsFarAsTheyAreGiven) {
    const calls::Invoked result = {json(R"(["OK","text"])"), ""};
    for (const char* right :
         {"\"OK\"", R"(["OK"])", R"(["OK","text"])", R"([null,"text"])", "[]"}) {
        EXPECT_TRUE(isRight(callThatGives(right), result)) << right;
    }
    EXPECT_TRUE(isRight(callThatGives(nullptr), result));
    for (const char* wrong : {"\"FAIL\"", R"(["OK","other"])", R"(["OK","text",1])", "0"}) {
        EXPECT_FALSE(isRight(callThatGives(wrong), result)) << wrong;
    }
    EXPECT_FALSE(isRight(callThatGives(nullptr), {nullptr, "the service died"}));
}

TEST(ResultTest, TextsSayWhatWasToComeAndWhatCame) {
    EXPECT_EQ(tellExpected(callThatGives("\"OK\"")), R"(get(1,"a",null) gives ["OK"])");
    EXPECT_EQ(tellExpected(callThatGives(nullptr)), R"(get(1,"a",null) gives a result)");
    EXPECT_EQ(tellResult({json(R"(["FAIL"])"), ""}), R"(["FAIL"])");
    EXPECT_EQ(tellResult({nullptr, "the service died"}), "no result: the service died");
}

TEST(ResultTest, LongOutputIsCut) {
    EXPECT_EQ(forPeople("one\ntwo\n"), "one\ntwo");
    EXPECT_EQ(forPeople(std::string(4000, 'x')), std::string(4000, 'x'));
    EXPECT_EQ(forPeople(std::string(4001, 'x')), std::string(4000, 'x') + "... (4001 bytes)");
}

}  // namespace
}  // namespace play
