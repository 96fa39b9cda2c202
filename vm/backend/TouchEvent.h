// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Uevents that the phone's touch driver raises itself.
#pragma once

#include <optional>
#include <string>

namespace vm {

// What to write to the driver so that it raises this event: "uevent KEY=VALUE\0KEY=VALUE". None for
// an event that it does not raise.
std::optional<std::string> touchRequest(const std::string& event);

}  // namespace vm
