// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/devices/ForeignTtys.h"

#include "emulator/phone/Error.h"

namespace phone {

void ForeignTtys::attach(int number, const std::string& idVendorText,
                         const std::string& idProductText) {
    call([&] {
        const DeviceDescription description = {.vendorText = idVendorText,
                                               .productText = idProductText,
                                               .onBus = false,
                                               .tty = number,
                                               .ttyListener = this};
        mBackend.checkFree(description);
        Device& device = *(mDevices[number] = mBackend.make(description));
        recordAttach(device.name(), description, ttyNode(number));
        try {
            device.publish();
        } catch (...) {
            detach(number);
            throw;
        }
    });
}

void ForeignTtys::detach(int number) {
    call([&] {
        const auto device = mDevices.find(number);
        if (device == mDevices.end()) {
            throw Error("there is no foreign ttyACM" + std::to_string(number));
        }
        const auto begin = std::chrono::steady_clock::now();
        device->second->hangUp();
        recordDetach(device->second->name(), begin);
        mDevices.erase(device);
    });
}

void ForeignTtys::reset() {
    while (!mDevices.empty()) detach(mDevices.begin()->first);
}

}  // namespace phone
