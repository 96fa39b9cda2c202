// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// One USB device as a back end shows it: its place on the bus, its tty and its hidraw node, and
// what the phone's software does with them. Emulator thread only.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "emulator/cover/Types.h"

namespace phone {

inline std::string ttyNode(int number) {
    return "/dev/ttyACM" + std::to_string(number);
}

inline std::string hidrawNode(int number) {
    return "/dev/hidraw" + std::to_string(number);
}

// What the phone's software does with a tty. `node` is its ttyNode().
class TtyListener {
  public:
    virtual ~TtyListener() = default;
    // Before an open: how long it has to wait until the device is awake.
    virtual cover::Time wake() { return {}; }
    // `flags` as text, such as "O_RDWR|O_NOCTTY". Returns how long the close may have to wait for
    // bytes that the device does not take; none when it takes all.
    virtual std::optional<cover::Time> ttyOpened(const std::string& node,
                                                 const std::string& flags) = 0;
    // Returns how many of the bytes the device takes; the others are offered again.
    virtual size_t ttyReceived(const std::string& node, const std::string& bytes) = 0;
    // A close has given up these bytes, which the device did not take.
    virtual void ttyLost(const std::string& node, const std::string& bytes) = 0;
    // Told at each open too, which raises it.
    virtual void dtrSet(const std::string& node, bool raised) = 0;
};

struct HidOpen {
    std::string flags;  // as text
    // No other descriptor has the node open.
    bool isFirst = false;
    cover::Time held{};  // since it came, when it is asked again
};

// A transfer to or from a hidraw node.
struct HidRequest {
    enum class Kind { Write, GetFeature, SetFeature };
    Kind kind = Kind::Write;
    size_t size = 0;     // of the caller's buffer
    std::string bytes;   // the report; of GetFeature its number alone
    cover::Time held{};  // since it came, when it is asked again
};

struct HidAnswer {
    // How many bytes passed, or an error as its negative number.
    int64_t result = 0;
    std::string report = {};  // of GetFeature
    // Nothing is answered yet: ask again after this time, or at Backend::decideWaiting().
    std::optional<cover::Time> askAgainAfter = std::nullopt;
};

// What the phone's software does with a hidraw node, a hidrawNode(). A listener may unplug the
// device meanwhile. `waited`: it is asked again about this call.
class HidListener {
  public:
    virtual ~HidListener() = default;
    virtual HidAnswer hidOpened(const std::string& node, const HidOpen& open, bool waited) = 0;
    virtual HidAnswer hidRequested(const std::string& node, const HidRequest& request,
                                   bool waited) = 0;
    // The kernel's driver itself has refused it with this errno.
    virtual void hidRefused(const std::string& node, const HidRequest& request, int error) = 0;
    // The last descriptor of an open is gone, perhaps long after the device.
    virtual void hidClosed(const std::string& node) = 0;
};

struct DeviceDescription {
    cover::UsbIdentity identity;  // empty strings: the device has none
    // Exact content of the two id files, instead of the identity's ids and a newline.
    std::optional<std::string> vendorText = std::nullopt;
    std::optional<std::string> productText = std::nullopt;
    bool onBus = true;  // without: its ids are in sysfs all the same
    std::optional<int> tty = std::nullopt;
    TtyListener* ttyListener = nullptr;  // with `tty`; outlives the back end's last call
    std::optional<int> hidraw = std::nullopt;
    HidListener* hidListener = nullptr;  // with `hidraw`; likewise
};

// {"tty":0,"hid":0,"usb":true,"idVendor":"...","idProduct":"...","product":"...","serial":"..."}: a
// member that is absent means that the device has none; texts as cover::escape() spells them.
std::string toJson(const DeviceDescription& description);

// Its destruction unplugs it, without a word to its listeners.
class Device {
  public:
    virtual ~Device() = default;

    // "1-<port>"; known before it is published.
    virtual const std::string& name() const = 0;

    // Lets the phone's software see it: USB device, tty, hidraw node, in this order. Throws
    // phone::Error when a name is taken.
    virtual void publish() = 0;
    // Hangs up the tty and ends transfers that wait; then tty and hidraw node go. Earlier writes to
    // them are reported first. What the phone has not read is lost.
    virtual void hangUp() = 0;

    // To its tty. Bytes wait in the device while the tty is closed or not published, or the kernel
    // takes no more.
    virtual void send(std::string_view bytes) = 0;
    // Whether the device can hold more of them.
    virtual bool hasRoom() const = 0;
    // Whether the phone's software has not read all that was sent; what was dropped when it closed
    // the tty does not count.
    virtual bool hasUnread() const = 0;
};

}  // namespace phone
