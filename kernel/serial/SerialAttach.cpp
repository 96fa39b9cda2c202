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
#include "kernel/serial/SerialAt.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

// Devices of this line have the cover show another model name.
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

}  // namespace

void Bivista::serialDeviceAdded() {
    LOG_DEBUG("%s: attached:%d", __func__, mSerialAttached.load());
    if (!prepareSerialPort()) return;
    if (serialAtCmd("ATE0\r", nullptr, 0, nullptr) < 0) {
        // Meant: the port stays attached.
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

bool Bivista::prepareSerialPort() {
    static constexpr char kFunction[] = "serialDeviceAdded";
    const MutexLock lock(sSerialMutex, kFunction);
    if (mSerialAttached) return false;
    char path[DevicePath::kCapacity];
    mSerialDevicePath.copyTo(path);
    const Descriptor port(open(path, O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!port.isOpen()) {
        LOG_ERROR("%s: failed to open \"%s\": %s", kFunction, path, strerror(errno));
        return false;
    }
    applyLineSettings(port.get());
    mSerialAttached = true;
    return true;
}

void Bivista::serialDeviceRemoved() {
    LOG_DEBUG("%s: attached:%d", __func__, mSerialAttached.load());
    if (!releaseSerialPort()) return;
    sIsOrderOfDetach = true;
    (void)cancelFirmwareUpgrade().isOk();
    sIsOrderOfDetach = false;
    bv2_display_deinit(this);
    serialLogEnable(false);
}

bool Bivista::releaseSerialPort() {
    const MutexLock lock(sSerialMutex, "serialDeviceRemoved");
    if (!mSerialAttached) return false;
    mSerialAttached = false;
    wakeSerialLog();
    return true;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
