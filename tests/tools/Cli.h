// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "tests/support/Process.h"

using support::Process;

struct Result {
    int code;
    std::string output;
    std::string errors;
};

// A command line that is wrong usage, and part of the message for it.
struct Mistake {
    std::vector<std::string> words;
    std::string message;
};

// bivistactl and a fake service in a registry of their own.
class CliTest : public testing::Test {
  protected:
    CliTest();
    ~CliTest() override;

    // Starts the fake service with these options and waits until it is registered.
    void givenService(const std::vector<std::string>& options = {});
    pid_t servicePid() const { return mService->pid(); }
    // Kills it, as a crash would.
    void killService();

    // Runs bivistactl to its end.
    Result run(const std::vector<std::string>& arguments, int output = -1);
    // The same with a terminal as its output.
    Result runOnTerminal(const std::vector<std::string>& arguments);
    // Starts it.
    std::unique_ptr<Process> start(const std::vector<std::string>& arguments, int output = -1);
    // The same with this file, a terminal for instance, as its standard error.
    static std::unique_ptr<Process> startWithErrors(const std::string& errors,
                                                    const std::vector<std::string>& arguments,
                                                    int output = -1);
    // What the program that start() started last wrote to standard error so far.
    std::string errors() const;

    // Runs it. Only standard error reports the mistake, and names the help.
    void expectWrongUsage(const Mistake& mistake);

    // The next call that the service recorded, as JSON; waits for it.
    nlohmann::ordered_json nextCall();

    const std::string mFolder;

  private:
    std::string errorFile() const { return mFolder + "/errors"; }

    std::unique_ptr<Process> mService;
};

// The text as the fake service takes it in its options.
std::string hex(const std::string& bytes);
