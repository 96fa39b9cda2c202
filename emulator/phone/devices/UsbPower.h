// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The power of the cover's USB device: the kernel suspends a device that is idle, once its file
// power/control is "auto", and wakes it when the phone or the cover uses it.
#pragma once

#include <optional>
#include <string>

#include "emulator/phone/devices/Subject.h"

namespace phone {

struct PowerOptions {
    // From its last use to its suspension; none: it is never suspended.
    std::optional<cover::Time> autosuspendDelay = std::nullopt;
    // How long an open of its nodes waits until a suspended device is awake.
    cover::Time wakeTime{};
};

// The kernel's own delay, and what waking took there.
inline constexpr PowerOptions kKernelPower = {std::chrono::seconds(2),
                                              std::chrono::milliseconds(70)};

class UsbPower : public Subject {
  public:
    using Subject::Subject;

    PowerOptions options() const;
    // Take effect at once. A device that is never to be suspended wakes.
    void setOptions(const PowerOptions& options);
    // Those that reset() brings back as well; they are off until then.
    void setFirstOptions(const PowerOptions& options);
    // Its file power/runtime_status: "active" or "suspended"; none when it is not on the bus.
    std::optional<std::string> status() const;

    // Emulator thread, all that follows. A device has come onto the bus, awake and held so; gone.
    void plug(const std::string& device);
    void unplug();
    // The phone or the cover uses it, which wakes it. Returns how long until it is awake.
    cover::Time use();
    // The phone's software has written to a control file, perhaps to that of this device.
    void control(const std::string& path, const std::string& bytes);
    // What is due now; returns when it wants to be called again at the latest.
    std::optional<cover::Time> turn();
    void reset() { mOptions = mFirst; }

  private:
    void put(const char* file, const std::string& text);
    void putDelay();
    // Of a kernel that manages it.
    std::optional<std::string> readStatus() const;
    void suspend(bool suspended);

    PowerOptions mFirst;
    PowerOptions mOptions;
    std::string mDevice;      // "1-<port>", empty when it is not on the bus
    bool mIsAllowed = false;  // by power/control
    bool mIsSuspended = false;
    cover::Time mAwake{};    // when it is, or was, awake again
    cover::Time mLastUse{};  // its idle time counts from here
};

}  // namespace phone
