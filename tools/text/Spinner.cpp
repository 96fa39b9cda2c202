// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/text/Spinner.h"

#include <condition_variable>

#include <utils/Mutex.h>

namespace bivistactl {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kFrame(100);
constexpr char kFrames[] = {'|', '/', '-', '\\'};

}  // namespace

std::string elapsedInWords(std::chrono::seconds elapsed) {
    const auto minutes = elapsed.count() / 60;
    const auto seconds = elapsed.count() % 60;
    if (minutes == 0) return std::to_string(seconds) + " s";
    return std::to_string(minutes) + " min " + (seconds < 10 ? "0" : "") + std::to_string(seconds) +
           " s";
}

Spinner::Spinner(int fd, std::chrono::milliseconds delay, const char* awaited)
    : mFd(fd), mAwaited(awaited) {
    if (isatty(fd) == 0) return;
    mThread = std::jthread([this, delay](const std::stop_token& over) { spin(over, delay); });
}

void Spinner::spin(const std::stop_token& over, std::chrono::milliseconds delay) const {
    const auto start = steady_clock::now();
    const auto isOver = [&] { return over.stop_requested(); };
    std::string line;
    android::Mutex lock;
    const android::AutoMutex hold(lock);
    std::condition_variable_any wake;
    for (auto wait = delay; !wake.wait_for(lock, over, wait, isOver); wait = kFrame) {
        const auto elapsed = steady_clock::now() - start;
        const char frame = kFrames[elapsed / kFrame % sizeof(kFrames)];
        line = std::string(1, frame) + " waiting for " + mAwaited + ", " +
               elapsedInWords(std::chrono::duration_cast<std::chrono::seconds>(elapsed));
        draw(line);
    }
    if (!line.empty()) draw(std::string(line.size(), ' ') + '\r');
}

// A terminal that takes no more bytes must not fail the program.
void Spinner::draw(const std::string& line) const {
    const std::string bytes = '\r' + line;
    [[maybe_unused]] const ssize_t written = write(mFd, bytes.data(), bytes.size());
}

}  // namespace bivistactl
