#include "tests/e2e/Programs.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

namespace e2e {

namespace {

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string makeFolder() {
    char path[] = "/tmp/bivista-e2e-XXXXXX";
    if (mkdtemp(path) == nullptr) std::abort();
    return path;
}

void redirect(const std::string& path, int fd) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (file < 0 || dup2(file, fd) < 0) _exit(126);
    close(file);
}

std::string nextName(const std::string& folder) {
    static int number = 0;
    return folder + "/output" + std::to_string(number++);
}

}  // namespace

std::string bin(const std::string& name) {
    return std::string(BIVISTA_BIN_DIR) + "/" + name;
}

size_t count(const std::string& text, const std::string& part) {
    size_t found = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++found;
    }
    return found;
}

std::string JournalEntry::deed() const {
    if (kind == "tty-rx") return bytes;
    if (kind == "node-write") return path.substr(path.rfind('/') + 1) + "=" + bytes;
    return "";
}

Program::Program(const std::vector<std::string>& command, const std::string& folder)
    : mOut(nextName(folder)), mErr(nextName(folder)) {
    std::vector<char*> arguments;
    for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    mPid = fork();
    if (mPid != 0) return;
    redirect("/dev/null", STDIN_FILENO);
    redirect(mOut, STDOUT_FILENO);
    redirect(mErr, STDERR_FILENO);
    execv(arguments[0], arguments.data());
    _exit(127);
}

Program::~Program() {
    if (!isRunning()) return;
    signal(SIGTERM);
    for (int i = 0; i < 100 && isRunning(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    if (!isRunning()) return;
    signal(SIGCONT);
    signal(SIGKILL);
    wait();
}

bool Program::isRunning() {
    if (mPid < 0) return false;
    int status = 0;
    if (waitpid(mPid, &status, WNOHANG) == 0) return true;
    mStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    mPid = -1;
    return false;
}

std::string Program::out() const {
    return readFile(mOut);
}

std::string Program::err() const {
    return readFile(mErr);
}

void Program::signal(int number) const {
    kill(mPid, number);
}

Outcome Program::wait() {
    while (isRunning()) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    return {mStatus, out(), err()};
}

ProgramsTest::ProgramsTest() : folder(makeFolder()) {
    setenv("HIDL_SOCKET_DIR", (folder + "/registry").c_str(), 1);
    std::filesystem::create_directory(folder + "/registry");
}

ProgramsTest::~ProgramsTest() {
    if (HasFailure() && phone != nullptr) std::fprintf(stderr, "%s\n", log().c_str());
    phone = nullptr;
    std::filesystem::remove_all(folder);
}

Outcome ProgramsTest::run(const std::vector<std::string>& command) const {
    return Program(command, folder).wait();
}

Outcome ProgramsTest::call(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {bin("bivistactl"), "call"});
    return run(arguments);
}

void ProgramsTest::ctl(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {bin("bivista-emulator"), "ctl"});
    const Outcome outcome = run(arguments);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
}

void ProgramsTest::startPhone(const std::vector<std::string>& options,
                              const std::vector<std::string>& program) {
    std::vector<std::string> command = {bin("bivista-emulator"), "run", "--journal",
                                        folder + "/journal.jsonl"};
    command.insert(command.end(), options.begin(), options.end());
    command.push_back("--");
    command.insert(command.end(), program.begin(), program.end());
    phone = std::make_unique<Program>(command, folder);
    await([this] { return call({"getBV2Connect"}).status == 0; });
    if (std::find(options.begin(), options.end(), "--no-cover") == options.end()) awaitCover();
}

bool ProgramsTest::isCoverReady() const {
    return call({"getBV2Connect"}).out.find("true") != std::string::npos &&
           call({"sendAtCommand", "AT", "null"}).status == 0;
}

void ProgramsTest::awaitCover() const {
    await([this] { return isCoverReady(); });
}

void ProgramsTest::awaitNoCover() const {
    await([this] {
        return call({"getBV2Connect"}).out.find("false") != std::string::npos &&
               call({"sendAtCommand", "AT", "null"}).status == 1;
    });
}

void ProgramsTest::awaitAttachDone() const {
    // The last of the notify thread, and the last of the thread that captures the cover's log.
    awaitLog("status = ");
    await([this] { return count(journal(), "AT%LOGSAVE=3") > 0; });
}

pid_t ProgramsTest::servicePid() const {
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::ifstream file(entry.path() / "cmdline");
        std::string command;
        if (!std::getline(file, command, '\0') || command != bin(kService)) continue;
        // Only the service of this test: its environment names the registry.
        if (readFile(entry.path() / "environ").find(folder) == std::string::npos) continue;
        return std::stoi(entry.path().filename());
    }
    return -1;
}

std::string ProgramsTest::journal() const {
    return readFile(folder + "/journal.jsonl");
}

std::vector<JournalEntry> ProgramsTest::entries() const {
    std::vector<JournalEntry> entries;
    std::istringstream lines(journal());
    for (std::string line; std::getline(lines, line);) {
        const nlohmann::json entry = nlohmann::json::parse(line, nullptr, false);
        // The last line may be half written.
        if (entry.is_discarded()) break;
        entries.push_back({entry.at("kind"), entry.value("path", ""), entry.value("bytes", ""),
                           entry.value("note", "")});
    }
    return entries;
}

void ProgramsTest::await(const std::function<bool()>& condition) {
    while (!condition()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

void ProgramsTest::awaitLog(const std::string& text, size_t times) const {
    await([&] { return count(log(), text) >= times; });
}

}  // namespace e2e
