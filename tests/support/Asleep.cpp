// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/support/Asleep.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include <unistd.h>

namespace support {

namespace {

const std::string kTasks = "/proc/self/task/";

// Empty when the thread has gone.
std::string read(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<pid_t> threadsOf(const std::string& name) {
    std::vector<pid_t> threads;
    for (const auto& task : std::filesystem::directory_iterator(kTasks)) {
        if (read(task.path() / "comm") != name + "\n") continue;
        threads.push_back(std::stoi(task.path().filename()));
    }
    return threads;
}

}  // namespace

bool isAsleep(pid_t thread) {
    const std::string text = read(kTasks + std::to_string(thread) + "/stat");
    const size_t name = text.rfind(')');
    return name != std::string::npos && text.compare(name, 3, ") S") == 0;
}

bool isAsleepIn(pid_t thread, long call) {
    return read(kTasks + std::to_string(thread) + "/syscall")
            .starts_with(std::to_string(call) + " ");
}

void awaitAsleep(const std::string& name) {
    const auto areAsleep = [&name] {
        const std::vector<pid_t> threads = threadsOf(name);
        return !threads.empty() && std::all_of(threads.begin(), threads.end(), isAsleep);
    };
    while (!areAsleep()) usleep(1000);
}

}  // namespace support
