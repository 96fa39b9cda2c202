// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The debug dump of a service in this process.
#pragma once

#include <cstdint>

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "kernel/Bivista.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// What it prints to a file that it is given.
std::string dumpOf(Bivista& service, const hidl_vec<hidl_string>& options = {});

// Its JSON, read.
nlohmann::json dumpJsonOf(Bivista& service);

// Its events above this number, as "kind what [values] cause +repeats"; parts that there are not
// are left out.
std::vector<std::string> eventsOf(Bivista& service, uint64_t since = 0);
// The same without what the USB thread adds at a moment of its own.
std::vector<std::string> eventsButUsbOf(Bivista& service, uint64_t since = 0);
// The number of the newest event.
uint64_t lastEventOf(Bivista& service);

// The names of the threads in it.
std::vector<std::string> threadNamesOf(Bivista& service);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
