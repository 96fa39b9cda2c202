// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "tools/doctor/FileTree.h"

namespace doctor {

// The name of a thread of the process that waits inside close(): the kernel lets the last close of
// a tty wait until the device has taken what was written, for 30 seconds at most. No other close of
// the service waits. None also where the user may not see it.
std::optional<std::string> threadInClose(const Tree& machine, pid_t process);

}  // namespace doctor
