// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "tests/tools/Cli.h"

using testing::AnyOf;
using testing::HasSubstr;
using testing::StartsWith;
namespace fs = std::filesystem;

namespace {

// Less than the longest picture file, which is read as a whole.
constexpr char kLimited[] = R"(ulimit -v 64000 && exec "$@")";

// Of a run with this limit.
struct Limit {
    char kind;  // as ulimit has it
    int value;
};

class OutOfMemoryTest : public CliTest {
  protected:
    Result runWithin(Limit limit, const std::vector<std::string>& words) {
        const std::string script = std::string("ulimit -") + limit.kind + " " +
                                   std::to_string(limit.value) + R"( && exec "$@")";
        std::vector<std::string> command = {"/bin/sh", "-c", script, "sh", BIVISTACTL};
        command.insert(command.end(), words.begin(), words.end());
        const support::Outcome outcome = Process(command).outcome();
        return {outcome.status, outcome.out, outcome.err};
    }

    std::string givenLongFile() const {
        std::string path = mFolder + "/long.png";
        std::ofstream file(path);
        fs::resize_file(path, size_t{64} << 20);
        return path;
    }
};

}  // namespace

TEST_F(OutOfMemoryTest, IsTheSameWithoutThreads) {
    givenService();
    const support::Outcome outcome =
            Process({WITHOUT_THREADS, BIVISTACTL, "power", "on"}).outcome();
    EXPECT_EQ("", outcome.out);
    EXPECT_EQ(4, outcome.status);
    EXPECT_EQ(
            "bivistactl: this program failed, not the service: Cannot start the thread of the HIDL "
            "sockets: Resource temporarily unavailable. \"bivistactl status\" tells what was done "
            "until then.\n",
            outcome.err);
}

TEST_F(OutOfMemoryTest, IsToldAndEndsWithFour) {
    const support::Outcome outcome =
            Process({"/bin/sh", "-c", kLimited, "sh", BIVISTACTL, "sub", "show", givenLongFile()})
                    .outcome();
    EXPECT_EQ("", outcome.out);
    EXPECT_EQ(4, outcome.status);
    EXPECT_THAT(outcome.err,
                StartsWith("bivistactl: this program failed, not the service: it ran out of "
                           "memory. \"bivistactl status\" tells what was done until then.\n"));
}

// Whatever fails first. Below some limits the program cannot even be loaded, and reports nothing.
TEST_F(OutOfMemoryTest, AnyLimitEndsWithFourOrIsEnough) {
    givenService();
    std::set<int> codes;
    int least = 16000;
    while (runWithin({'v', least}, {"--version"}).code != 0) least += 160;
    for (int kilobytes = least; kilobytes < least + 20000; kilobytes += 160) {
        for (const char* method : {"getBV2Connect", "getGpiopin"}) {
            const Result result = runWithin({'v', kilobytes}, {"call", method});
            codes.insert(result.code);
            EXPECT_THAT(result.code, AnyOf(0, 4)) << kilobytes << ": " << result.errors;
            if (result.code == 4) {
                // The transport's thread may have logged before.
                EXPECT_THAT(result.errors, HasSubstr("bivistactl: this program failed"));
            }
        }
    }
    EXPECT_EQ((std::set<int>{0, 4}), codes);
}

// With fewer than the least, which depends on what the test was started with, it cannot be loaded.
TEST_F(OutOfMemoryTest, WithoutDescriptorsItEndsWithFourToo) {
    givenService();
    int least = 4;
    while (runWithin({'n', least}, {"--version"}).code == 127) ++least;
    const std::vector<std::string> commands[] = {
            {"power", "on"},  {"status"},        {"doctor"}, {"dump"},
            {"watch", "sub"}, {"watch", "lpwg"}, {"session"}};
    for (const std::vector<std::string>& words : commands) {
        for (int descriptors = least; descriptors < least + 12; ++descriptors) {
            const Result result = runWithin({'n', descriptors}, words);
            EXPECT_EQ(4, result.code) << words[0] << " with " << descriptors;
            EXPECT_EQ("", result.output);
            EXPECT_EQ(
                    "bivistactl: this program cannot open 16 files: Too many open files. Allow "
                    "more: ulimit -n 64\n",
                    result.errors);
        }
        if (words[0] == "watch" || words[0] == "doctor") continue;
        EXPECT_EQ(0, runWithin({'n', 64}, words).code) << words[0];
    }
}
