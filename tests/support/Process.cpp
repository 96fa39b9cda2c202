// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/support/Process.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace support {

namespace {

int orAbort(int result, const char* what) {
    if (result >= 0) return result;
    std::perror(what);
    std::abort();
}

void closeIfOpen(int* fd) {
    if (*fd >= 0) close(std::exchange(*fd, -1));
}

std::string contentOf(int fd) {
    std::string text;
    char buffer[65536];
    while (fd >= 0) {
        const ssize_t count = pread(fd, buffer, sizeof(buffer), static_cast<off_t>(text.size()));
        if (count <= 0) break;
        text.append(buffer, static_cast<size_t>(count));
    }
    return text;
}

}  // namespace

Process::Process(const std::vector<std::string>& command, const ProcessOptions& options) {
    std::vector<char*> words;
    for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    int input[2] = {options.standardInput, -1};
    if (input[0] < 0) orAbort(pipe2(input, O_CLOEXEC), "pipe2");
    int output[2] = {-1, options.standardOutput};
    if (output[1] < 0) orAbort(pipe2(output, O_CLOEXEC), "pipe2");
    if (options.standardError < 0) mErr = orAbort(memfd_create("log", MFD_CLOEXEC), "memfd_create");
    mPid = orAbort(fork(), "fork");
    if (mPid == 0) {
        dup2(input[0], STDIN_FILENO);
        dup2(output[1], STDOUT_FILENO);
        dup2(mErr < 0 ? options.standardError : mErr, STDERR_FILENO);
        if (options.before) options.before();
        execvp(words[0], words.data());
        _exit(127);
    }
    if (options.standardInput < 0) close(input[0]);
    if (options.standardOutput < 0) close(output[1]);
    mInput = input[1];
    mOut = output[0];
}

Process::Process(const std::function<int(const Ready&)>& body) {
    int ready[2];
    orAbort(pipe2(ready, O_CLOEXEC), "pipe2");
    mPid = orAbort(fork(), "fork");
    if (mPid == 0) {
        close(ready[0]);
        // Through exit(), so that leaks are looked for in the child too.
        std::exit(body([&] {
            if (write(ready[1], "r", 1) != 1) std::abort();
        }));
    }
    close(ready[1]);
    mReady = ready[0];
}

Process::~Process() {
    kill(SIGKILL);
    awaitEnd();
    for (int* fd : {&mInput, &mReady, &mOut, &mErr}) closeIfOpen(fd);
}

void Process::take(int status) {
    mEnded = true;
    mStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool Process::isRunning() {
    int status = 0;
    if (!mEnded && waitpid(mPid, &status, WNOHANG) == mPid) take(status);
    return !mEnded;
}

void Process::send(const std::string& text) const {
    // Not for one that has closed its input.
    signal(SIGPIPE, SIG_IGN);
    for (size_t at = 0; at < text.size();) {
        const ssize_t written = write(mInput, text.data() + at, text.size() - at);
        if (written < 0 && errno != EINTR) return;
        if (written > 0) at += static_cast<size_t>(written);
    }
}

void Process::endInput() {
    closeIfOpen(&mInput);
}

void Process::kill(int signal) const {
    // The number of one that has ended may be another's by now.
    if (!mEnded) ::kill(mPid, signal);
}

void Process::awaitEnd() {
    int status = 0;
    while (!mEnded) {
        if (waitpid(mPid, &status, 0) == mPid) take(status);
    }
}

int Process::wait() {
    endInput();
    while (readSome()) {
    }
    awaitEnd();
    return mStatus;
}

Outcome Process::outcome() {
    wait();
    return {mStatus, out(), err()};
}

bool Process::readSome() {
    char buffer[65536];
    const ssize_t count = mOut < 0 ? 0 : read(mOut, buffer, sizeof(buffer));
    if (count > 0) mOutput.append(buffer, static_cast<size_t>(count));
    return count > 0 || (count < 0 && errno == EINTR);
}

std::string Process::out() {
    int waiting = 0;
    while (mOut >= 0 && ioctl(mOut, FIONREAD, &waiting) == 0 && waiting > 0) readSome();
    return mOutput;
}

std::string Process::err() const {
    return contentOf(mErr);
}

void Process::waitFor(const std::string& text) {
    while (mOutput.find(text) == std::string::npos && readSome()) {
    }
}

std::string Process::line() {
    size_t end;
    while ((end = mOutput.find('\n', mRead)) == std::string::npos && readSome()) {
    }
    const std::string text = mOutput.substr(mRead, end - mRead);
    mRead = end == std::string::npos ? mOutput.size() : end + 1;
    return text;
}

std::string Process::rest() {
    wait();
    return mOutput.substr(std::exchange(mRead, mOutput.size()));
}

bool Process::waitUntilReady() {
    char byte;
    ssize_t count;
    while ((count = read(mReady, &byte, 1)) < 0 && errno == EINTR) {
    }
    return count == 1;
}

}  // namespace support
