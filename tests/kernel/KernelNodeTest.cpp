// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Kernel nodes: results, log lines and what reaches the file.
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "kernel/Bivista.h"
#include "kernel/base/KernelNode.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Process.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

class KernelNodeTest : public testing::Test {
  protected:
    void SetUp() override {
        char folder[] = "/tmp/kernel-node-XXXXXX";
        ASSERT_NE(mkdtemp(folder), nullptr);
        mFolder = folder;
    }
    void TearDown() override { std::filesystem::remove_all(mFolder); }

    std::string node(const std::string& text) {
        std::ofstream(path(), std::ios::binary) << text;
        return path();
    }
    std::string path() const { return mFolder + "/node"; }
    std::string text() const {
        std::ifstream file(path(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::string mFolder;
    support::LogCapture mLog;
};

TEST_F(KernelNodeTest, ReadStringAppendsTheWholeFileWithItsNewline) {
    std::string out = "before ";
    EXPECT_EQ(Bivista::readString(node("3 1 0\n"), out), 0);
    EXPECT_EQ(out, "before 3 1 0\n");
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_DEBUG, "readString : before 3 1 0\n"));
}

TEST_F(KernelNodeTest, ReadStringOfAnEmptyFileLeavesTheOutputAlone) {
    std::string out = "as it was";
    EXPECT_EQ(Bivista::readString(node(""), out), 0);
    EXPECT_EQ(out, "as it was");
}

TEST_F(KernelNodeTest, ReadStringKeepsNulBytes) {
    std::string out;
    EXPECT_EQ(Bivista::readString(node(std::string("a\0b", 3)), out), 0);
    EXPECT_EQ(out, std::string("a\0b", 3));
}

TEST_F(KernelNodeTest, ReadStringOfAFolderIsAFailedReadAndSucceeds) {
    std::string out;
    EXPECT_EQ(Bivista::readString(mFolder, out), 0);
    EXPECT_EQ(out, "");
}

TEST_F(KernelNodeTest, ReadStringOfAMissingFile) {
    std::string out;
    EXPECT_EQ(Bivista::readString(path(), out), -1);
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_ERROR, "File is not exist : " + path()));
}

TEST_F(KernelNodeTest, WriteInt32WritesTheNumberWithoutNewline) {
    EXPECT_EQ(Bivista::writeInt32(node("old text"), 2147483647), 0);
    EXPECT_EQ(text(), "2147483647");
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_DEBUG, "Writing 2147483647 to " + path()));
}

TEST_F(KernelNodeTest, WriteInt32KeepsTheSign) {
    EXPECT_EQ(Bivista::writeInt32(node(""), INT32_MIN), 0);
    EXPECT_EQ(text(), "-2147483648");
}

TEST_F(KernelNodeTest, WriteInt32CreatesNothing) {
    EXPECT_EQ(Bivista::writeInt32(path(), 1), -1);
    EXPECT_NE(access(path().c_str(), F_OK), 0);
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_ERROR, "File is not exist : " + path()));
    EXPECT_FALSE(mLog.contains(ANDROID_LOG_DEBUG, "Writing 1 to " + path()));
}

// Root may read everything: runs a check in a child without any capability.
template <typename Check>
void expectWithoutPrivileges(Check check) {
    support::Process child([&](const auto&) -> int {
        __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct none[2] = {};
        if (syscall(SYS_capset, &header, none) != 0) _exit(2);
        // Not through exit(): a leak check would need the rights.
        _exit(check() ? 0 : 1);
    });
    EXPECT_EQ(child.wait(), 0);
}

TEST_F(KernelNodeTest, ReadStringOfAnUnreadableFile) {
    chmod(node("secret").c_str(), 0200);
    expectWithoutPrivileges([&] {
        std::string out;
        return Bivista::readString(path(), out) == -4 && out.empty() &&
               mLog.contains(ANDROID_LOG_ERROR, "Cannot Read file : " + path());
    });
}

TEST_F(KernelNodeTest, WriteInt32OfAWriteOnlyNodeWritesNothing) {
    chmod(node("old").c_str(), 0222);
    expectWithoutPrivileges([&] {
        return Bivista::writeInt32(path(), 1) == -4 &&
               mLog.contains(ANDROID_LOG_ERROR, "Cannot Read file : " + path()) &&
               !mLog.contains(ANDROID_LOG_DEBUG, "Writing 1 to " + path());
    });
    chmod(path().c_str(), 0644);
    EXPECT_EQ(text(), "old");
}

TEST_F(KernelNodeTest, WriteInt32OfAReadOnlyNodeCannotOpenIt) {
    chmod(node("old").c_str(), 0444);
    expectWithoutPrivileges([&] {
        return Bivista::writeInt32(path(), 1) == -3 &&
               mLog.contains(ANDROID_LOG_DEBUG, "Writing 1 to " + path()) &&
               mLog.contains(ANDROID_LOG_ERROR, "Cannot open path: " + path());
    });
    EXPECT_EQ(text(), "old");
}

TEST_F(KernelNodeTest, ReadStringOfAFileThatCannotBeOpened) {
    // A socket is there and readable, yet cannot be opened.
    const std::string socket = mFolder + "/socket";
    ASSERT_EQ(mknod(socket.c_str(), S_IFSOCK | 0644, 0), 0);
    std::string out;
    EXPECT_EQ(Bivista::readString(socket, out), -3);
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_ERROR, "Cannot open path : " + socket));
}

TEST_F(KernelNodeTest, WriteInt32ReportsNoFailedWrite) {
    EXPECT_EQ(Bivista::writeInt32("/dev/full", 1), 0);
}

struct Writer {
    const char* name;
    bool (*write)(const std::string& path, const std::string& value);
    android_LogPriority priority;
};

class NodeWriterTest : public KernelNodeTest, public testing::WithParamInterface<Writer> {};

TEST_P(NodeWriterTest, WritesTheBytesAsTheyAre) {
    EXPECT_TRUE(GetParam().write(node("a longer old text"), "0 1"));
    EXPECT_EQ(text(), "0 1");
    EXPECT_TRUE(mLog.contains(GetParam().priority, "Writing 0 1 to " + path()));
}

TEST_P(NodeWriterTest, CreatesAMissingFile) {
    EXPECT_TRUE(GetParam().write(path(), "2"));
    EXPECT_EQ(text(), "2");
}

TEST_P(NodeWriterTest, MakesNoFileInSysfs) {
    const std::string missing = "/sys/class/bivista/bv2/none";
    EXPECT_FALSE(GetParam().write(missing, "2"));
    EXPECT_TRUE(mLog.contains(GetParam().priority, "Writing 2 to " + missing));
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_ERROR, "Cannot open path: " + missing));
    EXPECT_NE(access(missing.c_str(), F_OK), 0);
}

TEST_P(NodeWriterTest, FailsOnlyWhenTheFileCannotBeOpened) {
    const std::string missing = mFolder + "/no folder/node";
    EXPECT_FALSE(GetParam().write(missing, "2"));
    EXPECT_TRUE(mLog.contains(GetParam().priority, "Writing 2 to " + missing));
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_ERROR, "Cannot open path: " + missing));
}

TEST_P(NodeWriterTest, ReportsNoFailedWrite) {
    EXPECT_TRUE(GetParam().write("/dev/full", "2"));
}

INSTANTIATE_TEST_SUITE_P(Writers, NodeWriterTest,
                         testing::Values(Writer{"writeString", Bivista::writeString,
                                                ANDROID_LOG_DEBUG},
                                         Writer{"writeNode", writeNode, ANDROID_LOG_ERROR}),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
