// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Touch diagnostics that are one command to the cover: the answer goes to the client and the log as
// it is.

#include "diagnostics/Statistics.h"
#include "kernel/Bivista.h"
#include "kernel/serial/AtQuery.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

Return<void> Bivista::getTouchFirmwareVersion(getTouchFirmwareVersion_cb cb) {
    const AtQuery<> query = queryAndLog(*this, __func__, "AT%TCHDEBUG=FWVER\r");
    cb(query.status(), query.text());
    return Void();
}

Return<Status> Bivista::DoTouchReset() {
    return queryAndLog(*this, __func__, "AT%TCHDEBUG=RESET\r").status();
}

Return<void> Bivista::getGpiopin(getGpiopin_cb cb) {
    const AtQuery<> query = queryAndLog(*this, __func__, "AT%TCHDEBUG=GPIO_PIN\r");
    cb(query.status(), query.text());
    return Void();
}

Return<Status> Bivista::DoTouchFirmwareUpgrade() {
    const Status status = queryAndLog(*this, __func__, "AT%TCHNOTIFY=FW_UPGRADE\r").status();
    sStatistics.recordUpgrade("AT%TCHNOTIFY=FW_UPGRADE", status == Status::OK);
    return status;
}

Return<void> Bivista::getSelfTest(getSelfTest_cb cb) {
    const AtQuery<> query = queryAndLog(*this, __func__, "AT%TCHNOTIFY=SD\r");
    cb(query.status(), query.text());
    return Void();
}

Return<void> Bivista::getLPWGSelfTest(getLPWGSelfTest_cb cb) {
    const AtQuery<> query = queryAndLog(*this, __func__, "AT%TCHNOTIFY=LPWG_SD\r");
    cb(query.status(), query.text());
    return Void();
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
