// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A USB device of the world: its folders in sysfs, its tty and its hidraw node.
#pragma once

#include <optional>
#include <string>

#include "emulator/phone/backend/Device.h"
#include "emulator/phone/world/Supervisor.h"
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
    bool hasRoom() const override { return !mTty || mTty->hasRoom(); }
    bool hasUnread() const override { return mTty && mTty->hasUnread(); }

    const UsbDevice& usb() const { return mUsb; }
    bool hasTty(int number) const { return mDescription.tty == number; }
    // Whether an open of this path leads to its tty.
    bool hasTty(const std::string& path) const { return mTty && mTty->isAt(path); }
    // The tty has hung up, and its node goes in a moment.
    bool hasHungUp() const { return mTty->isHungUp(); }
    // Opens the tty for the phone's software, or says how long the open waits; `waited`: it has
    // waited. All that happened to it before is read already.
    Verdict openTty(const OpenCall& call, bool waited);
    // What the kernel's driver answers about the modem lines.
    Verdict controlModem(const IoctlCall& call);
    // How long this close still has to wait: until the device has taken what was written, when it
    // is the last one; then what it did not take in time is lost. None: it goes on. `waited`: it
    // has asked before.
    std::optional<cover::Time> closeTty(const CloseCall& call, bool waited);
    // Reports the writes to files until now, then those to the tty, and what its last close does.
    void readTty();

  private:
    void setModemLines(int lines);
    void offerWritten();
    void loseUntaken();
    void hangTtyUp();
    void takeHidrawAway();

    WorldBackend& mBackend;
    const DeviceDescription mDescription;
    UsbDevice mUsb;
    std::optional<Tty> mTty;
    std::string mEarly;  // sent before there was a tty
    // Written by the phone, and not yet taken by the device. While there is something, the rest
    // waits in the pty, which becomes full, as the kernel's buffers do.
    std::string mUntaken;
    cover::Time mClosingWait{};  // as of the last open that had one
    cover::Time mCloseLimit{};   // of the last close, which waits
    bool mWasOpen = false;       // until the last close is seen
    int mModemLines = 0;         // TIOCM_DTR, TIOCM_RTS
    std::optional<Hiddev> mHiddev;
    bool mHasHidraw = false;
};

}  // namespace phone
