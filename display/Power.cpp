// Switches the cover screen on and off.

#include "display/Power.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <unistd.h>

#include "display/Brightness.h"
#include "display/Color.h"
#include "kernel/Bivista.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

std::atomic<bool> bv2_screen_on = false;

namespace {

constexpr char kFunction[] = "setPowerStatus";

constexpr char kPowerNode[] = "/sys/class/bivista/bv2/bv2_pd";

constexpr useconds_t kOffDelayUs = 10'000;
constexpr useconds_t kPollDelayUs = 50'000;
constexpr int kPollTrials = 10;

// Command and answer of one call. The answer has one byte more than the transport is told, since a
// failed command may leave no NUL.
struct Exchange {
    static constexpr size_t kCapacity = 1024;
    char command[kCapacity] = {};
    char resp[kCapacity + 1] = {};
};

// Sends what `exchange.command` holds.
int send(Exchange* exchange) {
    Bivista* const service = sDisplayService;
    return service->serialAtCmd(exchange->command, exchange->resp, Exchange::kCapacity, nullptr);
}

int sendSwitch(Exchange* exchange, bool enable) {
    snprintf(exchange->command, sizeof(exchange->command), "%s%d\r", "AT%BV=", enable);
    return send(exchange);
}

// Tells the kernel's display driver.
void writePower(bool enable, bool uevent) {
    char text[] = {enable ? '1' : '0', ' ', uevent ? '1' : '0', '\0'};
    Bivista::writeString(kPowerNode, text);
}

Status switchOff(bool uevent) {
    Exchange exchange;
    const int result = sendSwitch(&exchange, false);
    if (result < 0) {
        LOG_ERROR("%s: HPD status: %s: ret:%d", kFunction, exchange.resp, result);
    } else {
        LOG_INFO("%s: Bivista:%s", kFunction, exchange.resp);
        {
            const MutexLock lock(display_lock, kFunction);
            saveAppliedColor();
            forgetBrightness();
            bv2_screen_on = false;
        }
        // Meant: also when switching on never cast the vote that this withdraws.
        sDisplayService.load()->usbAutoSuspend(true, true);
    }
    // Meant: the driver is told although the cover may have refused.
    usleep(kOffDelayUs);
    writePower(false, uevent);
    return result < 0 ? Status::FAIL : Status::OK;
}

void enableLog() {
    Bivista* const service = sDisplayService;
    if (service->serialAtCmd(Bivista::getLogSaveAtCmd(), nullptr, 0, nullptr) < 0) {
        LOG_ERROR("%s: failed to enable log: %s", kFunction, strerror(errno));
    }
}

// One look at the cover's hot-plug state. True when it says that the screen is on.
bool pollHotPlug(Exchange* exchange, int trial) {
    memset(exchange->resp, 0, sizeof(exchange->resp));
    usleep(kPollDelayUs);
    const int result = send(exchange);
    if (result < 0) {
        LOG_ERROR("%s: failed to serial AtCmd: %s, ret: %d", kFunction, exchange->resp, result);
        return false;
    }
    // Meant: any answer that begins so.
    if (strncmp(exchange->resp, "On", 2) != 0) return false;
    LOG_INFO("%s:HPD status changed :%s, ret:%d, trial:%d", kFunction, exchange->resp, result,
             trial);
    return true;
}

void confirmOn(bool uevent) {
    writePower(true, uevent);
    {
        const MutexLock lock(display_lock, kFunction);
        bv2_screen_on = true;
    }
    sDisplayService.load()->usbAutoSuspend(false, true);
}

Status waitUntilOn(Exchange* exchange, bool uevent) {
    snprintf(exchange->command, sizeof(exchange->command), "%s\r", "AT%HPD");
    int trial = 0;
    while (trial < kPollTrials && !pollHotPlug(exchange, trial)) ++trial;
    const bool isOn = trial < kPollTrials;
    if (isOn) confirmOn(uevent);
    // Meant: silent about a failure when the screen was on before.
    if (!bv2_screen_on) {
        LOG_ERROR("%s: HPD Status failed Status:%s, trial:%d", kFunction, exchange->resp, trial);
    }
    return isOn ? Status::OK : Status::FAIL;
}

Status switchOn(bool uevent) {
    if (markChangedColor()) bv2_display_color_control();
    enableLog();
    Exchange exchange;
    const int result = sendSwitch(&exchange, true);
    LOG_INFO("%s: Bivista : %s, ret:%d", kFunction, exchange.resp, result);
    if (result < 0) {
        LOG_ERROR("%s: enable:%d, buf:%s, ret: %d", kFunction, 1, exchange.resp, result);
        return Status::FAIL;
    }
    return waitUntilOn(&exchange, uevent);
}

}  // namespace

Return<Status> Bivista::setPowerStatus(bool enable, bool uevent) {
    if (!bv2_initialized) {
        LOG_ERROR("%s: bv2 not initialized, enable:%d, uevent:%d", __func__, enable, uevent);
        return Status::FAIL;
    }
    return enable ? switchOn(uevent) : switchOff(uevent);
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
