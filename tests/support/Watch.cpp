// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/support/Watch.h"

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace support {

namespace {

bool isWatched(const char* path) {
    struct stat info = {};
    if (stat(path, &info) != 0) return false;
    char watch[64];
    snprintf(watch, sizeof(watch), " ino:%jx sdev:%x ", static_cast<uintmax_t>(info.st_ino),
             major(info.st_dev) << 20 | minor(info.st_dev));
    for (const auto& fd : std::filesystem::directory_iterator("/proc/self/fdinfo")) {
        // A descriptor that was closed meanwhile has no lines.
        std::ifstream lines(fd.path());
        for (std::string line; std::getline(lines, line);) {
            if (line.find(watch) != std::string::npos) return true;
        }
    }
    return false;
}

}  // namespace

void awaitWatch(const char* path) {
    while (!isWatched(path)) usleep(1000);
}

}  // namespace support
