// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/world/PluggedDevice.h"

#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>

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
        LineSettings& kept = mBackend.lineSettings();
        const auto settings = kept.find(*mDescription.tty);
        mTty.emplace(*mDescription.tty,
                     settings == kept.end() ? std::nullopt : std::optional(settings->second));
        mBackend.loop().watch(mTty->events(), POLLIN, [this](short) {
            mTty->takeEvent();
            readTty();
            mTty->flush();
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
    mBackend.lineSettings()[*mDescription.tty] = mTty->settings();
    mTty.reset();
}

void PluggedDevice::takeHidrawAway() {
    if (mHasHidraw) mBackend.hidraw().unplug(*mDescription.hidraw);
    mHasHidraw = false;
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
    setModemLines(TIOCM_DTR | TIOCM_RTS);
    mWasOpen = true;
    mTty->flush();
    // The kernel hands over what is on its way: what has waited in the device is there to be read.
    pollfd state = {verdict.replacement.get(), POLLIN, 0};
    poll(&state, 1, 0);
    return verdict;
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
    const std::string bytes = mTty->read();
    mBackend.drainFiles();
    if (!bytes.empty()) mDescription.ttyListener->ttyReceived(mTty->node(), bytes);
    if (!isClosed) return;
    mWasOpen = false;
    if ((mTty->settings().c_cflag & HUPCL) != 0) setModemLines(0);
}

void PluggedDevice::send(std::string_view bytes) {
    mTty->send(bytes);
    mTty->flush();
}

}  // namespace phone
