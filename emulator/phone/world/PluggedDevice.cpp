// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/world/PluggedDevice.h"

#include <cerrno>

#include <fcntl.h>
#include <poll.h>

#include "emulator/phone/world/WorldBackend.h"

namespace phone {

PluggedDevice::~PluggedDevice() {
    takeTtyAway();
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
    mBackend.hidraw().plug(*mDescription.hidraw, *mDescription.hidListener);
    mHasHidraw = true;
}

void PluggedDevice::hangUp() {
    readTty();
    takeTtyAway();
    if (!mHasHidraw) return;
    mBackend.hidraw().drain();
    takeHidrawAway();
    mBackend.decideWaiting();
}

void PluggedDevice::takeTtyAway() {
    if (!mTty) return;
    mBackend.loop().unwatch(mTty->events());
    mTty.reset();
}

void PluggedDevice::takeHidrawAway() {
    if (mHasHidraw) mBackend.hidraw().unplug(*mDescription.hidraw);
    mHasHidraw = false;
}

bool PluggedDevice::hasTty(const std::string& path) const {
    return mTty && (path == mTty->node() || path == mTty->pty());
}

Verdict PluggedDevice::openTty(const OpenCall& call) {
    Verdict verdict;
    verdict.replacement = mTty->open(call.flags);
    if (!verdict.replacement.ok()) {
        verdict.error = errno;
        return verdict;
    }
    verdict.closeOnExec = (call.flags & O_CLOEXEC) != 0;
    mDescription.ttyListener->ttyOpened(mTty->node(), call.nameFlags());
    // As the kernel does at each open. Nothing lowers it at the close: HUPCL is not set.
    tellDtr(true);
    mTty->flush();
    // The kernel hands over what is on its way: what has waited in the device is there to be read.
    pollfd state = {verdict.replacement.get(), POLLIN, 0};
    poll(&state, 1, 0);
    return verdict;
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
    mTty->flush();
}

}  // namespace phone
