#include "emulator/phone/Uevents.h"

#include <thread>

#include "emulator/phone/Files.h"
#include "emulator/phone/Phone.h"

namespace phone {

namespace {

constexpr char kDevice[] = "/devices/virtual/bivista/bv2";

// A listener's buffer of 64 KiB holds some 150 events.
constexpr std::chrono::milliseconds kGap(2);

// The multicast group of the kernel's own uevents.
constexpr uint32_t kKernelGroup = 1;

void append(std::string& message, std::string_view string) {
    message.append(string).push_back('\0');
}

}  // namespace

std::string touchEventMessage(std::string_view event) {
    std::string message;
    append(message, std::string("change@") + kDevice);
    append(message, "ACTION=change");
    append(message, std::string("DEVPATH=") + kDevice);
    append(message, "SUBSYSTEM=QMX_BV2");
    append(message, "TOUCH_GESTURE_WAKEUP=" + std::string(event));
    return message;
}

void Uevents::raise(const std::string& message) {
    const std::lock_guard lock(mLock);
    std::this_thread::sleep_until(mNext);
    record(message, "");
    mSender.throughKernel(message);
    mNext = std::chrono::steady_clock::now() + kGap;
}

void Uevents::forge(const std::string& message) {
    const std::lock_guard lock(mLock);
    record(message, "forged");
    if (!mSender.asProcess(message, 0, kKernelGroup)) throwErrno("cannot send a uevent");
}

// First the record: the phone's software may act on the event at once.
void Uevents::record(const std::string& message, const char* note) {
    if (message.empty() || message.size() > UeventSender::kLimit) {
        throw Error("a uevent holds 1 to " + std::to_string(UeventSender::kLimit) + " bytes");
    }
    mJournal.sync();
    mJournal.add(Kind::Uevent, {}, message, note);
}

}  // namespace phone
