// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// When the cover and its loader came and went, and by which nodes.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "emulator/phonelog/Draft.h"

namespace phonelog {

// One stay of the cover on the bus.
struct Stay {
    size_t begin = 0;
    size_t end = SIZE_MAX;  // SIZE_MAX: until the end of the log
    std::string tty;        // "ttyACM0"; empty: none was seen
    std::string hid;
    bool hasUsb = false;
};

struct Devices {
    std::vector<Stay> stays;

    // Path of the node that counts at a line.
    const Stay* stayAt(size_t line) const;  // the last one that began; null: none
    std::string ttyAt(size_t line) const;
    std::string hidAt(size_t line) const;
};

// Adds them, too. A cover that was there before the log's first line has a stay that begins with
// it.
Devices addDevices(Draft& draft);

}  // namespace phonelog
