// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/tools/SettingTest.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using Json = nlohmann::ordered_json;

void PrintTo(const Setting& setting, std::ostream* out) {
    *out << setting.name;
}

std::string nameOf(const testing::TestParamInfo<Setting>& info) {
    return info.param.name;
}

TEST_P(SettingTest, ReachesTheServiceAndPrintsNothing) {
    givenService();
    Result result = run(GetParam().words);
    EXPECT_EQ(0, result.code);
    EXPECT_EQ("", result.output);
    EXPECT_EQ(GetParam().onOk, result.errors);
    EXPECT_EQ(Json({{"method", GetParam().method}, {"args", Json::parse(GetParam().arguments)}}),
              nextCall());
}

TEST_P(SettingTest, AnAnswerOfFailEndsWithOneAndTellsWhatToDo) {
    givenService({"--fail"});
    Result result = run(GetParam().words);
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("", result.output);
    EXPECT_THAT(result.errors, StartsWith("bivistactl: FAIL: "));
    EXPECT_THAT(result.errors, HasSubstr(GetParam().onFail));
    EXPECT_THAT(result.errors, EndsWith(".\n"));
}

TEST_P(SettingTest, AsJsonTheAnswerIsPrintedAsCallDoes) {
    givenService();
    Result result = runAsJson();
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(answered("OK"), result.output);
    EXPECT_EQ(GetParam().onOk, result.errors);
    EXPECT_EQ(Json({{"method", GetParam().method}, {"args", Json::parse(GetParam().arguments)}}),
              nextCall());
}

TEST_P(SettingTest, AsJsonAnAnswerOfFailIsPrintedAndToldToPeopleToo) {
    givenService({"--fail"});
    Result result = runAsJson();
    EXPECT_EQ(1, result.code);
    EXPECT_EQ(answered("FAIL"), result.output);
    EXPECT_THAT(result.errors, StartsWith("bivistactl: FAIL: "));
    EXPECT_THAT(result.errors, HasSubstr(GetParam().onFail));
}

TEST_P(SettingTest, AServiceThatDiesInTheCallEndsWithThree) {
    givenService({"--exit-in", GetParam().method});
    Result result = run(GetParam().words);
    EXPECT_EQ(3, result.code);
    EXPECT_THAT(result.errors, HasSubstr("the service died during the call"));
}

TEST_P(SettingTest, WithoutAServiceItEndsWithThree) {
    Result result = run(GetParam().words);
    EXPECT_EQ(3, result.code);
    EXPECT_THAT(result.errors, HasSubstr("Start the service"));
    EXPECT_EQ("", runAsJson().output);
}
