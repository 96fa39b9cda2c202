// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Uevents of the phone's kernel, recorded and raised one by one.
#pragma once

#include <array>
#include <chrono>
#include <string>
#include <string_view>

#include <utils/Mutex.h>

#include "emulator/phone/Journal.h"
#include "emulator/phone/backend/Backend.h"

namespace phone {

// What the cover's touch panel reports: gestures, and what its pen does and needs.
inline constexpr std::array<std::string_view, 1> kGestures = {"WAKEUP"};
inline constexpr std::array<std::string_view, 7> kPenEvents = {
        "BV_PEN_WAKEUP",   "BV_PEN_WAKEUP_BTN", "BV_PEN_DETECTION", "SWITCH_AES_BOTH",
        "SWITCH_AES_TO_1", "SWITCH_AES_TO_2",   "BV_UPDATE_STATE",
};

// The message by which the touch panel's driver reports an event, whatever its name. The kernel
// appends "SEQNUM=<n>".
std::string touchEventMessage(std::string_view event);

// Any thread but the emulator's. What cannot be raised is thrown as phone::Error.
class Uevents {
  public:
    Uevents(Journal& journal, Backend& backend) : mJournal(journal), mBackend(backend) {}

    // Makes the kernel raise a message of at most kLongestUevent bytes: strings, each ended by a
    // NUL. Events come so far apart that a listener keeps up with any number of them.
    void raise(const std::string& message) EXCLUDES(mLock);
    // The message so many times without a gap: a listener whose buffer is full loses the later
    // ones.
    static constexpr int kMostInBurst = 10'000;
    void burst(const std::string& message, int count) EXCLUDES(mLock);
    // touchEventMessage() of one of kGestures or kPenEvents, or of any other name.
    void raiseTouch(const std::string& name) EXCLUDES(mLock);
    // Sends the bytes as any process may: listeners are to ignore it.
    void forge(const std::string& message) EXCLUDES(mLock);

  private:
    void record(const std::string& message, const char* note) REQUIRES(mLock);

    Journal& mJournal;
    Backend& mBackend;
    android::Mutex mLock;  // one event at a time
    // The next event comes no sooner.
    std::chrono::steady_clock::time_point mNext GUARDED_BY(mLock){};
};

}  // namespace phone
