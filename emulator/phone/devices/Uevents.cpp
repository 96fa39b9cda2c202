// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/devices/Uevents.h"

#include <thread>

#include "emulator/phone/Error.h"

namespace phone {

namespace {

constexpr char kDevice[] = "/devices/virtual/bivista/bv2";

// A listener's buffer of 64 KiB holds some 170 events.
constexpr std::chrono::milliseconds kGap(2);

}  // namespace

std::string touchEventMessage(std::string_view event) {
    const std::string device = kDevice;
    std::string message;
    for (const std::string& string :
         {"change@" + device, std::string("ACTION=change"), "DEVPATH=" + device,
          std::string("SUBSYSTEM=QMX_BV2"), "TOUCH_GESTURE_WAKEUP=" + std::string(event)}) {
        message.append(string).push_back('\0');
    }
    return message;
}

void Uevents::raise(const std::string& message) {
    const android::AutoMutex lock(mLock);
    std::this_thread::sleep_until(mNext);
    record(message, "");
    mBackend.raiseUevent(message);
    mNext = std::chrono::steady_clock::now() + kGap;
}

void Uevents::burst(const std::string& message, int count) {
    if (count < 1 || count > kMostInBurst) {
        throw Error("a burst has 1 to " + std::to_string(kMostInBurst) + " events");
    }
    const android::AutoMutex lock(mLock);
    for (int i = 0; i < count; ++i) {
        record(message, "");
        mBackend.raiseUevent(message);
    }
    mNext = std::chrono::steady_clock::now() + kGap;
}

void Uevents::raiseTouch(const std::string& name) {
    raise(touchEventMessage(name));
}

void Uevents::forge(const std::string& message) {
    const android::AutoMutex lock(mLock);
    record(message, "forged");
    mBackend.forgeUevent(message);
}

// First the record: the phone's software may act on the event at once.
void Uevents::record(const std::string& message, const char* note) {
    if (message.empty() || message.size() > kLongestUevent) {
        throw Error("a uevent holds 1 to " + std::to_string(kLongestUevent) + " bytes");
    }
    mJournal.sync();
    mJournal.add(Kind::Uevent, {}, message, note);
}

}  // namespace phone
