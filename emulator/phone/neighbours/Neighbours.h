// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The neighbours of the cover's service on the phone: services of other vendors, and its client.
#pragma once

#include <optional>

#include "emulator/phone/neighbours/Accessory.h"
#include "emulator/phone/neighbours/Framework.h"
#include "emulator/phone/neighbours/Lpwg.h"

namespace neighbours {

struct Neighbours {
    // All services absent.
    explicit Neighbours(phone::Phone& phone) : accessory(phone), lpwg(phone), framework(phone) {}

    // All services present. Throws phone::Error when one cannot be registered.
    void serve() {
        accessory.serve();
        lpwg.serve();
    }

    // All services present, and answering as at the start.
    void reset() {
        accessory.setState(std::nullopt);
        lpwg.setResult(0);
        serve();
    }

    Accessory accessory;
    Lpwg lpwg;
    Framework framework;
};

}  // namespace neighbours
