#include "tests/tools/Cli.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
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

Process::Process(const std::vector<std::string>& command, const std::string& errors, int output) {
    std::vector<char*> words;
    words.reserve(command.size() + 1);
    for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);

    int ends[2];
    EXPECT_EQ(0, pipe2(ends, O_CLOEXEC));
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output < 0 ? ends[1] : output, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0600);
    EXPECT_EQ(0, posix_spawn(&mPid, words[0], &actions, nullptr, words.data(), environ));
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    mOutput = fdopen(ends[0], "r");
}

Process::~Process() {
    if (mPid > 0) {
        signal(SIGKILL);
        wait();
    }
    fclose(mOutput);
}

std::string Process::line() {
    char* text = nullptr;
    size_t size = 0;
    ssize_t length = getline(&text, &size, mOutput);
    std::string line(text, length > 0 ? static_cast<size_t>(length) : 0);
    free(text);
    if (line.ends_with('\n')) line.pop_back();
    return line;
}

std::string Process::rest() {
    std::string text;
    char buffer[4096];
    while (size_t count = fread(buffer, 1, sizeof(buffer), mOutput)) text.append(buffer, count);
    return text;
}

int Process::wait() {
    int status = 0;
    EXPECT_EQ(mPid, waitpid(mPid, &status, 0));
    mPid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void Process::signal(int number) {
    kill(mPid, number);
}

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
    mService = std::make_unique<Process>(command, mFolder + "/service-errors");
    ASSERT_EQ("ready", mService->line());
}

void CliTest::killService() {
    mService->signal(SIGKILL);
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
    return std::make_unique<Process>(command, errors, output);
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
