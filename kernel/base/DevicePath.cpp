#include "kernel/base/DevicePath.h"

#include <cstdio>
#include <cstring>

// POSIX basename(), which gives "." for an empty path; the one of <string.h> gives "".
#include <libgen.h>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

void DevicePath::set(const char* name) {
    const LeafLock lock(mLock);
    snprintf(mPath, sizeof(mPath), "%s/%s", "/dev", name);
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

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
