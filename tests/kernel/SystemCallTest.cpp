// An AT exchange with an answer of three lines makes fifteen system calls, none of them in vain.
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using testing::ElementsAre;

TEST(SystemCalls, OfAnExchangeAreFifteen) {
    char trace[] = "/tmp/exchange-XXXXXX";
    const int fd = mkstemp(trace);
    ASSERT_GE(fd, 0);
    close(fd);
    const std::string command = std::string("strace -o ") + trace + " " EXCHANGE_PROGRAM;
    ASSERT_EQ(system(command.c_str()), 0);

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

    ASSERT_EQ(marks, 2);
    EXPECT_THAT(calls, ElementsAre("openat",                      // the port
                                   "openat", "write", "close",    // keep USB awake
                                   "write",                       // the command
                                   "poll", "read",                // blank line
                                   "poll", "read",                // the answer
                                   "poll", "read",                // OK
                                   "close",                       // the port
                                   "openat", "write", "close"));  // let USB sleep
}

}  // namespace
