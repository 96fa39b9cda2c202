// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Tests of every command that makes one call of the service and then only reports its status.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "tests/tools/Cli.h"

struct Setting {
    const char* name;
    std::vector<std::string> words;
    // What reaches the service.
    const char* method;
    const char* arguments;
    // Part of the message when the service answers FAIL.
    const char* onFail;
    // The message when the service answers OK.
    const char* onOk = "";
};

void PrintTo(const Setting& setting, std::ostream* out);

// Instantiated beside each list of commands.
class SettingTest : public CliTest, public testing::WithParamInterface<Setting> {
  protected:
    Result runAsJson() {
        std::vector<std::string> words = GetParam().words;
        words.push_back("--json");
        return run(words);
    }
    // What is printed of an answer.
    static std::string answered(const std::string& status) {
        return std::string(R"({"method":")") + GetParam().method + R"(","status":")" + status +
               "\"}\n";
    }
};

std::string nameOf(const testing::TestParamInfo<Setting>& info);
