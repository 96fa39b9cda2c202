// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Life of the sub display: the panel found and lost, its state for clients, their callback.

#include "sub_display/SubDisplay.h"

#include "diagnostics/Statistics.h"
#include "kernel/Bivista.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

std::shared_ptr<SubDisplay> makeSubDisplay() {
    return std::make_shared<SubDisplay>();
}

SubScreenState SubDisplay::copyState() {
    const MutexLock lock(sub_state_lock, "getSubDisplayState");
    return state;
}

SubScreenInfo SubDisplay::copyPanel() {
    const LeafLock lock(panelLock);
    return panel;
}

void Bivista::setSubDisplayState(SubScreenState state) {
    SubDisplay& display = *mSubDisplay;
    const MutexLock lock(display.sub_state_lock, __func__);
    display.state = state;
    sStatistics.record(EventKind::kPanel, toString(state));
    if (display.callback == nullptr) return;
    // A client that died is no failure.
    const Return<void> told = display.callback->onSubDisplayStateChanged(state);
    if (!told.isOk() && told.isDeadObject()) sStatistics.recordDeath(ClientCallback::kSubDisplay);
}

int32_t Bivista::initSubDisplay(Bivista* service, hid_display_report_info info) {
    LOG_INFO("initSubDisplay ++ ");
    SubDisplay& display = *mSubDisplay;
    display.service = service;
    {
        const LeafLock lock(display.panelLock);
        display.panel = {info.x, info.y, info.format};
    }
    display.takeBackStop();
    LOG_INFO("initSubDisplay : sub_display_destroyThread = %d",
             display.sub_display_destroyThread.load());
    freeFrameBuffers();
    setSubDisplayState(SubScreenState::INITIALIZED);
    LOG_INFO("initSubDisplay -- ");
    // Meant: a panel that does not come on stays initialised, so that a client can switch it on.
    (void)service->setSubDisplayPowerState(true).isOk();
    return 0;
}

int32_t Bivista::deinitSubDisplay() {
    if (mSubDisplay->copyState() == SubScreenState::UNINITIALIZED) return 0;
    LOG_INFO("deinitSubDisplay ++ ");
    setSubDisplayState(SubScreenState::UNINITIALIZED);
    mSubDisplay->stopThread(__func__);
    freeFrameBuffers();
    LOG_INFO("deinitSubDisplay -- ");
    return 0;
}

Return<void> Bivista::getSubDisplayInfo(getSubDisplayInfo_cb cb) {
    Status status = Status::OK;
    if (mSubDisplay->copyState() == SubScreenState::UNINITIALIZED) {
        LOG_ERROR(kNotInitialized);
        sStatistics.recordFailure(__func__, kNotInitialized);
        status = Status::FAIL;
    }
    // Meant: quirk last-panels-size.
    cb(status, mSubDisplay->copyPanel());
    return Void();
}

Return<void> Bivista::getSubDisplayPowerState(getSubDisplayPowerState_cb cb) {
    cb(Status::OK, mSubDisplay->copyState());
    return Void();
}

Return<void> Bivista::setSubDisplayCallback(const sp<IBivistaSubDisplayCallback>& callback) {
    // Outlives the lock, since the release of the callback may call the client.
    sp<IBivistaSubDisplayCallback> old;
    SubDisplay& display = *mSubDisplay;
    const MutexLock lock(display.sub_state_lock, __func__);
    LOG_INFO("registering callback");
    old = display.callback;
    display.callback = callback;
    sStatistics.recordCallback(ClientCallback::kSubDisplay, callback == nullptr ? nullptr : "1.0");
    return Void();
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
