// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/tools/Cli.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <signal.h>
#include <stdlib.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/tools/Terminal.h"

namespace {

std::string makeFolder() {
    char name[] = "/tmp/bivistactl-XXXXXX";
    return mkdtemp(name);
}

}  // namespace

CliTest::CliTest() : mFolder(makeFolder()) {
    setenv("HIDL_SOCKET_DIR", (mFolder + "/hidl").c_str(), 1);
    // A terminal without colours.
    setenv("TERM", "dumb", 1);
}

CliTest::~CliTest() {
    mService.reset();
    std::filesystem::remove_all(mFolder);
}

void CliTest::givenService(const std::vector<std::string>& options) {
    std::vector<std::string> command = {FAKE_SERVICE};
    command.insert(command.end(), options.begin(), options.end());
    // Its name is to be free.
    mService.reset();
    mService = std::make_unique<Process>(command);
    ASSERT_EQ("ready", mService->line());
}

void CliTest::killService() {
    mService->kill(SIGKILL);
    mService->wait();
    mService.reset();
}

std::unique_ptr<Process> CliTest::start(const std::vector<std::string>& arguments, int output) {
    return startWithErrors(errorFile(), arguments, output);
}

std::unique_ptr<Process> CliTest::startWithErrors(const std::string& errors,
                                                  const std::vector<std::string>& arguments,
                                                  int output) {
    std::vector<std::string> command = {BIVISTACTL};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const int file = open(errors.c_str(),
                          O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC | O_NOCTTY, 0600);
    EXPECT_GE(file, 0) << errors;
    auto process = std::make_unique<Process>(
            command, support::ProcessOptions{.standardOutput = output, .standardError = file});
    close(file);
    return process;
}

Result CliTest::run(const std::vector<std::string>& arguments, int output) {
    auto process = start(arguments, output);
    std::string text = process->rest();
    int code = process->wait();
    return {code, text, errors()};
}

Result CliTest::runOnTerminal(const std::vector<std::string>& arguments) {
    Terminal terminal;
    auto process = start(arguments, terminal.writer());
    terminal.closeWriter();
    std::string text = terminal.rest();
    int code = process->wait();
    return {code, text, errors()};
}

std::string CliTest::errors() const {
    std::stringstream text;
    text << std::ifstream(errorFile()).rdbuf();
    return text.str();
}

void CliTest::expectWrongUsage(const Mistake& mistake) {
    Result result = run(mistake.words);
    EXPECT_EQ(2, result.code) << testing::PrintToString(mistake.words);
    EXPECT_EQ("", result.output);
    EXPECT_THAT(result.errors, testing::HasSubstr(mistake.message));
    EXPECT_THAT(result.errors, testing::MatchesRegex("bivistactl: [^\n]*--help[^\n]*\n"));
}

nlohmann::ordered_json CliTest::nextCall() {
    return nlohmann::ordered_json::parse(mService->line());
}

std::string hex(const std::string& bytes) {
    std::string text;
    for (unsigned char byte : bytes) {
        char digits[3];
        snprintf(digits, sizeof(digits), "%02x", byte);
        text += digits;
    }
    return text;
}
