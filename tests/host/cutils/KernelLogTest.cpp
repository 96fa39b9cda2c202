// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <cutils/klog.h>

#include <errno.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/host/cutils/PrivateWorld.h"

namespace {

constexpr const char* kLog = "/dev/kmsg";

class KernelLogTest : public testing::Test {
  protected:
    KernelLogTest() { writeFile(kLog, ""); }
};

}  // namespace

TEST_F(KernelLogTest, WritesTheFormattedMessage) {
    klog_write(6, "<6>Bivista: %s", "boot 12%\n");
    EXPECT_EQ("<6>Bivista: boot 12%\n", readFile(kLog));
}

TEST_F(KernelLogTest, AppendsMessageAfterMessage) {
    klog_write(6, "one\n");
    klog_write(3, "two\n");
    EXPECT_EQ("one\ntwo\n", readFile(kLog));
}

TEST_F(KernelLogTest, KeepsWhatOthersWrote) {
    klog_write(6, "one\n");
    writeFile(kLog, "one\nother\n");
    klog_write(6, "two\n");
    EXPECT_EQ("one\nother\ntwo\n", readFile(kLog));
}

TEST_F(KernelLogTest, AMessageOf511BytesIsWhole) {
    klog_write(6, "%s", std::string(511, 'x').c_str());
    EXPECT_EQ(std::string(511, 'x'), readFile(kLog));
}

TEST_F(KernelLogTest, ALongerMessageIsCutAt511Bytes) {
    klog_write(6, "%s", std::string(5000, 'x').c_str());
    EXPECT_EQ(std::string(511, 'x'), readFile(kLog));
}

TEST_F(KernelLogTest, BytesThatAreNotTextPassUnchanged) {
    klog_write(6, "%s", "\x80\xff\x01\r\n");
    EXPECT_EQ("\x80\xff\x01\r\n", readFile(kLog));
}

TEST_F(KernelLogTest, AnEmptyMessageWritesNothing) {
    klog_write(6, "%s", "");
    EXPECT_EQ("", readFile(kLog));
}

TEST_F(KernelLogTest, LevelSixPassesAndSevenIsDroppedByDefault) {
    klog_write(7, "seven\n");
    klog_write(6, "six\n");
    EXPECT_EQ("six\n", readFile(kLog));
}

TEST_F(KernelLogTest, TheLevelCanBeSet) {
    klog_set_level(7);
    klog_write(7, "seven\n");
    klog_set_level(3);
    klog_write(4, "four\n");
    klog_write(3, "three\n");
    EXPECT_EQ("seven\nthree\n", readFile(kLog));
}

TEST_F(KernelLogTest, ErrnoSurvives) {
    errno = ETIME;
    klog_write(6, "one\n");
    EXPECT_EQ(ETIME, errno);
}

TEST(KernelLogWithoutNodeTest, MessagesAreDroppedAndErrnoSurvives) {
    errno = ETIME;
    klog_write(6, "one\n");
    EXPECT_EQ(ETIME, errno);
}

TEST_F(KernelLogTest, MessagesOfSeveralThreadsAreNotTorn) {
    constexpr int kThreads = 4;
    constexpr int kMessages = 200;
    const std::string text(300, 'x');
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&text] {
            for (int n = 0; n < kMessages; ++n) klog_write(6, "%s\n", text.c_str());
        });
    }
    for (std::thread& thread : threads) thread.join();

    std::string expected;
    for (int n = 0; n < kThreads * kMessages; ++n) expected += text + "\n";
    EXPECT_EQ(expected, readFile(kLog));
}
