// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <chrono>
#include <stop_token>
#include <string>
#include <thread>

namespace bivistactl {

// Shows on a terminal that the program waits for something, and for how long: one line, redrawn
// while this object lives and erased at its end. Other output to the terminal waits for that end.
class Spinner {
  public:
    // Draws on `fd` as soon as `delay` is over, so that a quick answer does not flicker. Draws
    // nothing when `fd` is no terminal. `awaited` lives as long as the program.
    explicit Spinner(int fd = STDERR_FILENO,
                     std::chrono::milliseconds delay = std::chrono::milliseconds(300),
                     const char* awaited = "the answer");
    Spinner(const Spinner&) = delete;
    Spinner& operator=(const Spinner&) = delete;

  private:
    void spin(const std::stop_token& over, std::chrono::milliseconds delay) const;
    void draw(const std::string& line) const;

    const int mFd;
    const char* const mAwaited;
    // Ends with this object, as its last member.
    std::jthread mThread;
};

// "59 s", "1 min 00 s". The text of a longer time is never shorter, so that it covers the old line.
std::string elapsedInWords(std::chrono::seconds elapsed);

}  // namespace bivistactl
