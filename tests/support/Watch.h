// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What this process watches with inotify, by its descriptors.
#pragma once

namespace support {

// Waits until a thread of this process watches the file or folder. A watch that is never set hangs,
// and the test's time limit ends it.
void awaitWatch(const char* path);

}  // namespace support
