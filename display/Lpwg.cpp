// Low-power wake gestures: settings for the cover's touch panel, and the client's callback, which
// starts and stops the uevent worker.

#include "display/Lpwg.h"

#include <cerrno>
#include <csignal>

#include "display/UeventMonitor.h"
#include "kernel/Bivista.h"
#include "kernel/serial/AtQuery.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

sp<V1_1::IBivistaLpwgCallback> asVersion1_1(const sp<V1_0::IBivistaLpwgCallback>& callback) {
    const Return<sp<V1_1::IBivistaLpwgCallback>> cast =
            V1_1::IBivistaLpwgCallback::castFrom(callback);
    return cast.isOk() ? static_cast<sp<V1_1::IBivistaLpwgCallback>>(cast) : nullptr;
}

Return<Status> Bivista::setStatus(const LpwgStatus& status) {
    return sendAndLog(*this, __func__,
                      "AT%TCHNOTIFY=LPWG_NOTIFY," + std::to_string(status.type) + "," +
                              std::to_string(status.value) + "\r");
}

Return<void> Bivista::setLpwgCallback(const sp<V1_0::IBivistaLpwgCallback>& callback) {
    const bool isNewer = asVersion1_1(callback) != nullptr;
    if (callback != nullptr) {
        LOG_DEBUG(isNewer ? "Registering 1.1 callback" : "Registering 1.0 callback");
    }
    const MutexLock lock(mLpwgCallbackLock, __func__);
    const bool changes = (mLpwgCallback.get() == nullptr) != (callback == nullptr);
    mLpwgCallback.set(callback);
    if (!changes) return Void();
    // Meant: the same words when the callback is cleared.
    LOG_INFO("registering callback");
    if (callback != nullptr) {
        startUeventWorker();
    } else {
        stopUeventWorker();
    }
    return Void();
}

void Bivista::startUeventWorker() {
    sWorkerExit = false;
    signal(SIGUSR1, sighandler);
    if (pthread_create(&mUeventThread, nullptr, work, this) == 0) return;
    // Meant: errno, although the call returns its error.
    LOG_ERROR("pthread creation failed %d", errno);
    mLpwgCallback.set(nullptr);
}

// Meant: the signal stops the USB side for good but not the worker, so the join returns only when
// the worker's wait fails; until then the lock is held and the client waits. A worker that ended by
// itself is joined with glibc alone: the phone's C library gives ESRCH for its id.
void Bivista::stopUeventWorker() {
    if (pthread_kill(mUeventThread, SIGUSR1) != 0) return;
    pthread_join(mUeventThread, nullptr);
    LOG_INFO("pthread destroyed");
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
