// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The pen (AES) mode, which the cover, the kernel's USB HID driver and the phone's LPWG service
// hold.

#include <vendor/qmx/hardware/lpwg/1.3/ILpwg.h>

#include "diagnostics/Statistics.h"
#include "kernel/Bivista.h"
#include "kernel/base/KernelPaths.h"
#include "kernel/serial/AtQuery.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

using ::vendor::qmx::hardware::lpwg::V1_3::ILpwg;

namespace {

// The LPWG service's result; 0 when no such service is declared, or its process dies. Waits while
// it is declared and not up.
int32_t setModeOfPhone(int32_t mode) {
    const sp<ILpwg> lpwg = ILpwg::getService();
    if (lpwg == nullptr) return 0;
    const Return<int32_t> result = lpwg->setAesModeToLpwg(mode);
    return result.isOk() ? static_cast<int32_t>(result) : 0;
}

}  // namespace

Return<Status> Bivista::setAesMode(uint32_t mode) {
    sStatistics.record(EventKind::kSetting, "aes", {mode});
    // Meant: the cover's firmware spells SWITCH so.
    return sendAndLog(*this, __func__, "AT%TCHNOTIFY=SWTICH_AES," + std::to_string(mode) + "\r");
}

Return<Status> Bivista::manageAesMode(uint32_t mode) {
    sStatistics.record(EventKind::kSetting, "aes.everywhere", {mode});
    Status status = Status::FAIL;
    int32_t lpwgResult = 0;
    // Meant: quirk pen-order.
    if (mode == 1) {
        status = setAesMode(1);
        writeInt32(kAesModePath, 0);
        lpwgResult = setModeOfPhone(2);
    } else {
        lpwgResult = setModeOfPhone(0);
        status = setAesMode(2);
        writeInt32(kAesModePath, 2);
    }
    LOG_DEBUG("%s : ATCMD_Status : %d, sysNodeError : %d\n", __func__, static_cast<int>(status),
              lpwgResult);
    return status;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
