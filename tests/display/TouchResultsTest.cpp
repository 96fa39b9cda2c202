// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Self-test results: fetched from the cover, collected in a file.
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <sys/stat.h>

#include "tests/kernel/ServiceTest.h"

namespace {

bool failChmod = false;

}  // namespace

// The calls of this program go through it (linker option --wrap).
extern "C" int __real_chmod(const char* path, mode_t mode);
extern "C" int __wrap_chmod(const char* path, mode_t mode) {
    if (!failChmod) return __real_chmod(path, mode);
    errno = EROFS;
    return -1;
}

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr char kPath[] = "/data/vendor/touch/touch_module_self_test.txt";

class TouchResultsTest : public AttachedTest {
  protected:
    ~TouchResultsTest() override {
        fs::remove_all(phone::kTouchFolder);
        fs::create_directory(phone::kTouchFolder);
    }
    Status fetch() { return service->getTestResults(); }
    void answer(const std::string& lines) {
        phone.faults.set("on AT%TCHNOTIFY=PULL answer \"\\r\\n" + lines + "OK\\r\\n\" times 1");
    }
    static std::string results() {
        std::ifstream file(kPath, std::ios::binary);
        EXPECT_TRUE(file.is_open());
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static mode_t mode() {
        struct stat status = {};
        EXPECT_EQ(stat(kPath, &status), 0);
        return status.st_mode & 07777;
    }
};

TEST_F(TouchResultsTest, AreWrittenToAFileThatAllMayRead) {
    answer(R"(one\r\ntwo\r\n)");
    EXPECT_EQ(fetch(), Status::OK);
    EXPECT_THAT(commands(from), ElementsAre("AT%TCHNOTIFY=PULL_SD_RESULT\r"));
    EXPECT_EQ(results(), "one\ntwo");
    EXPECT_EQ(mode(), 0644u);
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "getTestResults: one\ntwo"));
    EXPECT_TRUE(log.contains(ANDROID_LOG_INFO, std::string("can open path: ") + kPath));
}

TEST_F(TouchResultsTest, AreAppendedWithoutASeparator) {
    answer(R"(one\r\n)");
    EXPECT_EQ(fetch(), Status::OK);
    answer(R"(two\r\n)");
    EXPECT_EQ(fetch(), Status::OK);
    EXPECT_EQ(results(), "onetwo");
}

TEST_F(TouchResultsTest, KeepWhatTheFileHoldsAndOpenItToAll) {
    std::ofstream(kPath) << "before\n";
    chmod(kPath, 0600);
    answer(R"(one\r\n)");
    EXPECT_EQ(fetch(), Status::OK);
    EXPECT_EQ(results(), "before\none");
    EXPECT_EQ(mode(), 0644u);
}

TEST_F(TouchResultsTest, OfTheCoverAreKeptWhole) {
    EXPECT_EQ(fetch(), Status::OK);
    EXPECT_THAT(results(), StartsWith("TOUCH FW: TP330-V1.07\n"));
    EXPECT_THAT(results(), HasSubstr("\nDELTA\n"));
    // Two frames of 24 lines.
    EXPECT_GT(results().size(), 2u * 24 * 160);
}

TEST_F(TouchResultsTest, AreCutAt40959Bytes) {
    std::string lines;
    for (int i = 0; i < 50; ++i) lines += std::string(999, 'x') + "\\r\\n";
    answer(lines);
    EXPECT_EQ(fetch(), Status::OK);
    EXPECT_EQ(results().size(), 40959u);
}

TEST_F(TouchResultsTest, MayBeEmpty) {
    answer("");
    EXPECT_EQ(fetch(), Status::OK);
    EXPECT_EQ(results(), "");
}

TEST_F(TouchResultsTest, LeaveTheFileAloneWhenTheCoverRefuses) {
    std::ofstream(kPath) << "before\n";
    phone.faults.set("on AT%TCHNOTIFY=PULL error");
    EXPECT_EQ(fetch(), Status::FAIL);
    EXPECT_EQ(results(), "before\n");
    EXPECT_FALSE(log.contains(std::string("can open path: ") + kPath));
}

TEST_F(TouchResultsTest, LeaveTheFileAloneWithoutACover) {
    detach();
    EXPECT_EQ(fetch(), Status::FAIL);
    EXPECT_FALSE(fs::exists(kPath));
}

TEST_F(TouchResultsTest, FailWithoutTheFolder) {
    fs::remove(phone::kTouchFolder);
    answer(R"(one\r\n)");
    EXPECT_EQ(fetch(), Status::FAIL);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, std::string("Cannot open path: ") + kPath));
    EXPECT_TRUE(log.contains("getTestResults: one"));
}

TEST_F(TouchResultsTest, FailWhenTheFileCannotBeWritten) {
    std::ofstream(kPath) << "before\n";
    phone.faults.set(std::string("node ") + kPath + " unwritable");
    EXPECT_EQ(fetch(), Status::FAIL);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, std::string("Cannot open path: ") + kPath));
    EXPECT_EQ(results(), "before\n");
}

TEST_F(TouchResultsTest, FailWhenTheFileCannotBeMade) {
    phone.faults.set(std::string("node ") + kPath + " unwritable");
    EXPECT_EQ(fetch(), Status::FAIL);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, std::string("Cannot open path: ") + kPath));
    EXPECT_FALSE(fs::exists(kPath));
}

// Meant: what the file does not take is lost without a word.
TEST_F(TouchResultsTest, DoNotFailWhenTheDiskIsFull) {
    phone.faults.set(std::string("node ") + kPath + " eio");
    EXPECT_EQ(fetch(), Status::OK);
    EXPECT_EQ(results(), "");
    EXPECT_EQ(mode(), 0644u);
}

TEST_F(TouchResultsTest, FailWhenTheFileCannotBeOpenedToAll) {
    answer(R"(one\r\n)");
    failChmod = true;
    EXPECT_EQ(fetch(), Status::FAIL);
    failChmod = false;
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "chmod failed\n"));
    EXPECT_EQ(results(), "one");
}

TEST_F(TouchResultsTest, OfAHangUpAreKeptAsFarAsTheyCame) {
    phone.faults.set(R"(on AT%TCHNOTIFY=PULL answer "\r\none\r\n")");
    phone.faults.set("on AT%TCHNOTIFY=PULL hangup after 7");
    EXPECT_EQ(fetch(), Status::OK);
    EXPECT_EQ(results(), "one\n");
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
