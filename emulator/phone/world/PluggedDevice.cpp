// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/world/PluggedDevice.h"

#include <cerrno>
#include <chrono>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "emulator/phone/Error.h"
#include "emulator/phone/world/DescriptorCount.h"
#include "emulator/phone/world/WorldBackend.h"

namespace phone {

namespace {

// From the hang-up to the end of the nodes: enough for a program that wakes and looks.
constexpr cover::Time kLinger = std::chrono::milliseconds(5);

// The first number: the phone has one panel at most.
constexpr char kHiddevFolder[] = "/dev/usb";
constexpr char kHiddev[] = "/dev/usb/hiddev0";

}  // namespace

Hiddev::Hiddev() {
    mkdir(kHiddevFolder, 0755);
    // A socket file, as no program of the phone opens it.
    if (mknod(kHiddev, S_IFSOCK | 0600, 0) != 0) throwErrno(std::string("cannot make ") + kHiddev);
}

Hiddev::~Hiddev() {
    unlink(kHiddev);
    rmdir(kHiddevFolder);
}

PluggedDevice::~PluggedDevice() {
    hangTtyUp();
    takeHidrawAway();
    mBackend.forget(*this);
}

// The order of the device's interfaces, as the kernel has it.
void PluggedDevice::publish() {
    if (mDescription.tty) {
        mTty.emplace(*mDescription.tty);
        mBackend.loop().watch(mTty->events(), POLLIN, [this](short) {
            mTty->takeEvent();
            mTty->flush();
            readTty();
        });
    }
    mUsb.publish();
    if (mTty) mTty->publish();
    if (!mDescription.hidraw) return;
    mHiddev.emplace();
    mBackend.hidraw().plug(*mDescription.hidraw, *mDescription.hidListener);
    mHasHidraw = true;
}

// As the kernel, whose drivers let go of a device before its nodes and its files in sysfs go: what
// a hang-up or a cut off report wakes finds them still there.
void PluggedDevice::hangUp() {
    readTty();
    hangTtyUp();
    if (mHasHidraw) {
        mBackend.hidraw().drain();
        mBackend.hidraw().hangUp(*mDescription.hidraw);
    }
    mBackend.decideWaiting();
    mBackend.answerCalls(kLinger);
    mTty.reset();
    takeHidrawAway();
}

void PluggedDevice::hangTtyUp() {
    if (!mTty || mTty->isHungUp()) return;
    mUntaken.clear();
    mBackend.loop().unwatch(mTty->events());
    mTty->hangUp();
}

void PluggedDevice::takeHidrawAway() {
    mHiddev.reset();
    if (mHasHidraw) mBackend.hidraw().unplug(*mDescription.hidraw);
    mHasHidraw = false;
}

bool PluggedDevice::hasTty(const std::string& path) const {
    return mTty && (path == mTty->node() || path == mTty->pty());
}

Verdict PluggedDevice::openTty(const OpenCall& call, bool waited) {
    Verdict verdict;
    TtyListener& listener = *mDescription.ttyListener;
    verdict.askAgainAfter = listener.ttyOpened(mTty->node(), call.nameFlags(), waited);
    if (verdict.askAgainAfter) return verdict;
    verdict.replacement = mTty->open(call.flags);
    if (!verdict.replacement.ok()) {
        verdict.error = errno;
        return verdict;
    }
    verdict.closeOnExec = (call.flags & O_CLOEXEC) != 0;
    if (const auto wait = listener.longestClose()) {
        mClosingWait = *wait;
        verdict.numbers = kTtyNumbers;
    }
    // As the kernel does at each open. Nothing lowers it at the close: HUPCL is not set.
    tellDtr(true);
    mTty->flush();
    // The kernel hands over what is on its way: what has waited in the device is there to be read.
    pollfd state = {verdict.replacement.get(), POLLIN, 0};
    poll(&state, 1, 0);
    return verdict;
}

std::optional<cover::Time> PluggedDevice::closeTty(bool waited) {
    if (mUntaken.empty() || countDescriptors(mTty->pty()) > 1) return std::nullopt;
    const cover::Time now = EventLoop::now();
    if (!waited) mCloseLimit = now + mClosingWait;
    if (now < mCloseLimit) return mCloseLimit - now;
    loseUntaken();
    return std::nullopt;
}

void PluggedDevice::tellDtr(bool raised) const {
    mDescription.ttyListener->dtrSet(mTty->node(), raised);
}

void PluggedDevice::readTty() {
    if (!mTty) return;
    // Looked at first: nothing is written after the last close.
    const bool isClosed = !mTty->isOpen();
    const bool isHeldUp = !mUntaken.empty();
    if (!isHeldUp) mUntaken = mTty->read();
    mBackend.drainFiles();
    if (mUntaken.empty()) return;
    mUntaken.erase(0, mDescription.ttyListener->ttyReceived(mTty->node(), mUntaken));
    // The rest waits in the pty.
    if (isHeldUp && mUntaken.empty()) return readTty();
    if (isClosed && !mUntaken.empty()) loseUntaken();
}

// As the kernel does with what is still in its buffers when the tty is shut down.
void PluggedDevice::loseUntaken() {
    mUntaken += mTty->read();
    mDescription.ttyListener->ttyLost(mTty->node(), std::exchange(mUntaken, {}));
}

void PluggedDevice::send(std::string_view bytes) {
    mTty->send(bytes);
    mTty->flush();
}

}  // namespace phone
