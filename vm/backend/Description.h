// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What of a device's description a kernel brings about by itself, and cannot be asked for.
#pragma once

#include "emulator/phone/backend/Device.h"

namespace vm {

// The device as it can be put on a kernel's bus. One with a tty alone that is off the bus and has
// ids comes onto the bus with these. Throws phone::Error when there is no such device.
phone::DeviceDescription onKernelBus(const phone::DeviceDescription& description);

}  // namespace vm
