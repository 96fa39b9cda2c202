// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// run --ui: the page's server beside the phone.
#pragma once

#include <android-base/unique_fd.h>

namespace ui {

// "bivista-emulator ui" as a child, which prints the page's address on standard error. It ends with
// the object, and with this process, however that ends.
class Companion {
  public:
    // To be made by the main thread, before this process enters a world of its own. Throws
    // phone::Error when there is no process left. `open`: opens the page in the browser, too.
    explicit Companion(bool open);
    ~Companion();
    Companion(const Companion&) = delete;
    Companion& operator=(const Companion&) = delete;

  private:
    android::base::unique_fd mProcess;  // a pidfd
};

}  // namespace ui
