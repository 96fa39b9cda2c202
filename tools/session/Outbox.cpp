// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/session/Outbox.h"

#include <errno.h>
#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>

#include "tools/session/Message.h"

namespace session {
namespace {

using ::android::AutoMutex;
using ::android::base::unique_fd;

sigset_t endingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM}) sigaddset(&signals, number);
    return signals;
}

unique_fd required(int descriptor) {
    if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "cannot wait");
    return unique_fd(descriptor);
}

std::string droppedLine(size_t count) {
    return notificationLine("eventsLost", {{"count", count}});
}

}  // namespace

Outbox::Outbox(int output, Ends ends) : mOutput(output), mEnds(std::move(ends)) {
    const sigset_t signals = endingSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    mSignals = required(signalfd(-1, &signals, SFD_CLOEXEC));
    mWake = required(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    mThread = std::thread(&Outbox::writeLines, this);
}

Outbox::~Outbox() {
    finish();
}

void Outbox::tell(std::string line) {
    const AutoMutex lock(mMutex);
    if (mIsFinished) return;
    if (mBytes + line.size() <= kMostQueuedBytes) return push(std::move(line));
    if (mItems.empty() || mItems.back().dropped == 0) mItems.emplace_back();
    ++mItems.back().dropped;
    wake();
}

void Outbox::answer(std::string line) {
    const AutoMutex lock(mMutex);
    while (mBytes > kMostQueuedBytes) mHasRoom.wait(mMutex);
    push(std::move(line));
}

void Outbox::finish() {
    {
        const AutoMutex lock(mMutex);
        mIsFinished = true;
    }
    wake();
    if (mThread.joinable()) mThread.join();
}

void Outbox::push(std::string line) {
    mBytes += line.size();
    mItems.push_back({.line = std::move(line)});
    wake();
}

void Outbox::wake() const {
    eventfd_write(mWake.get(), 1);
}

void Outbox::writeLines() {
    while (true) {
        const std::string line = take();
        if (!line.empty()) {
            write(line);
            continue;
        }
        if (mIsEnding) mEnds.bySignal();
        {
            const AutoMutex lock(mMutex);
            if (mIsFinished && mItems.empty()) return;
        }
        await(false);
    }
}

std::string Outbox::take() {
    const AutoMutex lock(mMutex);
    if (mItems.empty()) return "";
    const Item item = std::move(mItems.front());
    mItems.pop_front();
    mBytes -= item.line.size();
    mHasRoom.signal();
    return (item.dropped == 0 ? item.line : droppedLine(item.dropped)) + "\n";
}

void Outbox::write(const std::string& line) {
    for (size_t at = 0; at < line.size();) {
        await(true);
        // A pipe that is ready takes as much without waiting.
        const size_t piece = std::min<size_t>(line.size() - at, PIPE_BUF);
        const ssize_t written = ::write(mOutput, line.data() + at, piece);
        if (written >= 0) {
            at += static_cast<size_t>(written);
        } else if (errno != EAGAIN && errno != EINTR) {
            mEnds.byOutput(errno);
        }
    }
}

void Outbox::await(bool isWriting) {
    const short outputEvents = isWriting ? POLLOUT : 0;
    const short wakeEvents = isWriting ? 0 : POLLIN;
    pollfd polled[] = {
            {mOutput, outputEvents, 0}, {mSignals.get(), POLLIN, 0}, {mWake.get(), wakeEvents, 0}};
    // After a signal, only what goes out without waiting.
    if (poll(polled, std::size(polled), mIsEnding ? 0 : -1) < 0) return;
    if (polled[1].revents != 0) mIsEnding = true;
    // The other end of a pipe or terminal is gone; a regular file has no such events.
    if ((polled[0].revents & (POLLERR | POLLHUP)) != 0) mEnds.byOutput(EPIPE);
    if (mIsEnding && isWriting && (polled[0].revents & POLLOUT) == 0) mEnds.bySignal();
    eventfd_t ignored;
    if (polled[2].revents != 0) eventfd_read(mWake.get(), &ignored);
}

}  // namespace session
