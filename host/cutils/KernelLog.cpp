// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <cutils/klog.h>

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <atomic>

namespace {

// What the kernel takes as one record, less its own header.
constexpr size_t kMaxMessage = 512;

std::atomic<int> sLevel = KLOG_INFO_LEVEL;

int kernelLog() {
    // Appending: where the node is a plain file, other writers' messages stay.
    static const int fd = open("/dev/kmsg", O_WRONLY | O_APPEND | O_CLOEXEC);
    return fd;
}

}  // namespace

void klog_set_level(int level) {
    sLevel.store(level, std::memory_order_relaxed);
}

void klog_write(int level, const char* fmt, ...) {
    if (level > sLevel.load(std::memory_order_relaxed)) return;
    int savedErrno = errno;

    char message[kMaxMessage];
    va_list arguments;
    va_start(arguments, fmt);
    int length = vsnprintf(message, sizeof(message), fmt, arguments);
    va_end(arguments);

    if (length > 0 && kernelLog() >= 0) {
        // A message that the kernel does not take is lost: no caller could be given the error.
        (void)!TEMP_FAILURE_RETRY(write(kernelLog(), message, strlen(message)));
    }
    errno = savedErrno;
}
