// The pass-through that lets a client send any AT command to the cover.

#include "kernel/Bivista.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

Mutex sAtCallbackMutex;

namespace {

constexpr size_t kAnswerCapacity = 1024;

// The callback of the running command and, after it, of the last command that brought one: it is
// never cleared.
sp<IBivistaAtCallback>& atCallback() REQUIRES(sAtCallbackMutex) {
    static sp<IBivistaAtCallback> sAtCallback;
    return sAtCallback;
}

// Passes a line on, cut at its first NUL.
void forwardLine(char* line, size_t /*len*/) NO_THREAD_SAFETY_ANALYSIS {
    // The running command holds sAtCallbackMutex. A client that died is not the command's failure.
    (void)atCallback()->onAtResponse(line).isOk();
}

}  // namespace

Return<void> Bivista::sendAtCommand(const hidl_string& cmd, const sp<IBivistaAtCallback>& cb,
                                    sendAtCommand_cb result) {
    std::string command = cmd;
    LOG_DEBUG("%s: %s", __func__, command.c_str());
    command += '\r';
    // A failed command may leave the answer without a NUL: one byte more than the transport is
    // told.
    char answer[kAnswerCapacity + 1] = {};
    int stored = -1;
    if (cb != nullptr) {
        const MutexLock lock(sAtCallbackMutex, __func__);
        atCallback() = cb;
        stored = serialAtCmd(command.c_str(), answer, kAnswerCapacity, forwardLine);
    } else {
        stored = serialAtCmd(command.c_str(), answer, kAnswerCapacity, nullptr);
    }
    result(stored < 0 ? Status::FAIL : Status::OK, answer);
    return Void();
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
