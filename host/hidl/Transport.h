// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The seam between HIDL and the way its calls travel.
#pragma once

#include <hwbinder/Binder.h>
#include <utils/Errors.h>

#include <string>
#include <vector>

namespace android::hardware::transport {

// Makes the object known under the names, most derived interface first. See Registry.h for errors;
// NO_MEMORY: no descriptors or thread for the sockets.
status_t publish(const std::vector<std::string>& descriptors, const std::string& instance,
                 const sp<BHwBinder>& object);

// Takes it back, under the names it was published with: it counts as absent, and other processes
// that have the object find it dead, as if this process had ended.
void withdraw(const std::vector<std::string>& descriptors, const std::string& instance);

// The object of a service: the same one each time while it is known to this process. Null when no
// live process of the same user serves it. Throws std::system_error without descriptors or a thread
// for the sockets.
sp<IBinder> find(const std::string& descriptor, const std::string& instance);

}  // namespace android::hardware::transport
