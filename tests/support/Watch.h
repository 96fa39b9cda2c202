// What this process watches with inotify, by its descriptors.
#pragma once

namespace support {

// Whether a thread of this process watches the file or folder. False when it is not there.
bool isWatched(const char* path);

// Waits until one does. A watch that is never set hangs, and the test's time limit ends it.
void awaitWatch(const char* path);

}  // namespace support
