// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "kernel/usb/AutoSuspend.h"

#include <climits>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "diagnostics/Statistics.h"
#include "kernel/Bivista.h"
#include "kernel/base/Descriptor.h"
#include "kernel/base/KernelPaths.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

Mutex sUsbAutoSuspendMutex("sUsbAutoSuspendMutex");

namespace {

int writeControl(const std::string& device, const char* value) {
    static constexpr char kFunction[] = "usbAutoSuspend";
    char path[PATH_MAX];
    snprintf(path, sizeof(path), kUsbPowerPath, device.c_str());
    const Descriptor control(open(path, O_WRONLY | O_CLOEXEC));
    if (!control.isOpen()) {
        const ErrnoKeeper keeper;
        LOG_ERROR("%s: failed to open control: %s", kFunction, strerror(errno));
        return control.get();
    }
    const ssize_t written = write(control.get(), value, strlen(value));
    const ErrnoKeeper keeper;
    if (written < 0) {
        LOG_ERROR("%s: failed to write autosuspend: %s", kFunction, strerror(errno));
    } else {
        LOG_DEBUG("%s: %s", kFunction, value);
    }
    return static_cast<int>(written);
}

}  // namespace

bool AutoSuspendVotes::count(bool suspend) {
    if (!suspend) return mUsbAutoSuspendDisableVote++ < 1;
    const int32_t votes = mUsbAutoSuspendDisableVote--;
    if (votes > 1) return false;
    if (votes < 1) {
        LOG_ERROR("%s: mUsbAutoSuspendDisableVote is negative", "usbAutoSuspend");
        mUsbAutoSuspendDisableVote = 0;
    }
    return true;
}

void AutoSuspendVotes::reset() {
    int32_t votes = 0;
    {
        const MutexLock lock(sUsbAutoSuspendMutex, "usbNotifyThread");
        votes = mUsbAutoSuspendDisableVote.exchange(0);
    }
    if (votes != 0) sStatistics.record(EventKind::kVotes, "reset", {votes});
}

int Bivista::usbAutoSuspend(bool suspend, bool vote) {
    LOG_DEBUG("%s: suspend:%d vote:%d disableVote:%d", __func__, suspend, vote,
              mAutoSuspendVotes.mUsbAutoSuspendDisableVote.load());
    const MutexLock lock(sUsbAutoSuspendMutex, __func__);
    if (vote && !mAutoSuspendVotes.count(suspend)) return 0;
    return writeControl(mSerialLink.mSerialDevicePath.name(), suspend ? "auto" : "on");
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
