#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

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

TEST_F(DumpTest, OfAServiceThatHasNoneEndsWithOne) {
    givenService({"--text", ""});
    Result result = run({"dump", "--json"});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("", result.output);
    EXPECT_THAT(result.errors, HasSubstr("no dump"));
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
