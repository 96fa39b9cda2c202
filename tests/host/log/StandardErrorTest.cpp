// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Messages on standard error: one line each, as liblog's own logger writes them, with milliseconds.
#include <chrono>
#include <cstdint>
#include <regex>
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

using Logger = void (*)(const __android_logger_data*, const char*);

std::string written(Logger logger, int priority, const char* tag, const std::string& message) {
    const __android_logger_data data = {sizeof(data), -1, priority, tag, nullptr, 0};
    testing::internal::CaptureStderr();
    logger(&data, message.c_str());
    return testing::internal::GetCapturedStderr();
}

std::string withoutTime(const std::string& line) {
    return std::regex_replace(line, std::regex("[0-9-]{5} [0-9:]{8}([.][0-9]{3})?"), "TIME");
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
                ContainsRegex("^tag I [0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}[.][0-9]{3} +" +
                              origin + " here\n$"));
}

// Milliseconds since the minute began.
int64_t inMinute(int64_t realtimeMs) {
    return realtimeMs % 60'000;
}

TEST(StandardErrorTest, TimeIsThatOfTheClockToTheMillisecond) {
    const auto now = [] {
        return std::chrono::system_clock::now().time_since_epoch() / std::chrono::milliseconds(1);
    };
    int64_t before;
    int64_t after;
    std::smatch seconds;
    std::string line;
    // Again where a minute ends meanwhile.
    do {
        before = now();
        line = written(hostLogStandardError, ANDROID_LOG_INFO, "tag", "now");
        after = now();
    } while (inMinute(after) < inMinute(before));
    ASSERT_TRUE(std::regex_search(line, seconds, std::regex(":([0-9]{2})[.]([0-9]{3}) "))) << line;
    const int64_t told = std::stoi(seconds[1]) * 1000 + std::stoi(seconds[2]);
    EXPECT_LE(inMinute(before), told);
    EXPECT_LE(told, inMinute(after));
}

TEST(StandardErrorTest, KeepsMessagesOfAnyLengthWhole) {
    for (const size_t length : {size_t{1023}, size_t{1250}, size_t{5000}}) {
        const std::string message(length, 'x');
        EXPECT_EQ(withoutTime(written(hostLogStandardError, ANDROID_LOG_INFO, "tag", message)),
                  withoutTime(
                          written(__android_log_stderr_logger, ANDROID_LOG_INFO, "tag", message)));
        EXPECT_THAT(written(hostLogStandardError, ANDROID_LOG_INFO, "tag", message),
                    ContainsRegex("[.][0-9]{3} +[0-9]+ +[0-9]+ x+\n$"));
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
