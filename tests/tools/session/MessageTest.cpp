// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/session/Message.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

using namespace session;

namespace {

struct Wrong {
    std::string line;
    ErrorCode code;
    std::string id;
    std::string message;
};

void PrintTo(const Wrong& wrong, std::ostream* out) {
    *out << wrong.line;
}

class WrongLineTest : public testing::TestWithParam<Wrong> {};

// A request with this as its id.
Request withId(const std::string& id) {
    const Message message = readMessage(R"({"jsonrpc":"2.0","method":"m","id":)" + id + "}");
    return std::get<Request>(message.entries.at(0));
}

std::string refusalOf(const std::string& params, size_t required = 2) {
    try {
        arrange("m", {"a", "b"}, required, parseJson(params));
        return "";
    } catch (const RpcError& error) {
        EXPECT_EQ(INVALID_PARAMS, error.code);
        return error.what();
    }
}

}  // namespace

TEST_P(WrongLineTest, HasOneFault) {
    const Message message = readMessage(GetParam().line);
    EXPECT_FALSE(message.isBatch);
    ASSERT_EQ(1u, message.entries.size());
    const auto& malformed = std::get<Malformed>(message.entries[0]);
    EXPECT_EQ(GetParam().code, malformed.error.code);
    EXPECT_EQ(GetParam().id, malformed.id);
    EXPECT_EQ(GetParam().message, malformed.error.what());
}

const char kBadId[] = "invalid request: \"id\" is not a text, null, or a number of 64 bits";
const char kNoObject[] = "invalid request: a request is an object";
const char kNoVersion[] = "invalid request: \"jsonrpc\" is not \"2.0\"";
const char kNoMethod[] = "invalid request: \"method\" is not a text";
const char kNoParams[] = "invalid request: \"params\" is neither an array nor an object";
const char kTooDeep[] = "parse error: nested deeper than 32 levels";

INSTANTIATE_TEST_SUITE_P(
        Message, WrongLineTest,
        testing::Values(
                Wrong{"nonsense", PARSE_ERROR, "null", "parse error: no JSON in UTF-8 from byte 2"},
                Wrong{"{\"a\":", PARSE_ERROR, "null", "parse error: no JSON in UTF-8 from byte 6"},
                Wrong{"{} {}", PARSE_ERROR, "null", "parse error: no JSON in UTF-8 from byte 4"},
                Wrong{"\"\xff\"", PARSE_ERROR, "null", "parse error: no JSON in UTF-8 from byte 2"},
                Wrong{"\"\\udc80\"", PARSE_ERROR, "null",
                      "parse error: no JSON in UTF-8 from byte 7"},
                Wrong{"[1e999]", PARSE_ERROR, "null", "parse error: a number that is too large"},
                Wrong{std::string(1 << 20, '['), PARSE_ERROR, "null", kTooDeep},
                Wrong{"[]", INVALID_REQUEST, "null", "invalid request: an empty batch"},
                Wrong{"1", INVALID_REQUEST, "null", kNoObject},
                Wrong{"null", INVALID_REQUEST, "null", kNoObject},
                Wrong{"{}", INVALID_REQUEST, "null", kNoVersion},
                Wrong{R"({"jsonrpc":2.0,"id":5,"method":"m"})", INVALID_REQUEST, "5", kNoVersion},
                Wrong{R"({"jsonrpc":"2.0","id":"a"})", INVALID_REQUEST, "\"a\"", kNoMethod},
                Wrong{R"({"jsonrpc":"2.0","method":1})", INVALID_REQUEST, "null", kNoMethod},
                Wrong{R"({"jsonrpc":"2.0","id":1,"method":"m","params":3})", INVALID_REQUEST, "1",
                      kNoParams},
                Wrong{R"({"jsonrpc":"2.0","id":[],"method":"m"})", INVALID_REQUEST, "null", kBadId},
                Wrong{R"({"jsonrpc":"2.0","id":true,"method":"m"})", INVALID_REQUEST, "null",
                      kBadId},
                Wrong{R"({"jsonrpc":"2.0","id":18446744073709551616,"method":"m"})",
                      INVALID_REQUEST, "null", kBadId},
                Wrong{R"({"jsonrpc":"2.0","id":1e300,"method":"m"})", INVALID_REQUEST, "null",
                      kBadId}));

