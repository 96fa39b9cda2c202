// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/e2e/Programs.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

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

ProgramsTest::ProgramsTest() : folder(makeFolder()) {
    setenv("HIDL_SOCKET_DIR", (folder + "/registry").c_str(), 1);
    std::filesystem::create_directory(folder + "/registry");
}

ProgramsTest::~ProgramsTest() {
    if (HasFailure() && phone != nullptr) std::fprintf(stderr, "%s\n", log().c_str());
    if (phone != nullptr) {
        // It ends its program, which may write into the folder, before itself.
        phone->kill(SIGTERM);
        phone->wait();
    }
    std::filesystem::remove_all(folder);
}

Outcome ProgramsTest::run(const std::vector<std::string>& command) const {
    return Process(command).outcome();
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
    phone = std::make_unique<Process>(command);
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
        if (entry.contains("recording")) continue;
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
