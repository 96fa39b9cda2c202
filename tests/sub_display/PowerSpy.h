// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A service object that writes down how it is asked to switch the sub display, and refuses. In a
// source of its own: the device's classes come without RTTI, and so must those derived from them.
#pragma once

#include <vector>

#include "kernel/Bivista.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// `asked` must outlive the object.
sp<Bivista> makePowerSpy(std::vector<bool>* asked);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
