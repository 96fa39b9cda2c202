// The threads of this process, as the kernel lists them.
#pragma once

#include <string>
#include <vector>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

struct ThreadEntry {
    int tid;
    std::string name;
};

// By thread id; without those that end meanwhile. Empty when /proc cannot be read. Any thread.
std::vector<ThreadEntry> listThreads();

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
