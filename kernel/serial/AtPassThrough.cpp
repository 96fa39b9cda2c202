// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The pass-through that lets a client send any AT command to the cover.

#include <hidl/HidlTransportSupport.h>

#include "diagnostics/Statistics.h"
#include "kernel/Bivista.h"
#include "kernel/serial/AtQuery.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

using ::android::hardware::interfacesEqual;

Mutex sAtCallbackMutex("sAtCallbackMutex");

namespace {

// The callback of the running command. It is never cleared: after the command it stays until
// another command brings one.
sp<IBivistaAtCallback>& atCallback() REQUIRES(sAtCallbackMutex) {
    static sp<IBivistaAtCallback> sAtCallback;
    return sAtCallback;
}

// Passes a line on, cut at its first NUL.
void forwardLine(char* line, size_t /*len*/) NO_THREAD_SAFETY_ANALYSIS {
    // The running command holds sAtCallbackMutex. A client that died is not the command's failure.
    const Return<void> told = atCallback()->onAtResponse(line);
    if (!told.isOk() && told.isDeadObject()) sStatistics.recordDeath(ClientCallback::kAt);
}

}  // namespace

Return<void> Bivista::sendAtCommand(const hidl_string& cmd, const sp<IBivistaAtCallback>& cb,
                                    sendAtCommand_cb result) {
    std::string command = cmd;
    LOG_DEBUG("%s: %s", __func__, command.c_str());
    command += '\r';
    AtQuery<> query;
    if (cb != nullptr) {
        const MutexLock lock(sAtCallbackMutex, __func__);
        // A client has as a rule one for all its commands, which registers but once.
        if (!interfacesEqual(atCallback(), cb)) {
            sStatistics.recordCallback(ClientCallback::kAt, "1.0");
        }
        atCallback() = cb;
        query.send(*this, command.c_str(), forwardLine);
    } else {
        query.send(*this, command.c_str());
    }
    result(query.status(), query.text());
    return Void();
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
