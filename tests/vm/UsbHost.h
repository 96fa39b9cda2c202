// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The kernel's end of USB/IP: submits and takes back transfers as vhci_hcd does, and reads the
// answers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "vm/gadget/Gadget.h"

namespace gadget {

// "80 06 00 01" as bytes, and back.
std::string bytesOf(const std::string& hex);
std::string hexOf(const std::string& bytes);

// Of the wire, with its number of four bytes.
std::string wordOf(uint32_t number);

// A cover with both nodes.
phone::DeviceDescription cover();
// A loader: a device with neither.
phone::DeviceDescription loader();

struct UsbAnswer {
    bool isUnlink = false;
    uint32_t id = 0;
    int status = 0;
    uint32_t passed = 0;
    std::string data;

    bool operator==(const UsbAnswer&) const = default;
};
std::ostream& operator<<(std::ostream& out, const UsbAnswer& answer);

// What an answer is expected to be.
UsbAnswer done(uint32_t id, uint32_t passed);
UsbAnswer fetched(uint32_t id, const std::string& data);
UsbAnswer failed(uint32_t id, int error);
UsbAnswer unlinked(uint32_t id, int error);

class UsbHost {
  public:
    // How commands come: one by one, all at once, or each byte by itself.
    enum class Pieces { Commands, One, Bytes };
    explicit UsbHost(const phone::DeviceDescription& description = cover(),
                     Pieces pieces = Pieces::Commands);

    // Each returns the transfer's id. `setup`: in hex, without the length.
    uint32_t ask(const std::string& setup, uint16_t length);
    uint32_t tell(const std::string& setup, const std::string& data = {});
    uint32_t fetch(int endpoint, uint32_t length);
    uint32_t write(int endpoint, const std::string& data);
    uint32_t unlink(uint32_t victim);

    // All that came since the last call.
    std::vector<UsbAnswer> answers();
    std::vector<Event> events();
    // Of a request that is answered at once: its data in hex, or "stalled".
    std::string askNow(const std::string& setup, uint16_t length = 255);
    bool tellNow(const std::string& setup, const std::string& data = {});

    gadget::Gadget& device() { return mDevice; }

  private:
    uint32_t submit(int endpoint, bool isIn, uint32_t length, const std::string& setup,
                    const std::string& data);
    void deliver(const std::string& command);
    void flush();

    gadget::Gadget mDevice;
    const Pieces mPieces;
    std::string mHeld;  // of Pieces::One
    uint32_t mLastId = 0;
    std::set<uint32_t> mIn;  // ids of transfers from the device
};

}  // namespace gadget
