// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Brings the cover's serial side up when its tty appears, and down when it goes.

#include <cerrno>
#include <cstring>

#include <cutils/properties.h>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include "diagnostics/Statistics.h"
#include "kernel/Bivista.h"
#include "kernel/base/Descriptor.h"
#include "kernel/base/TraceSlice.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

// On devices of this line the cover shows another model name.
constexpr char kDcmDevice[] = "Q-71C";

// One read yields one line, ending in "\n". All control characters are off, so that every byte of
// the cover is data.
void applyLineSettings(int fd) {
    termios settings = {};
    settings.c_iflag = IGNPAR | IGNCR;
    settings.c_cflag = B115200 | CS8 | CREAD | CLOCAL | CRTSCTS;
    settings.c_lflag = ICANON;
    tcsetattr(fd, TCSANOW, &settings);
}

bool isDcmDevice() {
    char device[PROPERTY_VALUE_MAX] = {};
    return property_get("ro.product.device", device, "0") > 0 &&
           strncmp(device, kDcmDevice, strlen(kDcmDevice)) == 0;
}

// False when there is nothing to attach, or the port cannot be opened.
bool preparePort(SerialLink* link) EXCLUDES(sSerialMutex) {
    static constexpr char kFunction[] = "serialDeviceAdded";
    const MutexLock lock(sSerialMutex, kFunction);
    if (link->isAttached()) return false;
    const Descriptor port(link->mSerialDevicePath.open(O_RDWR | O_NOCTTY, kFunction));
    if (!port.isOpen()) {
        sStatistics.recordFailure(kFunction, Cause::ofError(errno));
        return false;
    }
    applyLineSettings(port.get());
    link->setAttached(true);
    return true;
}

// False when there is nothing to detach.
bool releasePort(SerialLink* link, const SerialLog& log) EXCLUDES(sSerialMutex) {
    const MutexLock lock(sSerialMutex, "serialDeviceRemoved");
    if (!link->isAttached()) return false;
    link->setAttached(false);
    log.wake();
    return true;
}

}  // namespace

void Bivista::serialDeviceAdded() {
    LOG_DEBUG("%s: attached:%d", __func__, mSerialLink.isAttached());
    const TraceSlice slice("attach serial");
    if (!preparePort(&mSerialLink)) return;
    sStatistics.record(EventKind::kAttach, "serial");
    if (serialAtCmd("ATE0\r", nullptr, 0, nullptr) < 0) {
        // Meant: quirk attached-without-echo-off.
        LOG_ERROR("%s: failed to write ATE0: %s", __func__, strerror(errno));
        return;
    }
    if (isDcmDevice()) {
        LOG_INFO("%s: Set MODEL=DCM", __func__);
        serialAtCmd("AT%MODEL=DCM\r", nullptr, 0, nullptr);
    }
    bv2_display_init(this);
    usbReady();
    serialLogEnable(true);
    const Status status = bv_update_state();
    LOG_ERROR("status = %d", static_cast<int>(status));
}

void Bivista::serialDeviceRemoved() {
    LOG_DEBUG("%s: attached:%d", __func__, mSerialLink.isAttached());
    const TraceSlice slice("detach serial");
    if (!releasePort(&mSerialLink, mSerialLog)) return;
    sStatistics.record(EventKind::kDetach, "serial");
    sIsOrderOfDetach = true;
    (void)cancelFirmwareUpgrade().isOk();
    sIsOrderOfDetach = false;
    bv2_display_deinit(this);
    serialLogEnable(false);
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
