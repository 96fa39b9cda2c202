#pragma once

#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/types.h>

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

// A program with its standard output in our hands. Killed when it still runs at the end.
class Process {
  public:
    // Standard error goes into the file `errors`; `output` instead of our pipe when not negative.
    Process(const std::vector<std::string>& command, const std::string& errors, int output = -1);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    // The next line of its output, without the newline; waits for it. Empty at the end.
    std::string line();
    // All the rest of its output; waits for its end.
    std::string rest();
    // Waits for its end: its exit status, or minus the signal that ended it.
    int wait();
    void signal(int number);

  private:
    pid_t mPid = -1;
    FILE* mOutput = nullptr;
};

struct Result {
    int code;
    std::string output;
    std::string errors;
};

// A command line that is wrong usage, and what a person is told, among the rest.
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
    std::string errorFile() const { return mFolder + "/errors"; }

    // Runs it; nothing but standard error tells of the mistake, and where to read more.
    void expectWrongUsage(const Mistake& mistake);

    // The next call that the service recorded, as JSON; waits for it.
    nlohmann::ordered_json nextCall();

    const std::string mFolder;

  private:
    std::unique_ptr<Process> mService;
};

// The text as the fake service takes it in its options.
std::string hex(const std::string& bytes);
