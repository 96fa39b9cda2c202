// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/world/PluggedDevice.h"

#include <cerrno>
#include <chrono>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
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
        mTty->send(mEarly);
        mBackend.loop().watch(mTty->events(), POLLIN, [this](short) {
            mTty->takeEvent();
            readTty();
            mTty->flush();
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

Verdict PluggedDevice::openTty(const OpenCall& call, bool waited) {
    Verdict verdict;
    TtyListener& listener = *mDescription.ttyListener;
    if (const cover::Time delay = listener.wake(); !waited && delay > cover::Time::zero()) {
        verdict.askAgainAfter = delay;
        return verdict;
    }
    verdict.replacement = mTty->open(call.flags);
    if (!verdict.replacement.ok()) {
        verdict.error = errno;
        return verdict;
    }
    verdict.closeOnExec = (call.flags & O_CLOEXEC) != 0;
    if (const auto wait = listener.ttyOpened(mTty->node(), call.nameFlags())) {
        mClosingWait = *wait;
        verdict.numbers = kTtyNumbers;
    }
    setModemLines(TIOCM_DTR | TIOCM_RTS);
    mWasOpen = true;
    mTty->flush();
    // The kernel hands over what is on its way: what has waited in the device is there to be read.
    pollfd state = {verdict.replacement.get(), POLLIN, 0};
    poll(&state, 1, 0);
    return verdict;
}

std::optional<cover::Time> PluggedDevice::closeTty(const CloseCall& call, bool waited) {
    if (mUntaken.empty() || countDescriptors(call.file) > 1) return std::nullopt;
    const cover::Time now = EventLoop::now();
    if (!waited) mCloseLimit = now + mClosingWait;
    if (now < mCloseLimit) return mCloseLimit - now;
    loseUntaken();
    return std::nullopt;
}

void PluggedDevice::setModemLines(int lines) {
    mModemLines = lines & (TIOCM_DTR | TIOCM_RTS);
    mDescription.ttyListener->dtrSet(mTty->node(), (lines & TIOCM_DTR) != 0);
}

Verdict PluggedDevice::controlModem(const IoctlCall& call) {
    Verdict verdict;
    if (!call.value) {
        verdict.error = EFAULT;
        return verdict;
    }
    verdict.result = 0;
    switch (call.request) {
        case TIOCMBIS:
            setModemLines(mModemLines | *call.value);
            break;
        case TIOCMBIC:
            setModemLines(mModemLines & ~*call.value);
            break;
        case TIOCMSET:
            setModemLines(*call.value);
            break;
        default: {
            // An ACM device has no CTS of its own; its driver reports it as raised.
            const int lines = mModemLines | TIOCM_CTS;
            verdict.output.assign(reinterpret_cast<const char*>(&lines), sizeof(lines));
        }
    }
    return verdict;
}

void PluggedDevice::readTty() {
    if (!mTty) return;
    // Looked at first: nothing is written after the last close.
    const bool isClosed = mWasOpen && !mTty->isOpen();
    offerWritten();
    if (!isClosed) return;
    mWasOpen = false;
    if (!mUntaken.empty()) loseUntaken();
    if ((mTty->settings().c_cflag & HUPCL) != 0) setModemLines(0);
}

void PluggedDevice::offerWritten() {
    const bool isHeldUp = !mUntaken.empty();
    if (!isHeldUp) mUntaken = mTty->read();
    mBackend.drainFiles();
    if (mUntaken.empty()) return;
    mUntaken.erase(0, mDescription.ttyListener->ttyReceived(mTty->node(), mUntaken));
    // The rest waits in the pty.
    if (isHeldUp && mUntaken.empty()) offerWritten();
}

// As the kernel does with what is still in its buffers when the tty is shut down.
void PluggedDevice::loseUntaken() {
    mUntaken += mTty->read();
    mDescription.ttyListener->ttyLost(mTty->node(), std::exchange(mUntaken, {}));
}

void PluggedDevice::send(std::string_view bytes) {
    if (!mTty) {
        mEarly += bytes;
        return;
    }
    mTty->send(bytes);
    mTty->flush();
}

}  // namespace phone
