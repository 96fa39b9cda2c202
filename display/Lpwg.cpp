// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Low-power wake gestures: settings for the cover's touch panel, and the client's callback, which
// starts and stops the uevent worker.

#include "display/Lpwg.h"

#include <cerrno>
#include <csignal>

#include "diagnostics/Statistics.h"
#include "display/UeventMonitor.h"
#include "kernel/Bivista.h"
#include "kernel/serial/AtQuery.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

void startWorker(Bivista* service, LpwgClient* client) REQUIRES(client->lock) {
    sWorkerExit = false;
    signal(SIGUSR1, Bivista::sighandler);
    if (pthread_create(&client->worker, nullptr, work, service) == 0) return;
    // Meant: quirk errno-of-a-thread.
    LOG_ERROR("pthread creation failed %d", errno);
    client->callback.set(nullptr);
    sStatistics.recordFailure("setLpwgCallback", "pthread creation failed");
    sStatistics.recordCallback(ClientCallback::kLpwg, nullptr);
}

// Meant: quirk clearing-never-returns. A worker that ended by itself is joined with glibc alone:
// the phone's C library gives ESRCH for its id.
void stopWorker(const LpwgClient& client) REQUIRES(client.lock) {
    if (pthread_kill(client.worker, SIGUSR1) != 0) return;
    pthread_join(client.worker, nullptr);
    LOG_INFO("pthread destroyed");
}

}  // namespace

std::shared_ptr<LpwgClient> makeLpwgClient() {
    return std::make_shared<LpwgClient>();
}

sp<V1_0::IBivistaLpwgCallback> Bivista::lpwgCallback() const {
    return mLpwgClient->callback.get();
}

sp<V1_1::IBivistaLpwgCallback> asVersion1_1(const sp<V1_0::IBivistaLpwgCallback>& callback) {
    const Return<sp<V1_1::IBivistaLpwgCallback>> cast =
            V1_1::IBivistaLpwgCallback::castFrom(callback);
    return cast.isOk() ? static_cast<sp<V1_1::IBivistaLpwgCallback>>(cast) : nullptr;
}

Return<Status> Bivista::setStatus(const LpwgStatus& status) {
    sStatistics.record(EventKind::kSetting, "lpwg", {status.type, status.value});
    return sendAndLog(*this, __func__,
                      "AT%TCHNOTIFY=LPWG_NOTIFY," + std::to_string(status.type) + "," +
                              std::to_string(status.value) + "\r");
}

Return<void> Bivista::setLpwgCallback(const sp<V1_0::IBivistaLpwgCallback>& callback) {
    const bool isNewer = asVersion1_1(callback) != nullptr;
    if (callback != nullptr) {
        LOG_DEBUG(isNewer ? "Registering 1.1 callback" : "Registering 1.0 callback");
    }
    LpwgClient& client = *mLpwgClient;
    const MutexLock lock(client.lock, __func__);
    const bool changes = (client.callback.get() == nullptr) != (callback == nullptr);
    const char* const version = isNewer ? "1.1" : "1.0";
    sStatistics.recordCallback(ClientCallback::kLpwg, callback == nullptr ? nullptr : version);
    client.callback.set(callback);
    if (!changes) return Void();
    // Meant: quirk registering-to-clear.
    LOG_INFO("registering callback");
    if (callback != nullptr) {
        startWorker(this, &client);
    } else {
        stopWorker(client);
    }
    return Void();
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
