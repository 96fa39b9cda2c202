// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/program/JournalStream.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <iterator>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/stat.h>

#include "cli/Message.h"
#include "emulator/phone/Phone.h"
#include "emulator/phone/program/CtlCommand.h"
#include "emulator/phone/world/Files.h"

namespace emulator {

namespace {

// As much as the journal itself keeps in memory.
constexpr size_t kFarthestBehind = phone::Journal::kMaxBytes;
// How long a reader may take nothing after the phone has ended.
constexpr int kPatienceMs = 5000;

android::base::unique_fd openToWrite(const std::string& path, int how) {
    return android::base::unique_fd(open(path.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC | how));
}

android::base::unique_fd awaitReader(const std::string& path) {
    cli::remark(kProgram, "waits until somebody reads the FIFO " + path + ", the journal's");
    android::base::unique_fd target = openToWrite(path, 0);
    if (target.ok()) fcntl(target.get(), F_SETFL, O_NONBLOCK);
    return target;
}

// A signalfd of the signals that end a program.
android::base::unique_fd openEndingSignals() {
    sigset_t ending;
    sigemptyset(&ending);
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) sigaddset(&ending, number);
    return android::base::unique_fd(signalfd(-1, &ending, SFD_CLOEXEC));
}

}  // namespace

std::unique_ptr<JournalStream> JournalStream::openSpecial(const std::string& path) {
    struct stat info;
    if (stat(path.c_str(), &info) != 0 || S_ISREG(info.st_mode)) return nullptr;
    android::base::unique_fd target = openToWrite(path, O_NONBLOCK);
    if (!target.ok() && errno == ENXIO && S_ISFIFO(info.st_mode)) target = awaitReader(path);
    if (!target.ok()) phone::throwErrno("cannot write the journal " + path);
    return std::unique_ptr<JournalStream>(new JournalStream(path, std::move(target)));
}

JournalStream::JournalStream(std::string path, android::base::unique_fd target)
    : mPath(std::move(path)), mTarget(std::move(target)) {}

JournalStream::~JournalStream() {
    if (mThread.joinable()) mThread.join();
}

void JournalStream::carry(phone::Journal& journal, const std::string& firstLine) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) phone::throwErrno("cannot make a pipe");
    mSource = android::base::unique_fd(ends[0]);
    const android::base::unique_fd journals(ends[1]);
    mSignals = openEndingSignals();
    if (!mSignals.ok()) phone::throwErrno("cannot make a signalfd");
    if (!journal.writeTo("/proc/self/fd/" + std::to_string(journals.get()), firstLine)) {
        phone::throwErrno("cannot open a pipe");
    }
    sigset_t all;
    sigset_t old;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &old);
    mThread = std::thread([this] { passOnAll(); });
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
}

void JournalStream::passOnAll() {
    while (mSource.ok() || !mPending.empty()) {
        const short wanted = mPending.empty() ? 0 : POLLOUT;
        pollfd watched[] = {{mSource.get(), POLLIN, 0},
                            {mTarget.get(), wanted, 0},
                            {mSource.ok() ? -1 : mSignals.get(), POLLIN, 0}};
        const int ready = poll(watched, std::size(watched), mSource.ok() ? -1 : kPatienceMs);
        if (ready == 0) giveUp("its reader takes nothing");
        if (watched[0].revents != 0) take();
        if ((watched[1].revents & (POLLERR | POLLHUP)) != 0) giveUp("its reader has gone");
        if ((watched[1].revents & POLLOUT) != 0) passOn();
        if (watched[2].revents != 0) giveUp("it was interrupted");
    }
}

void JournalStream::take() {
    char bytes[1 << 16];
    const ssize_t count = read(mSource.get(), bytes, sizeof(bytes));
    if (count <= 0) {
        mSource = android::base::unique_fd();
    } else if (mTarget.ok()) {
        mPending.append(bytes, static_cast<size_t>(count));
        if (mPending.size() - mPassed > kFarthestBehind) giveUp("its reader is too slow");
    }
}

void JournalStream::passOn() {
    if (!mTarget.ok()) return;
    const ssize_t count =
            write(mTarget.get(), mPending.data() + mPassed, mPending.size() - mPassed);
    if (count < 0) {
        if (errno != EAGAIN) giveUp(strerror(errno));
        return;
    }
    mPassed += static_cast<size_t>(count);
    // Bytes that were passed on are removed seldom, since that moves all others.
    if (mPassed < mPending.size() - mPassed) return;
    mPending.erase(0, mPassed);
    mPassed = 0;
}

void JournalStream::giveUp(const std::string& reason) {
    if (mTarget.ok()) cli::complain(kProgram, "the journal " + mPath + " is not whole: " + reason);
    mTarget = android::base::unique_fd();
    mPending.clear();
    mPassed = 0;
}

}  // namespace emulator
