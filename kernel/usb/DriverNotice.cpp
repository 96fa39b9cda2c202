// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The two control files through which the service notifies the cover's kernel driver.

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "diagnostics/Statistics.h"
#include "kernel/Bivista.h"
#include "kernel/base/Descriptor.h"
#include "kernel/base/KernelPaths.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

int writeYes(const char* function, const char* path) {
    const Descriptor node(open(path, O_WRONLY | O_CLOEXEC));
    if (!node.isOpen()) {
        const ErrnoKeeper keeper;
        sStatistics.recordFailure(function, Cause::ofError(errno));
        LOG_ERROR("%s: failed to open mode: %s", function, strerror(errno));
        return node.get();
    }
    const ssize_t written = write(node.get(), "Y", 1);
    if (written < 0) {
        const ErrnoKeeper keeper;
        sStatistics.recordFailure(function, Cause::ofError(errno));
        LOG_ERROR("%s: failed to write mode: %s", function, strerror(errno));
    }
    return static_cast<int>(written);
}

}  // namespace

int Bivista::usbReady() {
    return writeYes(__func__, kReadyPath);
}

int Bivista::usbRecovery() {
    static constexpr char kRule[] = "!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!";
    LOG_ERROR(kRule);
    LOG_ERROR("!!!!!!!!!! Bivista Recovery !!!!!!!!!!");
    LOG_ERROR(kRule);
    sStatistics.countRecovery();
    return writeYes(__func__, kRecoveryPath);
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
