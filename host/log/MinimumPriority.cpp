// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// liblog on a phone writes every priority; Debian's drops debug messages by default.

#include <android/log.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "host/log/StandardError.h"

namespace {

struct Level {
    const char* name;
    int priority;
};

constexpr Level kLevels[] = {
        {"verbose", ANDROID_LOG_VERBOSE}, {"debug", ANDROID_LOG_DEBUG},
        {"info", ANDROID_LOG_INFO},       {"warn", ANDROID_LOG_WARN},
        {"error", ANDROID_LOG_ERROR},     {"silent", ANDROID_LOG_SILENT},
};

int priorityOf(const char* name) {
    for (const Level& level : kLevels) {
        if (strcmp(name, level.name) == 0) return level.priority;
    }
    fprintf(stderr,
            "HOST_LOG_LEVEL is \"%s\"; it may be verbose, debug, info, warn, error or silent. "
            "Taking verbose.\n",
            name);
    return ANDROID_LOG_VERBOSE;
}

}  // namespace

// Runs when the program is loaded, before any constructor of the program can log.
extern "C" __attribute__((constructor(101))) void hostLogMinimumPriority() {
    const char* name = getenv("HOST_LOG_LEVEL");
    bool unset = name == nullptr || *name == '\0';
    __android_log_set_minimum_priority(unset ? ANDROID_LOG_VERBOSE : priorityOf(name));
    __android_log_set_logger(hostLogStandardError);
}
