// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/devices/UsbPower.h"

#include <algorithm>

namespace phone {

namespace {

// What has waited for a device to wake is carried out before the device is idle again.
constexpr cover::Time kOpening = std::chrono::milliseconds(1);

}  // namespace

PowerOptions UsbPower::options() const {
    return call([&] { return mOptions; });
}

void UsbPower::setOptions(const PowerOptions& options) {
    call([&] {
        mOptions = options;
        if (mDevice.empty()) return;
        putDelay();
        if (!mOptions.autosuspendDelay) use();
    });
}

void UsbPower::setFirstOptions(const PowerOptions& options) {
    call([&] { mFirst = options; });
    setOptions(options);
}

std::optional<std::string> UsbPower::status() const {
    return call([&] {
        if (mDevice.empty()) return std::optional<std::string>();
        if (mBackend.managesPower()) return readStatus();
        return std::optional<std::string>(mIsSuspended ? "suspended" : "active");
    });
}

void UsbPower::plug(const std::string& device) {
    mDevice = device;
    // As the kernel: nothing suspends a device before somebody has allowed that.
    mIsAllowed = false;
    mIsSuspended = false;
    mAwake = mLastUse = EventLoop::now();
    if (!mBackend.managesPower()) put("runtime_status", "active\n");
    putDelay();
}

std::optional<std::string> UsbPower::readStatus() const {
    std::optional<std::string> text =
            mBackend.readFile("/sys/bus/usb/devices/" + mDevice + "/power/runtime_status");
    if (text) std::erase(*text, '\n');
    return text;
}

void UsbPower::unplug() {
    mDevice.clear();
    mIsSuspended = false;
}

cover::Time UsbPower::use() {
    const cover::Time now = EventLoop::now();
    if (mIsSuspended) {
        mAwake = now + mOptions.wakeTime;
        suspend(false);
    }
    mLastUse = now;
    return std::max(mAwake - now, cover::Time::zero());
}

void UsbPower::control(const std::string& path, const std::string& bytes) {
    if (mDevice.empty() || !path.ends_with("/" + mDevice + "/power/control")) return;
    const std::string word = bytes.substr(0, bytes.find('\n'));
    if (word == "auto") mIsAllowed = true;
    if (word != "on") return;
    mIsAllowed = false;
    use();
}

std::optional<cover::Time> UsbPower::turn() {
    if (mDevice.empty() || !mIsAllowed || mIsSuspended) return std::nullopt;
    if (mBackend.managesPower()) return std::nullopt;
    if (!mOptions.autosuspendDelay) return std::nullopt;
    const cover::Time due = std::max(mLastUse, mAwake + kOpening) + *mOptions.autosuspendDelay;
    if (EventLoop::now() < due) return due;
    suspend(true);
    return std::nullopt;
}

void UsbPower::put(const char* file, const std::string& text) {
    mBackend.putFile("/sys/bus/usb/devices/" + mDevice + "/power/" + file, text);
}

void UsbPower::putDelay() {
    using std::chrono::milliseconds;
    // The kernel's number for never.
    const auto delay = mOptions.autosuspendDelay.value_or(milliseconds(-1000));
    const auto count = std::chrono::duration_cast<milliseconds>(delay).count();
    put("autosuspend_delay_ms", std::to_string(count) + "\n");
}

void UsbPower::suspend(bool suspended) {
    mIsSuspended = suspended;
    put("runtime_status", suspended ? "suspended\n" : "active\n");
    mJournal.add(Kind::UsbPower, mDevice, {}, suspended ? "suspended" : "resumed");
}

}  // namespace phone
