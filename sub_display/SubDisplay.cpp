// Life of the sub display: found, lost, and what clients may ask and be told of it.

#include "sub_display/SubDisplay.h"

#include "kernel/Bivista.h"
#include "kernel/base/Mutex.h"
#include "sub_display/FrameBuffer.h"
#include "sub_display/UpdateThread.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

// Leaf lock, held only to copy.
Mutex sInfoLock;
// Kept when the panel goes.
SubScreenInfo sInfo GUARDED_BY(sInfoLock) = {};

std::atomic<Bivista*> sService = nullptr;

}  // namespace

SubScreenInfo subScreenInfo() {
    const LeafLock lock(sInfoLock);
    return sInfo;
}

Bivista* subDisplayService() {
    return sService;
}

SubScreenState Bivista::getSubDisplayState() {
    const MutexLock lock(sub_state_lock, __func__);
    return mSubDisplayState;
}

void Bivista::setSubDisplayState(SubScreenState state) {
    const MutexLock lock(sub_state_lock, __func__);
    mSubDisplayState = state;
    if (mSubDisplayCallback == nullptr) return;
    // A client that died is nobody's failure.
    (void)mSubDisplayCallback->onSubDisplayStateChanged(state).isOk();
}

int32_t Bivista::initSubDisplay(Bivista* service, hid_display_report_info info) {
    LOG_INFO("initSubDisplay ++ ");
    sService = service;
    {
        const LeafLock lock(sInfoLock);
        sInfo = {info.x, info.y, info.format};
    }
    permitUpdateThread();
    LOG_INFO("initSubDisplay : sub_display_destroyThread = %d", sub_display_destroyThread.load());
    freeFrameBuffers();
    setSubDisplayState(SubScreenState::INITIALIZED);
    LOG_INFO("initSubDisplay -- ");
    // Meant: a panel that does not come on stays initialised, for a client to try again.
    (void)service->setSubDisplayPowerState(true).isOk();
    return 0;
}

int32_t Bivista::deinitSubDisplay() {
    if (getSubDisplayState() == SubScreenState::UNINITIALIZED) return 0;
    LOG_INFO("deinitSubDisplay ++ ");
    setSubDisplayState(SubScreenState::UNINITIALIZED);
    stopUpdateThread(__func__);
    freeFrameBuffers();
    LOG_INFO("deinitSubDisplay -- ");
    return 0;
}

Return<void> Bivista::getSubDisplayInfo(getSubDisplayInfo_cb cb) {
    Status status = Status::OK;
    if (getSubDisplayState() == SubScreenState::UNINITIALIZED) {
        LOG_ERROR("Sub Display is not initialized yet");
        status = Status::FAIL;
    }
    // Meant: the last panel's, when there is none.
    cb(status, subScreenInfo());
    return Void();
}

Return<void> Bivista::getSubDisplayPowerState(getSubDisplayPowerState_cb cb) {
    cb(Status::OK, getSubDisplayState());
    return Void();
}

Return<void> Bivista::setSubDisplayCallback(const sp<IBivistaSubDisplayCallback>& callback) {
    // Lives on until the lock is given back: its release may call the client.
    sp<IBivistaSubDisplayCallback> old;
    const MutexLock lock(sub_state_lock, __func__);
    LOG_INFO("registering callback");
    old = mSubDisplayCallback;
    mSubDisplayCallback = callback;
    return Void();
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
