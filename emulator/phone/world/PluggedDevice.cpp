// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/world/PluggedDevice.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "emulator/phone/Error.h"
#include "emulator/phone/world/WorldBackend.h"

namespace phone {

namespace {

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
    takeTtyAway();
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
    mHiddev.emplace();
    mBackend.hidraw().plug(*mDescription.hidraw, *mDescription.hidListener);
    mHasHidraw = true;
}

void PluggedDevice::hangUp() {
    readTty();
    takeTtyAway();
    if (mHasHidraw) mBackend.hidraw().drain();
    takeHidrawAway();
    mBackend.decideWaiting();
}

void PluggedDevice::takeTtyAway() {
    if (!mTty) return;
    mBackend.loop().unwatch(mTty->master());
    mTty.reset();
}

void PluggedDevice::takeHidrawAway() {
    mHiddev.reset();
    if (mHasHidraw) mBackend.hidraw().unplug(*mDescription.hidraw);
    mHasHidraw = false;
}

bool PluggedDevice::hasTty(const std::string& path) const {
    return mTty && (path == mTty->node() || path == mTty->pty());
}

std::optional<cover::Time> PluggedDevice::tellOpen(const std::string& flags, bool waited) const {
    return mDescription.ttyListener->ttyOpened(mTty->node(), flags, waited);
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
