// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Writes log messages to standard error as liblog's own logger does, line for line, but makes what
// stays the same for a second once: an AT exchange logs nine lines.

#include "host/log/StandardError.h"

#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr char kLetters[] = "??VDIWEF";

// The part of a line that only time, or a fork, changes: time, process and thread.
struct Origin {
    time_t second = -1;
    pid_t process = -1;
    char text[64] = "";

    void update() {
        timespec now = {};
        clock_gettime(CLOCK_REALTIME_COARSE, &now);
        const pid_t caller = getpid();
        if (now.tv_sec == second && caller == process) return;
        second = now.tv_sec;
        process = caller;
        tm local = {};
        localtime_r(&second, &local);
        char stamp[32];
        strftime(stamp, sizeof(stamp), "%m-%d %H:%M:%S", &local);
        snprintf(text, sizeof(text), "%s %5d %5d ", stamp, process, gettid());
    }
};

// A line put together piece by piece. It fits whole or not at all.
class Line {
  public:
    void add(const char* piece, size_t size) {
        mFits = mFits && size <= sizeof(mText) - mSize;
        if (!mFits) return;
        memcpy(mText + mSize, piece, size);
        mSize += size;
    }
    void add(const char* piece) { add(piece, strlen(piece)); }

    bool fits() const { return mFits; }
    // One call, so that lines of several threads are never torn. An error of the log itself can be
    // reported nowhere.
    void write() const { (void)!::write(STDERR_FILENO, mText, mSize); }

  private:
    char mText[1280];  // liblog cuts messages at 1,023 characters
    size_t mSize = 0;
    bool mFits = true;
};

}  // namespace

void hostLogStandardError(const __android_logger_data* data, const char* message) {
    static thread_local Origin origin;
    origin.update();
    const bool known = data->priority >= 0 && data->priority <= ANDROID_LOG_FATAL;
    const char priority[] = {' ', known ? kLetters[data->priority] : '?', ' '};
    Line line;
    line.add(data->tag != nullptr ? data->tag : "nullptr");
    line.add(priority, sizeof(priority));
    line.add(origin.text);
    line.add(message);
    line.add("\n");
    if (line.fits()) {
        line.write();
    } else {
        __android_log_stderr_logger(data, message);
    }
}
