// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Writes log messages to standard error as liblog's own logger does, line for line, with
// milliseconds. What stays the same for a second is made once: an AT exchange logs nine lines.

#include "host/log/StandardError.h"

#include <stdio.h>
#include <string.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <string_view>

namespace {

constexpr char kLetters[] = "??VDIWEF";

// The part of a line that tells when and where it was written. Its milliseconds alone change from
// line to line; the rest is made anew for a second, or after a fork.
struct Origin {
    time_t second = -1;
    pid_t process = -1;
    char text[64] = "";
    size_t size = 0;

    void update() {
        timespec now = {};
        // Not the coarse clock, which is 4 ms late: lines stand beside entries of a journal.
        clock_gettime(CLOCK_REALTIME, &now);
        const pid_t caller = getpid();
        if (now.tv_sec != second || caller != process) make(now.tv_sec, caller);
        const long ms = now.tv_nsec / 1'000'000;
        char* const digits = text + strlen("MM-DD HH:MM:SS.");
        digits[0] = static_cast<char>('0' + ms / 100);
        digits[1] = static_cast<char>('0' + ms / 10 % 10);
        digits[2] = static_cast<char>('0' + ms % 10);
    }

  private:
    void make(time_t now, pid_t caller) {
        second = now;
        process = caller;
        tm local = {};
        localtime_r(&second, &local);
        char stamp[32];
        strftime(stamp, sizeof(stamp), "%m-%d %H:%M:%S", &local);
        const int made = snprintf(text, sizeof(text), "%s.000 %5d %5d ", stamp, process, gettid());
        size = static_cast<size_t>(made);
    }
};

// The parts in one call, so that lines of several threads are never torn. An error of the log
// itself can be reported nowhere.
void write(const std::string_view (&parts)[5]) {
    char line[1280];  // liblog cuts messages at 1,023 characters
    size_t size = 0;
    for (const std::string_view part : parts) size += part.size();
    if (size <= sizeof(line)) {
        // Cheaper than to have the kernel gather them.
        char* end = line;
        for (const std::string_view part : parts) end = std::copy(part.begin(), part.end(), end);
        (void)!::write(STDERR_FILENO, line, size);
        return;
    }
    iovec places[std::size(parts)];
    for (size_t i = 0; i < std::size(parts); ++i) {
        places[i] = {const_cast<char*>(parts[i].data()), parts[i].size()};
    }
    (void)!writev(STDERR_FILENO, places, std::size(parts));
}

}  // namespace

void hostLogStandardError(const __android_logger_data* data, const char* message) {
    static thread_local Origin origin;
    origin.update();
    const bool known = data->priority >= 0 && data->priority <= ANDROID_LOG_FATAL;
    const char priority[] = {' ', known ? kLetters[data->priority] : '?', ' '};
    write({data->tag != nullptr ? data->tag : "nullptr",
           std::string_view(priority, sizeof(priority)), std::string_view(origin.text, origin.size),
           message, "\n"});
}
