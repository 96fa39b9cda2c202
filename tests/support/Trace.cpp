// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/support/Trace.h"

#include <cstdlib>
#include <fstream>

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/Process.h"

namespace support {

std::vector<std::string> traceCalls(std::vector<std::string> command) {
    char trace[] = "/tmp/trace-XXXXXX";
    const int fd = mkstemp(trace);
    EXPECT_GE(fd, 0);
    close(fd);
    command.insert(command.begin(), {"strace", "-o", trace});
    const Outcome outcome = Process(command).outcome();
    EXPECT_EQ(outcome.status, 0) << outcome.err;

    std::vector<std::string> calls;
    int marks = 0;
    std::ifstream file(trace);
    for (std::string line; std::getline(file, line);) {
        const std::string name = line.substr(0, line.find('('));
        if (name == "getppid") {
            ++marks;
        } else if (marks == 1) {
            calls.push_back(name);
        }
    }
    unlink(trace);
    EXPECT_EQ(marks, 2);
    return calls;
}

}  // namespace support
