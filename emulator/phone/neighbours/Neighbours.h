// All services of other vendors that stand beside the cover's on the phone.
#pragma once

#include <optional>

#include "emulator/phone/neighbours/Accessory.h"
#include "emulator/phone/neighbours/Lpwg.h"

namespace neighbours {

struct Neighbours {
    // All of them absent.
    explicit Neighbours(phone::Phone& phone) : accessory(phone), lpwg(phone) {}

    // All of them present. Throws phone::Error when one cannot be registered.
    void serve() {
        accessory.serve();
        lpwg.serve();
    }

    // All of them present, and answering as at the start.
    void reset() {
        accessory.setState(std::nullopt);
        lpwg.setResult(0);
        serve();
    }

    Accessory accessory;
    Lpwg lpwg;
};

}  // namespace neighbours
