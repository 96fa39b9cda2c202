// The seam between HIDL and the way its calls travel.
#pragma once

#include <hwbinder/Binder.h>
#include <utils/Errors.h>

#include <string>
#include <vector>

namespace android::hardware::transport {

// Makes the object known under the names, most derived interface first. See Registry.h for errors.
status_t publish(const std::vector<std::string>& descriptors, const std::string& instance,
                 const sp<BHwBinder>& object);

// The object of a service: the same one each time while it is known to this process. Null when no
// live process of the same user serves it.
sp<IBinder> find(const std::string& descriptor, const std::string& instance);

}  // namespace android::hardware::transport
