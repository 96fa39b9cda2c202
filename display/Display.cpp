// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Brings the cover display side up and down with the cover, and answers whether the cover is there.

#include <cstring>

#include <vendor/qmx/hardware/accessory/1.1/IAccessory.h>

#include "display/Brightness.h"
#include "display/Color.h"
#include "display/Cutout.h"
#include "display/Display.h"
#include "kernel/Bivista.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

using ::vendor::qmx::hardware::accessory::V1_1::IAccessory;

Mutex display_lock("display_lock");
std::atomic<bool> bv2_initialized = false;
std::atomic<Bivista*> sDisplayService = nullptr;

namespace {

// State of an accessory that is attached.
constexpr uint32_t kAccessoryAttached = 3;

BivistaStatus sAttachmentStatus GUARDED_BY(display_lock) = {};

// BrightnessThread exists; it never ends. Notify thread.
std::atomic<bool> sBrightnessThreadStarted = false;

void startBrightnessThread(Bivista* service) {
    pthread_t thread;
    const int result = pthread_create(&thread, nullptr, BrightnessThread, service);
    // Meant: quirk negative-only.
    if (result < 0) {
        LOG_ERROR("Failed to create brightness pthread: %s", strerror(result));
        return;
    }
    sBrightnessThreadStarted = true;
}

}  // namespace

void Bivista::bv2_display_init(void* service) {
    Bivista* const self = static_cast<Bivista*>(service);
    sDisplayService = self;
    LOG_INFO("bv2_display_init ++, bv2_initialized:%d", bv2_initialized.load());
    if (self != nullptr && !isCutoutFetched()) {
        if (!fetchCutout(*self, __func__)) clearCutout();
        // Meant: quirk queue-emptied-once.
        const MutexLock lock(display_lock, __func__);
        br_arr.clear();
    }
    if (self != nullptr && !sBrightnessThreadStarted) startBrightnessThread(self);
    // Meant: also without a brightness thread: screen and colours do without, and the next attach
    // tries again.
    bv2_initialized = true;
    LOG_INFO("bv2_display_init --, bv2_initialized:%d", bv2_initialized.load());
}

void Bivista::bv2_display_deinit(void* service) {
    sDisplayService = static_cast<Bivista*>(service);
    LOG_INFO("bv2_display_deinit ++, bv2_initialized:%d", bv2_initialized.load());
    if (bv2_initialized) {
        {
            const MutexLock lock(display_lock, __func__);
            forgetBrightness();
            bv2_screen_on = false;
            resetAppliedColor();
        }
        bv2_initialized = false;
    }
    LOG_INFO("bv2_display_deinit --, bv2_initialized:%d", bv2_initialized.load());
}

bool bv2connected() {
    // Null for a service that is not declared; one that is declared is waited for.
    const sp<IAccessory> accessory = IAccessory::getService();
    if (accessory == nullptr) return false;
    uint32_t type = 0;
    uint32_t state = 0;
    // A call that failed leaves the state at 0: not attached.
    (void)accessory
            ->getAccessoryState([&](uint32_t itsType, uint32_t itsState) {
                type = itsType;
                state = itsState;
            })
            .isOk();
    return state == kAccessoryAttached;
}

Return<void> Bivista::getBV2Status(getBV2Status_cb cb) {
    BivistaStatus status;
    {
        const MutexLock lock(display_lock, __func__);
        // Meant: quirk status-under-the-lock.
        sAttachmentStatus.connected = bv2connected();
        status = sAttachmentStatus;
    }
    cb(Status::OK, status);
    return Void();
}

// Meant: the USB view of the cover, so that it answers whatever the accessory service does.
Return<bool> Bivista::getBV2Connect() {
    return mUsbAttached.load();
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
