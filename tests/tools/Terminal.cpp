// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/tools/Terminal.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <utility>

Terminal::Terminal() {
    EXPECT_EQ(0, openpty(&mReader, &mWriter, nullptr, nullptr, nullptr));
    termios settings;
    EXPECT_EQ(0, tcgetattr(mWriter, &settings));
    cfmakeraw(&settings);
    EXPECT_EQ(0, tcsetattr(mWriter, TCSANOW, &settings));
    for (int end : {mReader, mWriter}) EXPECT_EQ(0, fcntl(end, F_SETFD, FD_CLOEXEC));
}

Terminal::~Terminal() {
    closeWriter();
    close(mReader);
}

void Terminal::closeWriter() {
    if (mWriter >= 0) close(std::exchange(mWriter, -1));
}

std::string Terminal::path() const {
    char name[PATH_MAX] = {};
    EXPECT_EQ(0, ttyname_r(mWriter, name, sizeof(name)));
    return name;
}

std::string Terminal::readUntil(const std::string& text) {
    std::string read;
    for (char byte; !read.ends_with(text) && ::read(mReader, &byte, 1) == 1;) read += byte;
    return read;
}

std::string Terminal::rest() {
    std::string text;
    char buffer[4096];
    ssize_t count;
    while ((count = read(mReader, buffer, sizeof(buffer))) > 0) {
        text.append(buffer, static_cast<size_t>(count));
    }
    return text;
}
