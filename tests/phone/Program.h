// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivista-emulator as a process, for tests of what people and scripts meet.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/Process.h"

namespace program {

inline const std::string kEmulator = EMULATOR;

namespace fs = std::filesystem;
using support::Outcome;
using support::Process;

inline std::vector<std::string> linesOf(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

class ProgramTest : public testing::Test {
  protected:
    ProgramTest() {
        char folder[] = "/tmp/emulator-test-XXXXXX";
        if (mkdtemp(folder) == nullptr) std::abort();
        mFolder = folder;
        setenv("HIDL_SOCKET_DIR", (mFolder + "/hidl").c_str(), 1);
        // ThreadSanitizer lets every program sleep for a second at its end.
        const char* options = getenv("TSAN_OPTIONS");
        setenv("TSAN_OPTIONS",
               (std::string(options == nullptr ? "" : options) + ":atexit_sleep_ms=10").c_str(), 1);
    }
    ~ProgramTest() override { fs::remove_all(mFolder); }

    static std::vector<std::string> emulator(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), kEmulator);
        return arguments;
    }

    static Outcome invoke(const std::vector<std::string>& arguments) {
        return Process(emulator(arguments)).outcome();
    }
    static Outcome ctl(std::vector<std::string> words) {
        words.insert(words.begin(), "ctl");
        return invoke(words);
    }
    static Outcome runShell(const std::string& script) {
        return invoke({"run", "--", "/bin/sh", "-c", script});
    }
    // An emulator that lives as long as the object.
    static std::vector<std::string> stayingUp() {
        return emulator({"run", "--", "/bin/sh", "-c", "echo up; read line || exit 0"});
    }

    // The build may lie in a folder that is closed to other users.
    std::string copyForEverybody() const {
        std::string copy = mFolder + "/bivista-emulator";
        fs::copy(kEmulator, copy);
        EXPECT_EQ(chmod(mFolder.c_str(), 0777), 0);
        return copy;
    }

    static std::string contentOf(const std::string& path) {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    static void expectUsageErrors(const std::vector<std::vector<std::string>>& wrong) {
        for (const std::vector<std::string>& arguments : wrong) {
            const Outcome outcome = invoke(arguments);
            EXPECT_EQ(outcome.status, 2) << testing::PrintToString(arguments);
            EXPECT_NE(outcome.err, "") << testing::PrintToString(arguments);
            EXPECT_EQ(outcome.out, "") << testing::PrintToString(arguments);
        }
    }

    std::string mFolder;
};

}  // namespace program
