// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "kernel/base/DevicePath.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
// POSIX basename(), which gives "." for an empty path; the one of <string.h> gives "".
#include <libgen.h>
#include <unistd.h>

#include "kernel/base/Descriptor.h"
#include "kernel/base/KernelPaths.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

void DevicePath::set(const char* name) {
    const LeafLock lock(mLock);
    snprintf(mPath, sizeof(mPath), "%s/%s", kDevFolder, name);
}

void DevicePath::clear() {
    const LeafLock lock(mLock);
    mPath[0] = '\0';
}

void DevicePath::copyTo(char (&path)[kCapacity]) const {
    const LeafLock lock(mLock);
    memcpy(path, mPath, sizeof(mPath));
}

std::string DevicePath::name() const {
    // basename() may write into its argument.
    char copy[kCapacity];
    copyTo(copy);
    return basename(copy);
}

bool DevicePath::isThere() const {
    char path[kCapacity];
    copyTo(path);
    return access(path, F_OK) == 0;
}

int DevicePath::open(int flags, const char* function) const {
    char path[kCapacity];
    copyTo(path);
    const int fd = ::open(path, flags | O_CLOEXEC);
    if (fd < 0) {
        const ErrnoKeeper keeper;
        LOG_ERROR("%s: failed to open \"%s\": %s", function, path, strerror(errno));
    }
    return fd;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
