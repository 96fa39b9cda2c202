// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/world/PluggedDevice.h"

#include <chrono>

#include <poll.h>

#include "emulator/phone/world/WorldBackend.h"

namespace phone {

namespace {

// From the hang-up to the end of the nodes: enough for a program that wakes and looks.
constexpr cover::Time kLinger = std::chrono::milliseconds(5);

}  // namespace

PluggedDevice::~PluggedDevice() {
    hangTtyUp();
    takeHidrawAway();
    mBackend.forget(*this);
}

// The order of the device's interfaces, as the kernel has it.
void PluggedDevice::publish() {
    if (mDescription.tty) {
        mTty.emplace(*mDescription.tty);
        mBackend.loop().watch(mTty->master(), POLLIN, [this](short events) {
            if ((events & POLLOUT) != 0) flush();
            readTty();
        });
    }
    mUsb.publish();
    if (mTty) mTty->publish();
    if (!mDescription.hidraw) return;
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
        mBackend.decideWaiting();
    }
    mBackend.answerCalls(kLinger);
    mTty.reset();
    takeHidrawAway();
}

void PluggedDevice::hangTtyUp() {
    if (!mTty || mTty->isHungUp()) return;
    mBackend.loop().unwatch(mTty->master());
    mTty->hangUp();
}

void PluggedDevice::takeHidrawAway() {
    if (mHasHidraw) mBackend.hidraw().unplug(*mDescription.hidraw);
    mHasHidraw = false;
}

bool PluggedDevice::hasTty(const std::string& path) const {
    return mTty && (path == mTty->node() || path == mTty->pty());
}

void PluggedDevice::tellOpen(const std::string& flags) const {
    mDescription.ttyListener->ttyOpened(mTty->node(), flags);
}

void PluggedDevice::tellDtr(bool raised) const {
    mDescription.ttyListener->dtrSet(mTty->node(), raised);
}

void PluggedDevice::readTty() {
    if (!mTty) return;
    const std::string bytes = mTty->read();
    mBackend.drainFiles();
    if (!bytes.empty()) mDescription.ttyListener->ttyReceived(mTty->node(), bytes);
}

void PluggedDevice::send(std::string_view bytes) {
    mTty->send(bytes);
    flush();
}

void PluggedDevice::flush() {
    mTty->flush();
    const bool waits = !mTty->isFlushed();
    mBackend.loop().setEvents(mTty->master(), static_cast<short>(POLLIN | (waits ? POLLOUT : 0)));
}

}  // namespace phone
