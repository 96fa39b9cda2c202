// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Switches the cover screen on and off.

#include <cerrno>
#include <cstring>

#include <unistd.h>

#include "diagnostics/Statistics.h"
#include "display/Brightness.h"
#include "display/Color.h"
#include "kernel/Bivista.h"
#include "kernel/base/KernelPaths.h"
#include "kernel/serial/AtQuery.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

std::atomic<bool> bv2_screen_on = false;

namespace {

constexpr char kFunction[] = "setPowerStatus";

constexpr useconds_t kOffDelayUs = 10'000;
constexpr useconds_t kPollDelayUs = 50'000;
constexpr int kPollTrials = 10;

// Tells the kernel's display driver.
void writePower(bool enable, bool uevent) {
    char text[] = {enable ? '1' : '0', ' ', uevent ? '1' : '0', '\0'};
    Bivista::writeString(kScreenPowerPath, text);
}

Status switchOff(Bivista& service, bool uevent) {
    const AtQuery<> query(service, "AT%BV=0\r");
    const bool refused = query.result() < 0;
    if (refused) {
        LOG_ERROR("%s: HPD status: %s: ret:%d", kFunction, query.text(), query.result());
    } else {
        LOG_INFO("%s: Bivista:%s", kFunction, query.text());
        {
            const MutexLock lock(display_lock, kFunction);
            saveAppliedColor();
            forgetBrightness();
            bv2_screen_on = false;
        }
        // Meant: quirk vote-nobody-cast.
        service.usbAutoSuspend(true, true);
    }
    // Meant: also when the cover refused: the driver must not draw for a client that wants it off.
    usleep(kOffDelayUs);
    writePower(false, uevent);
    return refused ? Status::FAIL : Status::OK;
}

void enableLog(Bivista& service) {
    if (service.serialAtCmd(Bivista::getLogSaveAtCmd(), nullptr, 0, nullptr) < 0) {
        LOG_ERROR("%s: failed to enable log: %s", kFunction, strerror(errno));
    }
}

// One look at the cover's hot-plug state. True when it says that the screen is on.
bool pollHotPlug(Bivista& service, int trial, AtQuery<>* query) {
    usleep(kPollDelayUs);
    *query = AtQuery<>(service, "AT%HPD\r");
    if (query->result() < 0) {
        LOG_ERROR("%s: failed to serial AtCmd: %s, ret: %d", kFunction, query->text(),
                  query->result());
        return false;
    }
    // Meant: quirk on-by-two-letters.
    if (strncmp(query->text(), "On", 2) != 0) return false;
    LOG_INFO("%s:HPD status changed :%s, ret:%d, trial:%d", kFunction, query->text(),
             query->result(), trial);
    return true;
}

void confirmOn(Bivista& service, bool uevent) {
    writePower(true, uevent);
    {
        const MutexLock lock(display_lock, kFunction);
        bv2_screen_on = true;
    }
    service.usbAutoSuspend(false, true);
}

Status waitUntilOn(Bivista& service, bool uevent) {
    AtQuery<> query;
    int trial = 0;
    while (trial < kPollTrials && !pollHotPlug(service, trial, &query)) ++trial;
    const bool isOn = trial < kPollTrials;
    if (isOn) {
        confirmOn(service, uevent);
    } else {
        sStatistics.recordFailure(kFunction, "HPD Status failed");
    }
    // Meant: quirk silent-second-failure.
    if (!bv2_screen_on) {
        LOG_ERROR("%s: HPD Status failed Status:%s, trial:%d", kFunction, query.text(), trial);
    }
    return isOn ? Status::OK : Status::FAIL;
}

Status switchOn(Bivista& service, bool uevent) {
    if (markChangedColor()) bv2_display_color_control();
    enableLog(service);
    const AtQuery<> query(service, "AT%BV=1\r");
    LOG_INFO("%s: Bivista : %s, ret:%d", kFunction, query.text(), query.result());
    if (query.result() < 0) {
        LOG_ERROR("%s: enable:%d, buf:%s, ret: %d", kFunction, 1, query.text(), query.result());
        return Status::FAIL;
    }
    return waitUntilOn(service, uevent);
}

}  // namespace

Return<Status> Bivista::setPowerStatus(bool enable, bool uevent) {
    sStatistics.record(EventKind::kSetting, "power", {enable, uevent});
    if (!bv2_initialized) {
        sStatistics.recordFailure(__func__, kDisplayNotInitialized);
        LOG_ERROR("%s: bv2 not initialized, enable:%d, uevent:%d", __func__, enable, uevent);
        return Status::FAIL;
    }
    Bivista& service = *sDisplayService.load();
    return enable ? switchOn(service, uevent) : switchOff(service, uevent);
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
