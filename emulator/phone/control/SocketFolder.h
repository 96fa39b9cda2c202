// Where the services of this user have their sockets, and the emulator its own.
#pragma once

#include <string>

namespace control {

inline constexpr char kSocketName[] = "emulator.sock";

// That of the registry (host/hidl/Registry.h).
std::string socketFolder();

// Makes it, with mode 0700. Throws phone::Error when it cannot be made, is no folder, belongs to
// somebody else or is open to others.
void makeSocketFolder(const std::string& folder);

}  // namespace control
