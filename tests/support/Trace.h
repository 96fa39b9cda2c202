// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The system calls of a program between two marks, by strace.
#pragma once

#include <string>
#include <vector>

#include <sys/syscall.h>
#include <unistd.h>

namespace support {

// Called in the program: what its main thread does between the first mark and the second counts.
inline void markTrace() {
    syscall(SYS_getppid);
}

// Runs a command to its end, which must be a success, and gives the names of the calls in order.
std::vector<std::string> traceCalls(std::vector<std::string> command);

}  // namespace support
