// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/program/TerminalScreen.h"

#include <csignal>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "cli/Output.h"
#include "emulator/phone/Error.h"

namespace emulator {

namespace {

sigset_t watchedSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGWINCH, SIGTSTP, SIGCONT}) {
        sigaddset(&signals, number);
    }
    return signals;
}

}  // namespace

TerminalSize terminalSize() {
    winsize size = {};
    const bool isKnown = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0;
    if (!isKnown || size.ws_col == 0 || size.ws_row == 0) return {80, 24};
    return {size.ws_col, size.ws_row};
}

TerminalScreen::TerminalScreen() {
    const sigset_t signals = watchedSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    mSignals = android::base::unique_fd(signalfd(-1, &signals, SFD_CLOEXEC));
    if (!mSignals.ok()) phone::throwErrno("cannot make a signalfd");
    take();
}

void TerminalScreen::take() {
    termios settings = {};
    // In the background the change would stop the program.
    mReadsInput = tcgetattr(STDIN_FILENO, &settings) == 0 && tcgetpgrp(STDIN_FILENO) == getpgrp();
    if (mReadsInput) {
        if (!mSettings) mSettings = settings;
        settings.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON);
        tcsetattr(STDIN_FILENO, TCSANOW, &settings);
    } else {
        mSettings.reset();
    }
    mIsTaken = true;
    cli::print("\033[?1049h\033[?25l");
}

TerminalScreen::~TerminalScreen() {
    restore();
}

void TerminalScreen::restore() {
    if (!mIsTaken) return;
    mIsTaken = false;
    cli::print("\033[?25h\033[?1049l");
    if (mSettings) tcsetattr(STDIN_FILENO, TCSANOW, &*mSettings);
    mSettings.reset();
}

void TerminalScreen::show(const std::string& text) {
    std::string lines;
    for (const char byte : text) {
        // The rest of each line is cleared, and of the screen below.
        lines += byte == '\n' ? "\033[K\r\n" : std::string(1, byte);
    }
    if (lines.ends_with("\r\n")) lines.resize(lines.size() - 2);
    cli::printOrFail("\033[H" + lines + "\033[J");
}

bool TerminalScreen::wait(int changed) {
    for (;;) {
        pollfd watched[] = {{mSignals.get(), POLLIN, 0},
                            {changed, POLLIN, 0},
                            {mReadsInput ? STDIN_FILENO : -1, POLLIN, 0}};
        if (poll(watched, 3, -1) < 0) continue;
        if (watched[0].revents != 0) {
            signalfd_siginfo signal = {};
            if (read(mSignals.get(), &signal, sizeof(signal)) != sizeof(signal)) continue;
            if (signal.ssi_signo == SIGTSTP) {
                restore();
                raise(SIGSTOP);
                continue;
            }
            if (signal.ssi_signo == SIGCONT) take();
            return signal.ssi_signo == SIGCONT || signal.ssi_signo == SIGWINCH;
        }
        if (watched[2].revents != 0) {
            char key = 0;
            mReadsInput = read(STDIN_FILENO, &key, 1) == 1;
            if (key == 'q') return false;
        }
        if (watched[1].revents != 0) {
            eventfd_t count = 0;
            eventfd_read(changed, &count);
            return true;
        }
    }
}

}  // namespace emulator
