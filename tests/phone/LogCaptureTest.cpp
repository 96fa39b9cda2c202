// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The recorder of log lines that other tests rely on.

#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>

#include <thread>

#include <android/log.h>

namespace {

using support::LogCapture;
using support::LogLine;
using testing::ElementsAre;

TEST(LogCaptureTest, RecordsPriorityTagAndText) {
    const LogCapture log;
    __android_log_print(ANDROID_LOG_DEBUG, "tag", "%s: %d\n", "one", 1);
    __android_log_write(ANDROID_LOG_ERROR, "other", "two ");
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{ANDROID_LOG_DEBUG, "tag", "one: 1\n"},
                                         LogLine{ANDROID_LOG_ERROR, "other", "two "}));
    EXPECT_TRUE(log.contains("two "));
    EXPECT_TRUE(log.contains(6, "two "));
    EXPECT_FALSE(log.contains(3, "two "));
    EXPECT_EQ(log.count("two"), 0u);
}

TEST(LogCaptureTest, WaitsForLinesInOrder) {
    const LogCapture log;
    std::thread writer([] {
        for (int i = 0; i < 100; ++i) __android_log_print(ANDROID_LOG_INFO, "t", "line %d", i);
    });
    const size_t behind = log.waitFor("line 7");
    EXPECT_EQ(log.waitFor(4, "line 50", behind), 51u);
    EXPECT_EQ(log.waitForPrefix("line 9", behind), 10u);
    writer.join();
    EXPECT_EQ(log.size(), 100u);
}

TEST(LogCaptureTest, ManyThreadsLogAtOnce) {
    LogCapture log;
    std::vector<std::thread> writers;
    writers.reserve(4);
    for (int i = 0; i < 4; ++i) {
        writers.emplace_back([] {
            for (int k = 0; k < 100; ++k) __android_log_write(ANDROID_LOG_INFO, "t", "x");
        });
    }
    for (std::thread& writer : writers) writer.join();
    EXPECT_EQ(log.count("x"), 400u);
    log.clear();
    EXPECT_EQ(log.size(), 0u);
}

TEST(LogCaptureTest, StartsEmptyEachTime) {
    {
        const LogCapture log;
        __android_log_write(ANDROID_LOG_INFO, "t", "before");
    }
    const LogCapture log;
    EXPECT_EQ(log.size(), 0u);
}

}  // namespace
