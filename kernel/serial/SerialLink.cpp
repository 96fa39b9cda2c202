// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "kernel/serial/SerialLink.h"

#include <cutils/klog.h>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

Mutex sSerialMutex("sSerialMutex");

namespace {

constexpr int kLogKernelInfo = 6;

}  // namespace

void SerialLink::logLine(const char* line) const {
    if (mSerialLogToLogcat) LOG_INFO("%s", line);
    if (mSerialLogToKernel) klog_write(kLogKernelInfo, "<6>Bivista: %s", line);
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
