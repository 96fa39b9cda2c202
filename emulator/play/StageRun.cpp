// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/StageRun.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cli/Beside.h"
#include "emulator/phone/Error.h"
#include "emulator/play/StageProgram.h"

namespace play {

using android::base::unique_fd;

namespace {

constexpr size_t kLongestOutput = 1 << 20;
constexpr Milliseconds kSlice(50);

unique_fd makeOutput() {
    unique_fd file(memfd_create("output", MFD_CLOEXEC));
    if (!file.ok()) phone::throwErrno("cannot keep a program's output");
    return file;
}

// It is held in memory.
void requireBounded(const unique_fd& output) {
    constexpr off_t kMost = 256 << 20;
    struct stat status = {};
    if (fstat(output.get(), &status) != 0 || status.st_size <= kMost) return;
    throw Gone("it writes more than 256 MiB");
}

std::string contentOf(const unique_fd& file) {
    std::string text(kLongestOutput, '\0');
    const ssize_t count = pread(file.get(), text.data(), text.size(), 0);
    text.resize(count > 0 ? static_cast<size_t>(count) : 0);
    return text;
}

}  // namespace

std::string forPeople(std::string text) {
    constexpr size_t kLongestTold = 4000;
    if (text.ends_with('\n')) text.pop_back();
    if (text.size() <= kLongestTold) return text;
    return text.substr(0, kLongestTold) + "... (" + std::to_string(text.size()) + " bytes)";
}

std::optional<Outcome> runProgram(Stage& stage, std::vector<std::string> words, Milliseconds limit,
                                  const std::string& folder) {
    const std::string beside = cli::findBeside(words[0]);
    if (!beside.empty()) words[0] = beside;
    const auto end = std::chrono::steady_clock::now() + limit;
    const unique_fd out = makeOutput();
    const unique_fd err = makeOutput();
    const unique_fd in(open("/dev/null", O_RDONLY | O_CLOEXEC));
    StageProgram program(words, {in.get(), out.get(), err.get()}, folder);
    std::optional<int> status;
    while (!(status = program.wait(kSlice))) {
        if (std::chrono::steady_clock::now() >= end) return std::nullopt;
        requireBounded(out);
        requireBounded(err);
        stage.pull(Milliseconds(0));
    }
    const int exitStatus = WIFSIGNALED(*status) ? 128 + WTERMSIG(*status) : WEXITSTATUS(*status);
    return Outcome{exitStatus, contentOf(out), contentOf(err)};
}

Outcome waitForService(Stage& stage, const std::string& condition, Milliseconds limit) {
    // Longer than it waits itself, unless the service is stopped.
    constexpr Milliseconds kMore(10'000);
    char seconds[32];
    snprintf(seconds, sizeof(seconds), "%.3f", std::chrono::duration<double>(limit).count());
    const auto outcome = runProgram(stage, {"bivistactl", "wait", condition, "--timeout", seconds},
                                    limit + kMore);
    if (!outcome) return {1, "", "the service does not answer"};
    constexpr std::string_view kState = "The last state: ";
    const std::string why = forPeople(outcome->err);
    const size_t state = why.find(kState);
    return {outcome->status, "",
            state == std::string::npos ? why : why.substr(state + kState.size())};
}

}  // namespace play
