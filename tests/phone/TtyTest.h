// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the tests of the cover's tty share.
#pragma once

#include <cerrno>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <android-base/unique_fd.h>
#include "tests/support/PhoneTest.h"

constexpr char kTty[] = "/dev/ttyACM0";

class TtyTest : public support::PhoneTest {
  protected:
    static android::base::unique_fd openTty(const char* node = kTty) {
        return android::base::unique_fd(open(node, O_RDWR | O_NOCTTY));
    }

    static android::base::unique_fd openNow() {
        return android::base::unique_fd(open(kTty, O_RDWR | O_NOCTTY | O_NONBLOCK));
    }

    static void send(const android::base::unique_fd& tty, const std::string& text) {
        ASSERT_EQ(write(tty.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    // Result of a modem line request, with errno.
    static int changeLines(const android::base::unique_fd& tty, unsigned long request, int lines) {
        return ioctl(tty.get(), request, &lines);
    }

    static int modemLines(const android::base::unique_fd& tty) {
        int lines = -1;
        return ioctl(tty.get(), TIOCMGET, &lines) == 0 ? lines : -errno;
    }

    std::vector<std::string> dtrChanges() const {
        std::vector<std::string> changes;
        for (const phone::Entry& entry : journal.since(first)) {
            if (entry.kind == phone::Kind::Dtr) changes.push_back(entry.note);
        }
        return changes;
    }

    static std::string readLine(const android::base::unique_fd& tty) {
        char line[1024];
        const ssize_t count = read(tty.get(), line, sizeof(line));
        return count < 0 ? "error" : std::string(line, static_cast<size_t>(count));
    }
};
