// A command to the cover and its answer, collected whole.
#pragma once

#include <cstddef>
#include <string>

#include "kernel/Bivista.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

template <size_t kCapacity = 1024>
class AtQuery {
  public:
    // Nothing asked yet.
    constexpr AtQuery() = default;
    AtQuery(Bivista& service, const char* cmd) { send(service, cmd); }

    // Sends `cmd` and waits for the answer, which goes over what an earlier one left; see
    // Bivista::serialAtCmd. Returns its result.
    int send(Bivista& service, const char* cmd) {
        return mResult = service.serialAtCmd(cmd, mText, kCapacity, nullptr);
    }

    // What was stored of the answer, also of a failed one.
    const char* text() const { return mText; }
    // As serialAtCmd returned it.
    int result() const { return mResult; }
    bool failed() const { return mResult == -1; }
    Status status() const { return failed() ? Status::FAIL : Status::OK; }

  private:
    // A failed command or a hang-up may leave the answer without a NUL: one byte more than the
    // transport is told.
    char mText[kCapacity + 1] = {};
    int mResult = 0;
};

// Sends a command of fixed text, and logs "function: answer" unless it failed. Any thread.
AtQuery<> queryAndLog(Bivista& service, const char* function, const char* cmd);

// Sends a command that was put together, cut at 1023 characters, and logs "function: command
// answer" unless it failed. Any thread.
Status sendAndLog(Bivista& service, const char* function, const std::string& cmd);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
