// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Which services are declared, as a phone's manifest does it: getService() waits for those that are
// not up. The file "declared" in the service directory has one line for each name,
// "interface descriptor/instance"; a line that is no name declares nothing.
//
// Functions log why they fail. They may be called by any thread.
#pragma once

#include <utils/Errors.h>

#include <string>
#include <vector>

#include <android-base/unique_fd.h>

namespace android::hardware::registry {

// Adds the names to the file, which is made when there is none. Lines of others stay.
status_t declare(const std::vector<std::string>& descriptors, const std::string& instance);

// Takes the names out of the file. A file without lines goes.
status_t undeclare(const std::vector<std::string>& descriptors, const std::string& instance);

bool isDeclared(const std::string& descriptor, const std::string& instance);

// What changes for those who wait for a service: its name, and whether it is declared.
class Changes {
  public:
    explicit Changes(const std::string& descriptor);

    // Sees what changes from now on. False, with errno, when that cannot be seen.
    bool watch();
    // Blocks until something has changed after watch(); it may be something else.
    void wait();

  private:
    const std::string mDescriptor;
    const base::unique_fd mInotify;
};

}  // namespace android::hardware::registry
