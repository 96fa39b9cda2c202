// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/ImportCommand.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include <unistd.h>

#include "tests/phonelog/Written.h"

namespace phonelog {
namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;
using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

class ImportCommandTest : public testing::Test {
  protected:
    ImportCommandTest() { fs::create_directory(mFolder); }
    ~ImportCommandTest() override { fs::remove_all(mFolder); }

    std::string write(const std::string& name, const std::string& text) {
        const fs::path path = mFolder / name;
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }
    std::string path(const std::string& name) const { return mFolder / name; }

    // The exit status; mErrors gets standard error.
    int run(std::vector<std::string> words) {
        words.insert(words.begin(), {"bivista-emulator", "import"});
        std::vector<char*> arguments;
        for (std::string& word : words) arguments.push_back(word.data());
        cli::Command program("bivista-emulator", "test");
        addImport(program);
        CaptureStderr();
        const int status = program.run(static_cast<int>(arguments.size()), arguments.data(), 2);
        mErrors = GetCapturedStderr();
        return status;
    }

    const fs::path mFolder = fs::temp_directory_path() / ("import-" + std::to_string(getpid()));
    const std::string mText = Written().start().attach().text();
    std::string mErrors;
};

TEST_F(ImportCommandTest, ARecordingIsWrittenThatCanBeRead) {
    const std::string log = write("log", mText);
    EXPECT_EQ(run({log, "-o", path("out")}), 0);
    const recording::Recording recording = recording::read(path("out"));
    EXPECT_EQ(recording.header.source, "log");
    EXPECT_FALSE(recording.entries.empty());
    EXPECT_THAT(mErrors, HasSubstr("the service: process 731, 9 lines, from line 1 to 9\n"
                                   "found: 1 attachment, 1 exchange, 0 calls, 0 frames\n"));
}

TEST_F(ImportCommandTest, WithoutAFileItGoesToStandardOutput) {
    const std::string log = write("log", mText);
    CaptureStdout();
    EXPECT_EQ(run({log}), 0);
    EXPECT_THAT(GetCapturedStdout(), testing::StartsWith(R"({"recording":2,)"));
}

TEST_F(ImportCommandTest, ALogOfAnotherDeviceIsOneLineAndStatusOne) {
    const std::string log = write("log", "08-14 09:21:07.184   7   7 D clockd: x\n");
    EXPECT_EQ(run({log, "-o", path("out")}), 1);
    EXPECT_EQ(mErrors, "bivista-emulator: " + log +
                               ": has no line of vendor.qmx.hardware.bivista@1.1-service\n");
    EXPECT_FALSE(fs::exists(path("out")));
    EXPECT_EQ(run({write("empty", "")}), 1);
    EXPECT_EQ(run({write("log", mText), "--pid", "5"}), 1);
    EXPECT_THAT(mErrors, EndsWith("-service, process 5\n"));
}

TEST_F(ImportCommandTest, WhatIsNoLogIsStatusTwo) {
    const std::string log = write("log", "hello\n");
    EXPECT_EQ(run({log}), 2);
    EXPECT_EQ(mErrors, "bivista-emulator: " + log +
                               ": is no log of a phone: it has no line as \"logcat -v threadtime\" "
                               "prints it; take \"adb logcat -v threadtime\", or the text in the "
                               "archive of a bugreport\n");
    EXPECT_EQ(run({write("brief", "D/vendor.qmx.hardware.bivista@1.1-service( 731): x\n")}), 2);
    EXPECT_THAT(mErrors, HasSubstr("take \"adb logcat -v threadtime\""));
    EXPECT_EQ(run({path("absent")}), 2);
    EXPECT_EQ(mErrors, "bivista-emulator: " + path("absent") + ": No such file or directory\n");
    EXPECT_EQ(run({mFolder.string()}), 2);
    EXPECT_EQ(mErrors, "bivista-emulator: " + mFolder.string() + ": Is a directory\n");
    EXPECT_EQ(run({write("log", mText), "--pid", "many"}), 2);
    EXPECT_EQ(run({}), 2);
}

TEST_F(ImportCommandTest, ARecordingThatCannotBeWrittenIsStatusFour) {
    const std::string log = write("log", mText);
    EXPECT_EQ(run({log, "-o", path("absent/out")}), 4);
    EXPECT_THAT(mErrors, EndsWith("absent/out: No such file or directory\n"));
}

}  // namespace
}  // namespace phonelog
