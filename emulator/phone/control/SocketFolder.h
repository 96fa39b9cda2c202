// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The folder of the sockets of this user's services, and of the emulator's own.
#pragma once

#include <string>

namespace control {

inline constexpr char kSocketName[] = "emulator.sock";

// The registry's folder (host/hidl/Registry.h).
std::string socketFolder();

// Makes the folder, with mode 0700. Throws phone::Error when the folder cannot be made, is no
// folder, belongs to another user or is open to other users.
void makeSocketFolder(const std::string& folder);

}  // namespace control
