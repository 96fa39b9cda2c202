// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Tells that an emulator has put its socket into the registry folder.
#pragma once

#include <string>

#include <android-base/unique_fd.h>

namespace ui {

class FolderWatch {
  public:
    // Sees what comes from now on. Throws phone::Error when the folder cannot be watched.
    explicit FolderWatch(const std::string& folder);

    // Readable when something has come.
    int fd() const { return mFd.get(); }
    // Takes note of all that has come so far.
    void drain() const;

  private:
    const android::base::unique_fd mFd;
};

}  // namespace ui
