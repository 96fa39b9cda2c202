// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/report/Program.h"

#include <android-base/unique_fd.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <string.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <utility>

extern char** environ;

namespace report {
namespace {

using ::android::base::unique_fd;
using Clock = std::chrono::steady_clock;

constexpr size_t kMostErrors = 4096;

// A stream of the program, of which the end is kept.
struct Stream {
    unique_fd reader;
    size_t most;
    std::string text = {};

    // Reads some. False at its end.
    bool read() {
        char piece[1 << 16];
        const ssize_t count = ::read(reader.get(), piece, sizeof(piece));
        if (count < 0) return errno == EINTR;
        text.append(piece, static_cast<size_t>(count));
        // One more byte tells whether a line begins after it.
        if (text.size() > 2 * most + 1) text.erase(0, text.size() - most - 1);
        return count > 0;
    }
};

// A process that has a group of its own, with all that it starts.
class Child {
  public:
    Child(const std::vector<std::string>& command, int output, int errors) {
        std::vector<char*> words;
        for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
        words.push_back(nullptr);
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&files, errors, STDERR_FILENO);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
        mError = posix_spawnp(&mPid, words[0], &files, &attributes, words.data(), environ);
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&files);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    // The errno of its start.
    int error() const { return mError; }
    // Waits for its end until then, and kills it after that. Returns its status as waitpid() does.
    int await(Clock::time_point end) const {
        const unique_fd process(static_cast<int>(syscall(SYS_pidfd_open, mPid, 0)));
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        pollfd ended = {process.get(), POLLIN, 0};
        if (left.count() <= 0 || poll(&ended, 1, static_cast<int>(left.count())) <= 0) {
            kill(-mPid, SIGKILL);
        }
        int status = 0;
        while (waitpid(mPid, &status, 0) < 0 && errno == EINTR) {
        }
        return status;
    }

  private:
    pid_t mPid = -1;
    int mError = 0;
};

// False when the time was over before both streams were at their end.
bool readBoth(Stream* output, Stream* errors, Clock::time_point end) {
    pollfd open[2] = {{output->reader.get(), POLLIN, 0}, {errors->reader.get(), POLLIN, 0}};
    while (open[0].fd >= 0 || open[1].fd >= 0) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        if (left.count() <= 0) return false;
        if (poll(open, 2, static_cast<int>(left.count())) <= 0) continue;
        if (open[0].revents != 0 && !output->read()) open[0].fd = -1;
        if (open[1].revents != 0 && !errors->read()) open[1].fd = -1;
    }
    return true;
}

std::string lastLine(std::string text) {
    while (!text.empty() && text.back() == '\n') text.pop_back();
    const size_t before = text.rfind('\n');
    return before == std::string::npos ? text : text.substr(before + 1);
}

}  // namespace

Printed runProgram(const std::vector<std::string>& command, size_t most,
                   std::chrono::milliseconds patience) {
    const std::string& name = command.front();
    unique_fd outputReader;
    unique_fd outputWriter;
    unique_fd errorReader;
    unique_fd errorWriter;
    if (!::android::base::Pipe(&outputReader, &outputWriter) ||
        !::android::base::Pipe(&errorReader, &errorWriter)) {
        return {"", std::string("cannot make a pipe: ") + strerror(errno)};
    }
    const Child child(command, outputWriter.get(), errorWriter.get());
    outputWriter.reset();
    errorWriter.reset();
    if (child.error() != 0) return {"", "cannot run " + name + ": " + strerror(child.error())};
    Stream output = {std::move(outputReader), most};
    Stream errors = {std::move(errorReader), kMostErrors};
    const Clock::time_point end = Clock::now() + patience;
    const bool isWhole = readBoth(&output, &errors, end);
    const int status = child.await(end);
    if (!isWhole || WIFSIGNALED(status)) {
        return {"", name + " took longer than " + std::to_string(patience.count()) +
                            " ms, or was killed"};
    }
    if (status == 0) return {lastLines(std::move(output.text), most), ""};
    const std::string reason = lastLine(errors.text);
    return {"", reason.empty() ? name + " failed" : reason};
}

std::string lastLines(std::string text, size_t most) {
    if (text.size() <= most) return text;
    // A line begins after a line feed, which may be the byte before the kept ones.
    text.erase(0, text.size() - most - 1);
    const size_t line = text.find('\n');
    return text.substr(line == std::string::npos ? 1 : line + 1);
}

}  // namespace report
