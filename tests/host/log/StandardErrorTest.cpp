// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Messages on standard error: one line each, as liblog's own logger writes them.
#include <cstring>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "host/log/StandardError.h"
#include "tests/support/Process.h"

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;

using Logger = void (*)(const __android_logger_data*, const char*);

std::string written(Logger logger, int priority, const char* tag, const std::string& message) {
    const __android_logger_data data = {sizeof(data), -1, priority, tag, nullptr, 0};
    testing::internal::CaptureStderr();
    logger(&data, message.c_str());
    return testing::internal::GetCapturedStderr();
}

std::string withoutTime(std::string line) {
    const size_t stamp = line.find_first_of("0123456789");
    return stamp == std::string::npos ? line : line.erase(stamp, strlen("MM-DD HH:MM:SS"));
}

class StandardErrorTest : public testing::TestWithParam<int> {};

TEST_P(StandardErrorTest, WritesALineAsTheLibraryDoes) {
    EXPECT_EQ(withoutTime(written(hostLogStandardError, GetParam(), "tag", "a message")),
              withoutTime(written(__android_log_stderr_logger, GetParam(), "tag", "a message")));
}

INSTANTIATE_TEST_SUITE_P(Priorities, StandardErrorTest,
                         testing::Values(ANDROID_LOG_VERBOSE, ANDROID_LOG_DEBUG, ANDROID_LOG_INFO,
                                         ANDROID_LOG_WARN, ANDROID_LOG_ERROR, ANDROID_LOG_FATAL));

TEST(StandardErrorTest, TellsTimeProcessAndThread) {
    const std::string origin = std::to_string(getpid()) + " +" + std::to_string(gettid());
    EXPECT_THAT(written(hostLogStandardError, ANDROID_LOG_INFO, "tag", "here"),
                ContainsRegex("^tag I [0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} +" + origin +
                              " here\n$"));
}

TEST(StandardErrorTest, KeepsMessagesOfAnyLengthWhole) {
    for (const size_t length : {size_t{1023}, size_t{1250}, size_t{5000}}) {
        const std::string message(length, 'x');
        EXPECT_THAT(written(hostLogStandardError, ANDROID_LOG_INFO, "tag", message),
                    HasSubstr(" " + message + "\n"));
    }
}

TEST(StandardErrorTest, AForkedChildTellsItsOwnProcess) {
    written(hostLogStandardError, ANDROID_LOG_INFO, "tag", "before");
    testing::internal::CaptureStderr();
    support::Process child([](const auto&) {
        const __android_logger_data data = {sizeof(data), -1, ANDROID_LOG_INFO, "tag", nullptr, 0};
        hostLogStandardError(&data, "child");
        return 0;
    });
    child.wait();
    const std::string pid = std::to_string(child.pid());
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                ContainsRegex(" " + pid + " +" + pid + " child\n$"));
}

TEST(StandardErrorTest, LinesOfSeveralThreadsAreNotTorn) {
    constexpr int kLines = 1000;
    testing::internal::CaptureStderr();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            const __android_logger_data data = {sizeof(data), -1,      ANDROID_LOG_INFO,
                                                "tag",        nullptr, 0};
            for (int line = 0; line < kLines; ++line) hostLogStandardError(&data, "a whole line");
        });
    }
    for (std::thread& thread : threads) thread.join();
    std::istringstream lines(testing::internal::GetCapturedStderr());
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        EXPECT_THAT(line, ContainsRegex("^tag I [^ ]+ [^ ]+ +[0-9]+ +[0-9]+ a whole line$"));
    }
    EXPECT_EQ(count, 4 * kLines);
}

}  // namespace
