// One USB device on the phone's bus: its folder below /sys/devices with the links of its classes,
// and its node below /dev/bus/usb. Emulator thread only.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "emulator/cover/Types.h"

namespace phone {

class UsbDevice {
  public:
    // Content of the two id files of an identity: "3e91\n" and the like.
    static std::string idText(uint16_t id);
    // For people: "3e91:6a2f TQC330R 0001".
    static std::string describe(const cover::UsbIdentity& identity);

    // Makes the folder of a device on the bus's port `port` (1..) with its `number` (2..127).
    // Empty strings of the identity are strings that the device lacks.
    UsbDevice(int port, int number, const cover::UsbIdentity& identity);
    // Removes all of it: nodes first.
    ~UsbDevice();
    UsbDevice(const UsbDevice&) = delete;
    UsbDevice& operator=(const UsbDevice&) = delete;

    // Exact content instead of the identity's.
    void setIds(const std::string& vendorText, const std::string& productText);

    // The sysfs side of its interfaces: /sys/class/tty/ttyACM<n>, /sys/class/hidraw/hidraw<n>.
    // The nodes in /dev are not made here; that of the hidraw one has its place beside the tty.
    void addTty(int number);
    void addHidraw(int number);

    // Puts it on the bus: /sys/bus/usb/devices/1-<port> and /dev/bus/usb/001/<number>.
    void publish();

    int port() const { return mPort; }
    int number() const { return mNumber; }
    // "/dev/bus/usb/001/<number>"
    const std::filesystem::path& node() const { return mNode; }
    // "1-<port>"
    const std::string& name() const { return mName; }

  private:
    void addClassLink(const std::filesystem::path& link, const std::filesystem::path& target);

    const int mPort;
    const int mNumber;
    const cover::UsbIdentity mIdentity;
    const std::string mName;
    const std::filesystem::path mFolder;
    const std::filesystem::path mNode;
    bool mPublished = false;                    // mNode is ours
    std::vector<std::filesystem::path> mLinks;  // removed in reverse order
};

}  // namespace phone
