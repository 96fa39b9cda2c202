#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/tools/Cli.h"

using testing::HasSubstr;

namespace {

class ProgramTest : public CliTest {};

}  // namespace

TEST_F(ProgramTest, HelpHasExamplesForEveryCommand) {
    const std::vector<std::vector<std::string>> commands = {{},
                                                            {"status"},
                                                            {"doctor"},
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

TEST_F(ProgramTest, HelpTellsTheExitStatus) {
    EXPECT_THAT(run({"--help"}).output, HasSubstr("3 no service"));
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
