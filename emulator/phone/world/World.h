// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The private world in which the phone's software finds its literal paths: mount and network
// namespaces of its own, and a user namespace where the caller is not root. /dev, /sys, /data and
// /system_ext are fresh; every other top-level folder is as it was.
#pragma once

#include <string>

namespace phone {

// Takes the calling process into a new world; it cannot be left again. The process should have one
// thread only: other threads stay outside. An ordinary user becomes root in the world; outside it
// stays that user. That needs a process without other threads, and a sanitizer's runtime makes one.
// Then the program is started anew inside; this process waits for it and exits as it does.
//
// Empty on success, else one line that says what is forbidden here and how to allow it.
std::string enterWorld();

// Whether the world hides this (absolute or relative) path, as it lies under one of its own
// folders.
bool isHiddenByWorld(const std::string& path);

}  // namespace phone
