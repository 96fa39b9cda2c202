// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// One USB device on the phone's bus: its folder below /sys/devices with the links of its classes,
// and its node below /dev/bus/usb. Emulator thread only.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "emulator/phone/backend/Device.h"

namespace phone {

class UsbDevice {
  public:
    // Makes the folder of a device on the bus's port `port` (1..) with its `number` (2..127).
    UsbDevice(int port, int number, const DeviceDescription& description);
    // Removes all of it: nodes first.
    ~UsbDevice();
    UsbDevice(const UsbDevice&) = delete;
    UsbDevice& operator=(const UsbDevice&) = delete;

    // The sysfs side of its interfaces, /sys/class/tty/ttyACM<n> and /sys/class/hidraw/hidraw<n>;
    // then it is on the bus: /sys/bus/usb/devices/1-<port> and /dev/bus/usb/001/<number>. The nodes
    // of tty and hidraw in /dev are not made here.
    void publish();

    int port() const { return mPort; }
    int number() const { return mNumber; }
    // "1-<port>"
    const std::string& name() const { return mName; }

  private:
    void addTty(int number);
    void addHidraw(int number);
    void addClassLink(const std::filesystem::path& link, const std::filesystem::path& target);

    const int mPort;
    const int mNumber;
    const DeviceDescription mDescription;
    const std::string mName;
    const std::filesystem::path mFolder;
    const std::filesystem::path mNode;
    bool mPublished = false;                    // mNode is ours
    std::vector<std::filesystem::path> mLinks;  // removed in reverse order
};

}  // namespace phone
