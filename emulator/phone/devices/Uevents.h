// Uevents of the phone's kernel, recorded and raised one by one.
#pragma once

#include <array>
#include <chrono>
#include <mutex>
#include <string>
#include <string_view>

#include "emulator/phone/Journal.h"
#include "emulator/phone/backend/Backend.h"

namespace phone {

// What the cover's touch panel has to tell: gestures, and what its pen does and needs.
inline constexpr std::array<std::string_view, 1> kGestures = {"WAKEUP"};
inline constexpr std::array<std::string_view, 7> kPenEvents = {
        "BV_PEN_WAKEUP",   "BV_PEN_WAKEUP_BTN", "BV_PEN_DETECTION", "SWITCH_AES_BOTH",
        "SWITCH_AES_TO_1", "SWITCH_AES_TO_2",   "BV_UPDATE_STATE",
};

// The message in which the touch panel's driver tells of an event, whatever its name; the kernel
// puts "SEQNUM=<n>" behind it.
std::string touchEventMessage(std::string_view event);

// Any thread but the emulator's. What cannot be raised is thrown as phone::Error.
class Uevents {
  public:
    Uevents(Journal& journal, Backend& backend) : mJournal(journal), mBackend(backend) {}

    // Has the kernel raise a message of strings, each with a NUL behind it, of at most
    // kLongestUevent bytes. Events come so far apart that a listener keeps up with any number of
    // them.
    void raise(const std::string& message);
    // touchEventMessage() of one of kGestures or kPenEvents, or of any other name.
    void raiseTouch(const std::string& name);
    // Sends the bytes as any process may: listeners are to ignore it.
    void forge(const std::string& message);

  private:
    void record(const std::string& message, const char* note);

    Journal& mJournal;
    Backend& mBackend;
    std::mutex mLock;                               // one event at a time
    std::chrono::steady_clock::time_point mNext{};  // guarded by mLock: not before
};

}  // namespace phone
