// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Commands for people that print something print the same as JSON.
#include <gmock/gmock.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/tools/Cli.h"

using testing::StartsWith;

namespace {

struct Printing {
    const char* name;
    std::vector<std::string> words;
    // The same through "call".
    std::vector<std::string> call;
};

void PrintTo(const Printing& printing, std::ostream* out) {
    *out << printing.name;
}

const Printing kPrinting[] = {
        {"Cutout", {"cutout"}, {"getCoverDisplayCutout"}},
        {"SubInfo", {"sub", "info"}, {"getSubDisplayInfo"}},
        {"SubState", {"sub", "state"}, {"getSubDisplayPowerState"}},
        {"TouchFwver", {"touch", "fwver"}, {"getTouchFirmwareVersion"}},
        {"TouchGpio", {"touch", "gpio"}, {"getGpiopin"}},
        {"TouchSelftest", {"touch", "selftest"}, {"getSelfTest"}},
        {"TouchLpwgSelftest", {"touch", "lpwg-selftest"}, {"getLPWGSelfTest"}},
        {"FirmwareVersion", {"firmware", "version"}, {"getFirmwareVersion"}},
        {"FirmwareFile", {"firmware", "file"}, {"getFirmwareFile"}},
        {"At", {"at", "AT%SWV"}, {"sendAtCommand", "AT%SWV", "null"}},
};

class AsJsonTest : public CliTest, public testing::WithParamInterface<Printing> {
  protected:
    Result runAsJson() {
        std::vector<std::string> words = GetParam().words;
        words.push_back("--json");
        return run(words);
    }
    Result runCall() {
        std::vector<std::string> words = GetParam().call;
        words.insert(words.begin(), "call");
        return run(words);
    }
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Commands, AsJsonTest, testing::ValuesIn(kPrinting),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_P(AsJsonTest, IsWhatCallPrints) {
    givenService({"--text", hex("v\x1b\xff\"\nw")});
    const Result result = runAsJson();
    EXPECT_EQ(0, result.code);
    EXPECT_EQ("", result.errors);
    EXPECT_THAT(result.output, StartsWith("{\"method\":\"" + GetParam().call[0] +
                                          "\",\"status\":\"OK\",\"value\":"));
    EXPECT_EQ(runCall().output, result.output);
}

TEST_P(AsJsonTest, FailIsPrintedAndToldToPeopleToo) {
    givenService({"--fail", "--text", hex("half")});
    const Result result = runAsJson();
    EXPECT_EQ(1, result.code);
    EXPECT_EQ(runCall().output, result.output);
    EXPECT_THAT(result.output,
                StartsWith("{\"method\":\"" + GetParam().call[0] + "\",\"status\":\"FAIL\""));
    EXPECT_THAT(runAsJson().errors, StartsWith("bivistactl: FAIL: "));
}

TEST_P(AsJsonTest, WithoutAServicePrintsNothing) {
    const Result result = runAsJson();
    EXPECT_EQ(3, result.code);
    EXPECT_EQ("", result.output);
}
