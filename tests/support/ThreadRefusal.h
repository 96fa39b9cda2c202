// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A kernel that makes no more threads.
#pragma once

namespace support {

// From now on the calling thread, and what it executes, starts none: pthread_create() gives EAGAIN.
// Processes can still be made. Aborts where the kernel has no such filter.
void refuseThreads();

}  // namespace support
