// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <cutils/trace.h>

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <string>

uint64_t atrace_enabled_tags = UINT64_MAX;

namespace {

constexpr const char* kVariable = "HOST_TRACE_FILE";

pthread_once_t sOnce = PTHREAD_ONCE_INIT;
// Open for good: threads trace until the process is gone.
int sFile = -1;

// One write, so that the lines of several threads and programs do not mix.
void writeLine(const std::string& line) {
    (void)!write(sFile, line.data(), line.size());
}

// In quotes; what JSON does not take as it is becomes "?".
std::string quoted(const char* text) {
    std::string out = "\"";
    for (; *text != '\0'; ++text) {
        const bool isPlain = *text >= 0x20 && *text <= 0x7E && *text != '"' && *text != '\\';
        out += isPlain ? *text : '?';
    }
    return out + '"';
}

std::string members(const char* phase) {
    return std::string(R"({"ph":")") + phase + R"(","pid":)" + std::to_string(getpid()) +
           R"(,"tid":)" + std::to_string(gettid());
}

void writeName(const char* what, const char* name) {
    writeLine(members("M") + R"(,"name":")" + what + R"(","args":{"name":)" + quoted(name) +
              "}},\n");
}

// That of the machine's clock, as in the emulator's journal.
std::string timeMember() {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return R"(,"ts":)" + std::to_string(now.tv_sec * 1'000'000 + now.tv_nsec / 1'000);
}

void open() {
    const char* const path = getenv(kVariable);
    uint64_t tags = 0;
    if (path != nullptr && *path != '\0') {
        sFile = ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        if (sFile < 0) {
            fprintf(stderr, "%s: cannot open %s: %s\n", kVariable, path, strerror(errno));
        } else {
            tags = UINT64_MAX;
            struct stat file = {};
            // The format's list needs no end.
            if (fstat(sFile, &file) == 0 && file.st_size == 0) writeLine("[\n");
            writeName("process_name", program_invocation_short_name);
        }
    }
    __atomic_store_n(&atrace_enabled_tags, tags, __ATOMIC_RELEASE);
}

void nameThread() {
    static thread_local bool sIsNamed = false;
    if (sIsNamed) return;
    sIsNamed = true;
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof(name));
    writeName("thread_name", name);
}

}  // namespace

void atrace_init() {
    pthread_once(&sOnce, open);
}

void atrace_begin_body(const char* name) {
    nameThread();
    writeLine(members("B") + timeMember() + R"(,"name":)" + quoted(name) + "},\n");
}

void atrace_end_body() {
    writeLine(members("E") + timeMember() + "},\n");
}
