#include "diagnostics/ThreadList.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include "kernel/base/Descriptor.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr char kTasks[] = "/proc/self/task";

// Its name and a newline, as the kernel writes it; empty when the thread has ended.
std::string readName(const char* tid) {
    const std::string path = std::string(kTasks) + '/' + tid + "/comm";
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    char name[64];
    const ssize_t count = file.isOpen() ? read(file.get(), name, sizeof(name)) : -1;
    return count > 0 ? std::string(name, static_cast<size_t>(count)) : "";
}

}  // namespace

std::vector<ThreadEntry> listThreads() {
    std::vector<ThreadEntry> threads;
    const std::unique_ptr<DIR, int (*)(DIR*)> tasks(opendir(kTasks), closedir);
    if (tasks == nullptr) return threads;
    while (const dirent* const entry = readdir(tasks.get())) {
        const int tid = atoi(entry->d_name);
        std::string name = tid > 0 ? readName(entry->d_name) : "";
        if (name.empty()) continue;
        name.pop_back();
        threads.push_back({tid, name});
    }
    std::sort(threads.begin(), threads.end(),
              [](const ThreadEntry& a, const ThreadEntry& b) { return a.tid < b.tid; });
    return threads;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
