// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The whole terminal on standard output, for a program that draws.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include <termios.h>

#include <android-base/unique_fd.h>

namespace emulator {

struct TerminalSize {
    size_t columns;
    size_t rows;
};

// Of standard output; 80 x 24 where it does not tell.
TerminalSize terminalSize();

// Takes the alternate screen, without a cursor, and gives the terminal back as it was; also while
// the program is stopped, as by Ctrl-Z. One at a time, made before other threads.
class TerminalScreen {
  public:
    TerminalScreen();
    ~TerminalScreen();
    TerminalScreen(const TerminalScreen&) = delete;
    TerminalScreen& operator=(const TerminalScreen&) = delete;

    // Replaces what is shown; lines that end with "\n". Throws cli::OutputFailed.
    void show(const std::string& text);

    // Waits until there is something to draw: the eventfd was written, or the screen has another
    // size or is ours again. False after "q" on standard input, or a signal that ends programs.
    bool wait(int changed);

    // What the end does; nothing happens twice.
    void restore();

  private:
    void take();

    android::base::unique_fd mSignals;
    std::optional<termios> mSettings;  // of standard input; none: it is no terminal, or has ended
    bool mReadsInput = false;
    bool mIsTaken = false;
};

}  // namespace emulator