TEST(MessageTest, AnIdComesBackAsItWas) {
    for (const std::string id : {"0", "-1", "18446744073709551615", "-9223372036854775808", "1.5",
                                 "null", R"("")", R"("a\"\n")", "\"\u00e4\""}) {
        EXPECT_EQ(id, withId(id).id);
    }
}

TEST(MessageTest, ARequestWithoutIdIsANotification) {
    const Message message = readMessage(R"({"jsonrpc":"2.0","method":"m","more":1})");
    EXPECT_EQ(std::nullopt, std::get<Request>(message.entries.at(0)).id);
    EXPECT_EQ(Json::array(), std::get<Request>(message.entries.at(0)).params);
}

TEST(MessageTest, ABatchKeepsItsOrderAndItsFaults) {
    const Message message =
            readMessage(R"([{"jsonrpc":"2.0","method":"a"},1,{"jsonrpc":"2.0","method":"b"}])");
    EXPECT_TRUE(message.isBatch);
    ASSERT_EQ(3u, message.entries.size());
    EXPECT_EQ("a", std::get<Request>(message.entries[0]).method);
    EXPECT_EQ(kNoObject, std::string(std::get<Malformed>(message.entries[1]).error.what()));
    EXPECT_EQ("b", std::get<Request>(message.entries[2]).method);
}

TEST(MessageTest, ABatchIsAsLongAsItMayBeAndNoLonger) {
    const auto batch = [](size_t count) {
        std::string text = "[1";
        while (--count > 0) text += ",1";
        return readMessage(text + "]");
    };
    EXPECT_EQ(kMostInBatch, batch(kMostInBatch).entries.size());
    const Message longer = batch(kMostInBatch + 1);
    EXPECT_FALSE(longer.isBatch);
    EXPECT_STREQ("invalid request: a batch of more than 100 requests",
                 std::get<Malformed>(longer.entries.at(0)).error.what());
}

TEST(MessageTest, NestsAsDeepAsItMay) {
    const auto nested = [](int levels) {
        return std::string(static_cast<size_t>(levels), '[') +
               std::string(static_cast<size_t>(levels), ']');
    };
    EXPECT_TRUE(parseJson(nested(kMostDepth)).is_array());
    EXPECT_THROW(parseJson(nested(kMostDepth + 1)), RpcError);
    // Not within a text.
    const std::string text = "\\\"" + std::string(100, '[');
    EXPECT_EQ("\"" + std::string(100, '['), parseJson("[\"" + text + "\"]")[0]);
    EXPECT_THROW(parseJson("[\"\\\\\"," + nested(kMostDepth) + "]"), RpcError);
}

TEST(MessageTest, AnswersAreLines) {
    EXPECT_EQ(R"({"jsonrpc":"2.0","id":1,"result":{}})", resultLine("1", "{}"));
    EXPECT_EQ(R"({"jsonrpc":"2.0","id":null,"error":{"code":-32601,"message":"a\nb"}})",
              errorLine("null", {METHOD_NOT_FOUND, "a\nb"}));
    EXPECT_EQ(R"({"jsonrpc":"2.0","method":"at","params":{"line":"\udcff\n"}})",
              notificationLine("at", {{"line", "\xff\n"}}));
}

TEST(MessageTest, ParametersComeByPositionOrByName) {
    const std::vector<Json> both = {1, "x"};
    EXPECT_EQ(both, arrange("m", {"a", "b"}, 2, parseJson(R"([1,"x"])")));
    EXPECT_EQ(both, arrange("m", {"a", "b"}, 2, parseJson(R"({"b":"x","a":1})")));
    const std::vector<Json> first = {1, nullptr};
    EXPECT_EQ(first, arrange("m", {"a", "b"}, 1, parseJson("[1]")));
    EXPECT_EQ(first, arrange("m", {"a", "b"}, 1, parseJson(R"({"a":1})")));
}

TEST(MessageTest, ParametersThatDoNotFitAreRefused) {
    EXPECT_EQ("m takes 2 parameters (a, b), not 1", refusalOf("[1]"));
    EXPECT_EQ("m takes 2 parameters (a, b), not 3", refusalOf("[1,2,3]"));
    EXPECT_EQ("m lacks its parameter \"b\"", refusalOf(R"({"a":1})"));
    EXPECT_EQ("m lacks its parameter \"a\"", refusalOf("{}", 1));
    EXPECT_EQ("m has no parameter \"c\" (a, b)", refusalOf(R"({"a":1,"b":2,"c":3})"));
}
