// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <android/log.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/support/Process.h"

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

// What the probe writes to standard error when it runs with `environment`: arguments of env.
std::string logWith(std::vector<std::string> environment) {
    environment.insert(environment.begin(), "env");
    environment.emplace_back(PROBE);
    const support::Outcome outcome = support::Process(environment).outcome();
    EXPECT_EQ(0, outcome.status);
    return outcome.err;
}

struct LevelCase {
    const char* name;
    int linesWritten;
};

void PrintTo(const LevelCase& level, std::ostream* out) {
    *out << level.name;
}

class LevelTest : public testing::TestWithParam<LevelCase> {};

}  // namespace

TEST(MinimumPriorityTest, WritesEveryPriorityByDefault) {
    std::string log = logWith({"-u", "HOST_LOG_LEVEL"});
    EXPECT_THAT(log, HasSubstr("at verbose"));
    EXPECT_THAT(log, HasSubstr("at debug"));
    EXPECT_THAT(log, HasSubstr("at error"));
}

TEST(MinimumPriorityTest, AnEmptyLevelIsTheDefault) {
    std::string log = logWith({"HOST_LOG_LEVEL="});
    EXPECT_THAT(log, HasSubstr("at verbose"));
    EXPECT_THAT(log, Not(HasSubstr("HOST_LOG_LEVEL")));
}

TEST_P(LevelTest, WritesItsPriorityAndThoseAbove) {
    std::string log = logWith({std::string("HOST_LOG_LEVEL=") + GetParam().name});
    const char* lines[] = {"at error", "at warn", "at info", "at debug", "at verbose"};
    int written = 0;
    for (const char* line : lines) {
        SCOPED_TRACE(line);
        EXPECT_EQ(written < GetParam().linesWritten, log.find(line) != std::string::npos);
        ++written;
    }
}

INSTANTIATE_TEST_SUITE_P(All, LevelTest,
                         testing::Values(LevelCase{"verbose", 5}, LevelCase{"debug", 4},
                                         LevelCase{"info", 3}, LevelCase{"warn", 2},
                                         LevelCase{"error", 1}, LevelCase{"silent", 0}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(MinimumPriorityTest, AnUnknownLevelIsReportedInOneLineAndTakenAsVerbose) {
    std::string log = logWith({"HOST_LOG_LEVEL=loud"});
    EXPECT_THAT(log, StartsWith("HOST_LOG_LEVEL is \"loud\"; it may be verbose, debug, info, warn, "
                                "error or silent. Taking verbose.\n"));
    EXPECT_THAT(log, HasSubstr("at verbose"));
}

TEST(MinimumPriorityTest, NamesAreExact) {
    EXPECT_THAT(logWith({"HOST_LOG_LEVEL=Silent"}), StartsWith("HOST_LOG_LEVEL is \"Silent\""));
    EXPECT_THAT(logWith({"HOST_LOG_LEVEL=silent"}), IsEmpty());
}
