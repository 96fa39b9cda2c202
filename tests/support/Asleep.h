// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Whether threads of this process wait for something.
#pragma once

#include <sys/types.h>

#include <string>

namespace support {

// False also for a thread that has gone.
bool isAsleep(pid_t thread);

// Whether this thread sleeps in this system call.
bool isAsleepIn(pid_t thread, long call);

// Waits until every thread of this name is asleep, and there is one. One that never comes hangs,
// and the test's time limit ends it.
void awaitAsleep(const std::string& name);

}  // namespace support
