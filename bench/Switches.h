// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// How often a process wakes.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace bench {

// Voluntary context switches of all its threads so far.
inline long switchesOf(pid_t process) {
    long sum = 0;
    const std::string tasks = "/proc/" + std::to_string(process) + "/task";
    for (const auto& task : std::filesystem::directory_iterator(tasks)) {
        std::ifstream file(task.path() / "status");
        for (std::string word; file >> word;) {
            if (word != "voluntary_ctxt_switches:") continue;
            long value = 0;
            file >> value;
            sum += value;
        }
    }
    return sum;
}

}  // namespace bench
