// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The two commands of the project refuse what they do not understand, before they do anything.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/e2e/Programs.h"

namespace e2e {
namespace {

struct Mistake {
    const char* name;
    std::vector<std::string> command;
    const char* error;
};
void PrintTo(const Mistake& mistake, std::ostream* out) {
    *out << mistake.name;
}

class ScriptsTest : public ProgramsTest, public testing::WithParamInterface<Mistake> {};

TEST_P(ScriptsTest, RefuseWrongArguments) {
    std::vector<std::string> command = GetParam().command;
    command[0] = std::string(BIVISTA_SOURCE_DIR) + "/" + command[0];
    const Outcome outcome = run(command);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "") << "nothing was installed or built";
    EXPECT_THAT(outcome.err, testing::StartsWith(std::string("error: ") + GetParam().error));
    EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << "one line";
}

INSTANTIATE_TEST_SUITE_P(
        Commands, ScriptsTest,
        testing::Values(
                Mistake{"RunUnknown",
                        {"run.sh", "--turbo"},
                        "unknown argument '--turbo'; see ./run.sh --help\n"},
                Mistake{"RunTooMany",
                        {"run.sh", "--tour", "twice"},
                        "unknown argument 'twice'; see ./run.sh --help\n"},
                Mistake{"TestUnknown",
                        {"test.sh", "--fast"},
                        "unknown argument '--fast'; see ./test.sh --help\n"},
                Mistake{"TestOnlyWhat", {"test.sh", "--only"}, "--only needs one of: style "},
                Mistake{"TestNoSuchStep",
                        {"test.sh", "--only", "msan"},
                        "no step 'msan'; the steps are: style "}),
        [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace e2e
