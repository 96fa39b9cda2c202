// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <fstream>

#include "tests/tools/Cli.h"

using testing::HasSubstr;
using Json = nlohmann::ordered_json;

namespace {

class DumpTest : public CliTest {};

}  // namespace

TEST_F(DumpTest, PrintsWhatTheServiceWrites) {
    givenService({"--text", hex("a\n\xff")});
    Result result = run({"dump"});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ("a\n\xff", result.output);
    EXPECT_EQ("", result.errors);
    EXPECT_EQ(Json({{"method", "debug"}, {"args", Json::array()}}), nextCall());
}

TEST_F(DumpTest, PassesItsOptionsOn) {
    givenService();
    EXPECT_EQ(0, run({"dump", "--reset", "--json"}).code);
    EXPECT_EQ(Json({{"method", "debug"}, {"args", {"--json", "--reset"}}}), nextCall());
}

TEST_F(DumpTest, PassesWhatItAsksOfTheHistoryOn) {
    givenService();
    EXPECT_EQ(0, run({"dump", "--events", "--json"}).code);
    EXPECT_EQ(Json({{"method", "debug"}, {"args", {"--json", "--events"}}}), nextCall());
    EXPECT_EQ(0, run({"dump", "--since", "17"}).code);
    EXPECT_EQ(Json({{"method", "debug"}, {"args", {"--since", "17"}}}), nextCall());
}

TEST_F(DumpTest, TakesNoBadNumber) {
    givenService();
    for (const char* const wrong : {"x", "", "-1", "1 ", "4294967296"}) {
        const Result result = run({"dump", "--since", wrong});
        EXPECT_EQ(2, result.code) << wrong;
        EXPECT_THAT(result.errors, HasSubstr("is not an integer from 0 to 4294967295"));
    }
    EXPECT_EQ(2, run({"dump", "--since"}).code);
}

// The counters would be forgotten, and nobody would have read them.
TEST_F(DumpTest, ResetsNothingWithTheHistory) {
    givenService();
    EXPECT_EQ(2, run({"dump", "--events", "--reset"}).code);
    EXPECT_EQ(2, run({"dump", "--since", "0", "--reset"}).code);
}

TEST_F(DumpTest, OfAServiceThatHasNoneEndsWithOne) {
    givenService({"--text", ""});
    Result result = run({"dump", "--json"});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("", result.output);
    EXPECT_THAT(result.errors, HasSubstr("no dump"));
}

TEST_F(DumpTest, ThatIsTooLongEndsWithOneAndHoldsNobodyUp) {
    const std::string file = mFolder + "/long";
    std::ofstream(file) << std::string(3 << 20, 'x');
    givenService({"--dump-file", file});
    Result result = run({"dump"});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("", result.output);
    EXPECT_EQ("bivistactl: the service's debug dump is longer than 1 MiB, and not read\n",
              result.errors);
    EXPECT_EQ(0, run({"call", "getBV2Connect"}).code) << "the service goes on";
}

TEST_F(DumpTest, ThatHasNoEndEndsWithOne) {
    givenService({"--keep-dump"});
    Result result = run({"dump"});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("", result.output);
    EXPECT_EQ("bivistactl: the service began a dump and does not end it\n", result.errors);
}

TEST_F(DumpTest, OfAServiceThatDiesEndsWithThree) {
    givenService({"--exit-in", "debug"});
    EXPECT_EQ(3, run({"dump"}).code);
}

TEST_F(DumpTest, WithoutAServiceEndsWithThree) {
    Result result = run({"dump"});
    EXPECT_EQ(3, result.code);
    EXPECT_EQ("", result.output);
    EXPECT_THAT(result.errors, HasSubstr("Start the service"));
}

TEST_F(DumpTest, TakesNothingElse) {
    expectWrongUsage({{"dump", "now"}, "now"});
}
