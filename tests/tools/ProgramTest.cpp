// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gmock/gmock.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/tools/Cli.h"

using testing::HasSubstr;

namespace {

class ProgramTest : public CliTest {};

}  // namespace

TEST_F(ProgramTest, HelpHasExamplesForEveryCommand) {
    const std::vector<std::vector<std::string>> commands = {{},
                                                            {"status"},
                                                            {"wait"},
                                                            {"doctor"},
                                                            {"report"},
                                                            {"power"},
                                                            {"brightness"},
                                                            {"offset"},
                                                            {"colour"},
                                                            {"colour", "mode"},
                                                            {"colour", "rgb"},
                                                            {"colour", "tune"},
                                                            {"cutout"},
                                                            {"sub"},
                                                            {"sub", "on"},
                                                            {"sub", "off"},
                                                            {"sub", "brightness"},
                                                            {"sub", "info"},
                                                            {"sub", "state"},
                                                            {"sub", "show"},
                                                            {"sub", "text"},
                                                            {"sub", "test-pattern"},
                                                            {"sub", "clear"},
                                                            {"sub", "watch"},
                                                            {"touch"},
                                                            {"touch", "fwver"},
                                                            {"touch", "rawdata"},
                                                            {"touch", "delta"},
                                                            {"touch", "reset"},
                                                            {"touch", "gpio"},
                                                            {"touch", "selftest"},
                                                            {"touch", "lpwg-selftest"},
                                                            {"touch", "results"},
                                                            {"touch", "perf"},
                                                            {"touch", "upgrade"},
                                                            {"pen"},
                                                            {"pen", "aes"},
                                                            {"lpwg"},
                                                            {"lpwg", "status"},
                                                            {"firmware"},
                                                            {"firmware", "version"},
                                                            {"firmware", "check"},
                                                            {"firmware", "file"},
                                                            {"firmware", "upgrade"},
                                                            {"firmware", "cancel"},
                                                            {"firmware", "dload"},
                                                            {"firmware", "stm-dload"},
                                                            {"at"},
                                                            {"watch"},
                                                            {"call"}};
    for (std::vector<std::string> words : commands) {
        words.push_back("--help");
        Result result = run(words);
        EXPECT_EQ(0, result.code);
        EXPECT_EQ("", result.errors);
        EXPECT_THAT(result.output, HasSubstr("Examples:\n  bivistactl "));
    }
}

TEST_F(ProgramTest, WithoutACommandOrWithAnUnknownOneItIsWrongUsage) {
    for (const auto& words :
         std::vector<std::vector<std::string>>{{}, {"brew"}, {"--brew"}, {"status", "x"}}) {
        Result result = run(words);
        EXPECT_EQ(2, result.code);
        EXPECT_EQ("", result.output);
        EXPECT_THAT(result.errors, HasSubstr("--help"));
    }
}

TEST_F(ProgramTest, AWordThatNobodyKnowsGetsTheNearestOne) {
    for (const auto& [words, told] : std::vector<std::pair<std::vector<std::string>, std::string>>{
                 {{"powr"}, "command \"powr\": did you mean power? \"bivistactl --help\""},
                 {{"statsu", "power", "on"},
                  "command \"statsu\": did you mean status? \"bivistactl --help\""},
                 {{"sub", "shwo", "x"},
                  "command \"shwo\": did you mean show? \"bivistactl sub --help\""},
                 {{"coluor", "rgb"},
                  "command \"coluor\": did you mean colour? \"bivistactl --help\""},
                 {{"brew"}, "command \"brew\". \"bivistactl --help\""},
                 {{"watch", "pen"}, "command \"pen\". \"bivistactl watch --help\""},
                 {{"status", "--jsn"},
                  "option \"--jsn\": did you mean --json? \"bivistactl status --help\""},
                 {{"--colour=never", "status"},
                  "option \"--colour=never\": did you mean --color? \"bivistactl --help\""},
                 {{"at", "--brew"}, "option \"--brew\". \"bivistactl at --help\""}}) {
        const Result result = run(words);
        EXPECT_EQ(2, result.code);
        EXPECT_EQ("", result.output);
        EXPECT_EQ("bivistactl: there is no " + told + " lists them.\n", result.errors);
    }
    EXPECT_EQ(
            "bivistactl: there is no method \"setBrightnes\": did you mean setBrightness? "
            "\"bivistactl call --help\" lists them.\n",
            run({"call", "setBrightnes", "1"}).errors);
}

// They are numbers, and what stands after the dashes is no option.
TEST_F(ProgramTest, WhatOnlyLooksLikeAnOptionIsNone) {
    EXPECT_THAT(run({"offset", "-20", "-30"}).errors, HasSubstr("not expected: -30"));
    EXPECT_THAT(run({"status", "x"}).errors, HasSubstr("not expected: x"));
}

TEST_F(ProgramTest, WithoutAServiceItNamesTheDefaultFolder) {
    unsetenv("HIDL_SOCKET_DIR");
    setenv("XDG_RUNTIME_DIR", mFolder.c_str(), 1);
    const std::string folder = geteuid() == 0 ? "/run/hidl" : mFolder + "/hidl";
    const Result result = run({"call", "getBV2Connect"});
    if (result.code == 0) GTEST_SKIP() << "a service runs on this machine, in " << folder;
    EXPECT_EQ("bivistactl: no Bivista service answers in " + folder +
                      " (HIDL_SOCKET_DIR is not set). Start the service, or set HIDL_SOCKET_DIR to "
                      "the folder that it was started with.\n",
              result.errors);
}

TEST_F(ProgramTest, OutputThatCannotBeWrittenEndsWithFour) {
    givenService();
    int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    Result result = run({"call", "getBV2Connect"}, full);
    EXPECT_EQ(4, result.code);
    EXPECT_THAT(result.errors, HasSubstr("No space left on device"));
    close(full);
}

TEST_F(ProgramTest, ARegistryThatCannotBeUsedIsNoService) {
    setenv("HIDL_SOCKET_DIR", "/dev/null", 1);
    EXPECT_EQ(3, run({"status"}).code);
}
