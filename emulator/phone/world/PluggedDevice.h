// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A USB device of the world: its folders in sysfs, its tty and its hidraw node.
#pragma once

#include <optional>
#include <string>

#include "emulator/phone/backend/Device.h"
#include "emulator/phone/world/Tty.h"
#include "emulator/phone/world/UsbDevice.h"

namespace phone {

class WorldBackend;

// The node that usbhid makes of a panel beside its hidraw node. The kernel makes a folder of /dev
// with its first node, and removes it with its last: whoever watches /dev sees both.
class Hiddev {
  public:
    Hiddev();
    ~Hiddev();
    Hiddev(const Hiddev&) = delete;
    Hiddev& operator=(const Hiddev&) = delete;
};

class PluggedDevice : public Device {
  public:
    PluggedDevice(WorldBackend& backend, int port, int number, const DeviceDescription& description)
        : mBackend(backend), mDescription(description), mUsb(port, number, description) {}
    ~PluggedDevice() override;

    const std::string& name() const override { return mUsb.name(); }
    void publish() override;
    void hangUp() override;
    void send(std::string_view bytes) override;
    bool isFlushed() const override { return !mTty || mTty->isFlushed(); }
    bool hasUnread() const override { return mTty && mTty->hasUnread(); }

    const UsbDevice& usb() const { return mUsb; }
    // Whether this is the node of its tty, or the pty below.
    bool hasTty(const std::string& path) const;
    // When the open has to wait, for how long.
    std::optional<cover::Time> tellOpen(const std::string& flags, bool waited) const;
    void tellDtr(bool raised) const;
    // Reports the writes to files until now, then those to the tty.
    void readTty();

  private:
    void flush();
    void takeTtyAway();
    void takeHidrawAway();

    WorldBackend& mBackend;
    const DeviceDescription mDescription;
    UsbDevice mUsb;
    std::optional<Tty> mTty;
    std::optional<Hiddev> mHiddev;
    bool mHasHidraw = false;
};

}  // namespace phone
