// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the cover does in the course of time: it sends, leaves the bus and comes back.

#include <algorithm>
#include <exception>

#include "emulator/phone/devices/Cover.h"
#include "emulator/phone/devices/Firmware.h"
#include "emulator/phone/devices/Loader.h"

namespace phone {

using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

// From leaving the bus to being back on it.
constexpr cover::Time kAwayTime = milliseconds(50);
// How long a departure waits for the phone to read, and how often it looks.
constexpr cover::Time kReadLimit = seconds(3);
constexpr cover::Time kReadCheck = milliseconds(1);
// Actions of the cover in one turn of the loop; others get their turn in between.
constexpr int kActionsPerTurn = 16;

}  // namespace

std::optional<cover::Time> Cover::turn() {
    if (mReturn && EventLoop::now() >= mReturn->due) comeBack();
    // The client that asked the cover to leave waits, whatever else is still to be sent.
    if (!mDepartures.empty() && EventLoop::now() >= *mLeaveLimit) detach();
    const bool waits = !performSome();
    if (mLeaveLimit) return std::min(EventLoop::now() + kReadCheck, *mLeaveLimit);
    // A full tty wakes the loop when there is room. Other actions that are left go on at once.
    std::optional<cover::Time> next;
    if (!mActions.empty()) {
        if (!waits) next = EventLoop::now();
    } else {
        next = mController->nextDeadline();
    }
    if (mReturn) next = std::min(next.value_or(mReturn->due), mReturn->due);
    return next;
}

bool Cover::performSome() {
    for (int i = 0; i < kActionsPerTurn; ++i) {
        if (mActions.empty()) {
            for (cover::Action& action : mController->poll(EventLoop::now())) {
                mActions.push_back(std::move(action));
            }
            recordStrikes(ttyNode(mOptions.tty), mController->faults().takeStrikes());
            if (mActions.empty()) break;
        }
        const cover::Action action = mActions.front();
        if (!perform(action)) return false;
        if (!mActions.empty()) mActions.pop_front();
    }
    return true;
}

bool Cover::perform(const cover::Action& action) {
    switch (action.kind) {
        case cover::Action::Kind::Send:
            if (!hasTty()) return true;
            if (!mDevice->hasRoom()) return false;
            transmit(action.bytes);
            return true;
        case cover::Action::Kind::Progress:
            mFirmware.note(std::to_string(action.percent) + "%");
            return true;
        case cover::Action::Kind::HangUp:
        case cover::Action::Kind::Reenumerate:
            return leave(action);
    }
    return true;
}

bool Cover::leave(const cover::Action& action) {
    const bool isInLoader = mLoader.isCover();
    if (!isInLoader && !mDevice) return true;
    const bool returns = action.kind == cover::Action::Kind::Reenumerate;
    if (isInLoader) {
        mLoader.unplug();
    } else {
        // A recovery resets the device: it waits for no reply.
        const bool isReset = returns && action.identity == mController->options().usb;
        if (!isReset && !mayLeave()) return false;
        unplug();
    }
    if (returns) {
        mReturn = {EventLoop::now() + kAwayTime, action.identity};
    } else {
        mController->powerDown();
    }
    return true;
}

bool Cover::mayLeave() {
    if (!mOptions.withTty || !mDevice->hasUnread()) return true;
    const cover::Time now = EventLoop::now();
    if (!mLeaveLimit) mLeaveLimit = now + kReadLimit;
    return now >= *mLeaveLimit;
}

std::future<void> Cover::detachWhenRead() {
    return call([&] {
        requireAttached();
        mDepartures.emplace_back();
        mLeaveLimit = EventLoop::now() + kReadLimit;
        mActions.push_back({.kind = cover::Action::Kind::HangUp});
        return mDepartures.back().get_future();
    });
}

void Cover::comeBack() {
    const cover::UsbIdentity identity = std::exchange(mReturn, std::nullopt)->identity;
    try {
        if (identity == mController->options().usb) {
            attachAgain();
        } else {
            // Another may have come meanwhile.
            if (mLoader.isAttached()) mLoader.unplug();
            mLoader.plug(identity);
        }
    } catch (const std::exception& error) {
        // Its node is taken, or the phone is out of descriptors: no client waits for an answer
        // here.
        mController->powerDown();
        mJournal.add(Kind::Detach, {}, {}, std::string("does not come back: ") + error.what());
    }
}

}  // namespace phone
