// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/ui/FolderWatch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include "emulator/phone/Error.h"

namespace ui {

FolderWatch::FolderWatch(const std::string& folder) : mFd(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
    if (inotify_add_watch(mFd.get(), folder.c_str(), IN_MOVED_TO | IN_ONLYDIR) < 0) {
        phone::throwErrno("cannot watch " + folder);
    }
}

void FolderWatch::drain() const {
    char events[4096];
    while (read(mFd.get(), events, sizeof(events)) > 0) {
    }
}

}  // namespace ui
