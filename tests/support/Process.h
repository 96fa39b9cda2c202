// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Child processes of a test or a benchmark: programs, and functions of its own.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace support {

// What came of a program.
struct Outcome {
    int status = -1;  // exit status, or 128 + the signal that ended it
    std::string out;
    std::string err;
};

// What a program gets from its starter.
struct ProcessOptions {
    // Descriptors instead of out(), err(), and an input that stays empty and ends in wait().
    int standardOutput = -1;
    int standardError = -1;
    int standardInput = -1;
    // Called in the child before the program is executed; it may end the child instead.
    std::function<void()> before = {};
};

// Killed with the object, if it still runs. One thread at a time.
class Process {
  public:
    // Starts a program, which is looked up as a shell does. One that cannot be executed ends with
    // status 127.
    explicit Process(const std::vector<std::string>& command, const ProcessOptions& options = {});

    // Forks. The child calls `body`, with a function that wakes waitUntilReady(), and exits with
    // what the body returns. It has the streams of this process.
    using Ready = std::function<void()>;
    explicit Process(const std::function<int(const Ready&)>& body);

    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t pid() const { return mPid; }
    bool isRunning();
    // Writes the whole text to its input; what it no longer reads is no failure.
    void send(const std::string& text) const;
    // Ends its input.
    void endInput();
    void kill(int signal) const;
    // Ends its input, waits until no process holds its output any more and until its end, and
    // returns its status as Outcome has it.
    int wait();
    // As above, with its output.
    Outcome outcome();

    // What a program has written so far.
    std::string out();
    std::string err() const;
    // Waits until its output holds this text, or has ended.
    void waitFor(const std::string& text);
    // The next line of its output, without the newline; waits for it. Empty at the end.
    std::string line();
    // What follows the lines that were read; waits for its end.
    std::string rest();
    // Waits until a forked child has called Ready; false when it ended without.
    bool waitUntilReady();

  private:
    void take(int status);
    void awaitEnd();
    // Takes some output in; false at its end.
    bool readSome();

    pid_t mPid = -1;
    bool mEnded = false;
    int mStatus = -1;
    int mInput = -1;  // the other end of its standard input
    int mReady = -1;
    int mOut = -1;
    int mErr = -1;  // a file, which holds any amount of a log that no test reads
    std::string mOutput;
    size_t mRead = 0;  // bytes of the output that line() and rest() have returned
};

}  // namespace support
