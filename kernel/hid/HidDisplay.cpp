// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The one way to the sub display's panel: feature and output reports over its hidraw node.

#include "kernel/hid/HidDisplay.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <linux/hidraw.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "diagnostics/Statistics.h"
#include "kernel/Bivista.h"
#include "kernel/base/Descriptor.h"
#include "kernel/base/TraceSlice.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

Mutex hid_lock("hid_lock");

namespace {

constexpr uint8_t kInfoReport = 2;
constexpr uint8_t kConfigReport = 3;
constexpr uint8_t kPaletteReport = 2;

constexpr uint8_t kPanelOn = 2;
constexpr uint8_t kConfigFlag = 1;

// Output report 2.
struct PaletteReport {
    uint8_t report_id = kPaletteReport;
    uint16_t length = 0;  // bytes of data that count
    uint32_t offset = 0;  // where they go
    uint8_t data[4089] = {};
} __attribute__((packed));
static_assert(sizeof(PaletteReport) == 4096);

constexpr uint16_t kMaxChunk = sizeof(PaletteReport::data);
constexpr size_t kHeaderSize = sizeof(PaletteReport) - kMaxChunk;

int openNode(const HidLink& link, int access, const char* function) REQUIRES(hid_lock) {
    return link.mHidDevicePath.open(access | O_NONBLOCK, function);
}

int32_t readInfo(const HidLink& link, hid_display_report_info* info) REQUIRES(hid_lock) {
    static constexpr char kFunction[] = "hidDisplayGetInfo";
    const Descriptor node(openNode(link, O_RDONLY, kFunction));
    if (!node.isOpen()) return -1;
    info->report_id = kInfoReport;
    const int result = ioctl(node.get(), HIDIOCGFEATURE(sizeof(*info)), info);
    if (result < 0) {
        const ErrnoKeeper keeper;
        LOG_ERROR("%s: failed to get info: %s", kFunction, strerror(errno));
    }
    return result;
}

// Copies the bytes from `position` on, as far as they lie within the data. A node that takes less
// than a report's header, or more than it was given, moves the position out of the data.
void copyChunk(const uint8_t* data, uint16_t length, int64_t position, PaletteReport* report) {
    const int64_t first = std::max<int64_t>(position, 0);
    const int64_t last = std::min<int64_t>(position + report->length, length);
    if (first >= last) return;
    memcpy(report->data + (first - position), data + first, static_cast<size_t>(last - first));
}

// After a panel that took less than a report, goes on from where it stopped.
int32_t writePalette(int node, uint16_t length, uint16_t offset, const uint8_t* data) {
    PaletteReport report;
    report.offset = offset;
    uint16_t remaining = length;
    int64_t position = 0;
    do {
        report.length = std::min(remaining, kMaxChunk);
        copyChunk(data, length, position, &report);
        const ssize_t written = write(node, &report, kHeaderSize + report.length);
        if (written < 0) {
            const ErrnoKeeper keeper;
            LOG_ERROR("%s: failed to write palette: %s", "hidDisplayPalette", strerror(errno));
            return static_cast<int32_t>(written);
        }
        const ssize_t done = written - static_cast<ssize_t>(kHeaderSize);
        remaining = static_cast<uint16_t>(remaining - done);
        report.offset += static_cast<uint32_t>(done);
        position += done;
    } while (remaining != 0);
    return length;
}

}  // namespace

int32_t Bivista::hidDisplayGetInfo(hid_display_report_info* info) {
    hid_lock.lock(__func__);
    const int32_t result = readInfo(mHidLink, info);
    // Meant: quirk silent-unlock.
    hid_lock.unlockSilently();
    return result;
}

int32_t Bivista::hidDisplaySetConfig(bool flag, bool power, uint8_t brightness) {
    const MutexLock lock(hid_lock, __func__);
    const int bits = (power ? kPanelOn : 0) | (flag ? kConfigFlag : 0);
    const uint8_t report[] = {kConfigReport, static_cast<uint8_t>(bits), brightness};
    const Descriptor node(openNode(mHidLink, O_WRONLY, __func__));
    if (!node.isOpen()) return -1;
    const int result = ioctl(node.get(), HIDIOCSFEATURE(sizeof(report)), report);
    if (result < 0) {
        const ErrnoKeeper keeper;
        LOG_ERROR("%s: failed to set config: %s", __func__, strerror(errno));
    }
    return result;
}

int32_t Bivista::hidDisplayPalette(uint16_t length, uint16_t offset, const uint8_t* data) {
    const MutexLock lock(hid_lock, __func__);
    const Descriptor node(openNode(mHidLink, O_WRONLY, __func__));
    return node.isOpen() ? writePalette(node.get(), length, offset, data) : -1;
}

int32_t Bivista::hidDisplayDeviceAdded() {
    const TraceSlice slice("attach panel");
    LOG_DEBUG("%s: attached:%d", __func__, mHidLink.isAttached());
    {
        const MutexLock lock(hid_lock, __func__);
        if (!mHidLink.setAttached(true)) return 0;
    }
    sStatistics.record(EventKind::kAttach, "panel");
    hid_display_report_info info = {};
    const int32_t result = hidDisplayGetInfo(&info);
    if (result < 0) {
        sStatistics.recordFailure("hidDisplayGetInfo", Cause::ofError(errno));
        // Meant: quirk attached-without-size.
        return result;
    }
    LOG_DEBUG("HID-DISPLAY: x:%d y:%d format:%d ready:%d", info.x, info.y, info.format,
              info.ready & 1);
    return initSubDisplay(this, info);
}

int32_t Bivista::hidDisplayDeviceRemoved() {
    const TraceSlice slice("detach panel");
    LOG_DEBUG("%s: attached:%d", __func__, mHidLink.isAttached());
    {
        const MutexLock lock(hid_lock, __func__);
        if (!mHidLink.setAttached(false)) return 0;
    }
    sStatistics.record(EventKind::kDetach, "panel");
    return deinitSubDisplay();
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
