// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A command to the cover and its answer, collected whole.
#pragma once

#include <cstddef>
#include <string>

#include <vendor/qmx/hardware/bivista/1.0/types.h>

#include "kernel/serial/SerialLink.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

class Bivista;

// Bivista::serialAtCmd, for callers that do not include the service object's header.
int sendAtCmd(Bivista& service, const char* cmd, char* resp, size_t respCount, AtLineCallback cb);

template <size_t kCapacity = 1024>
class AtQuery {
  public:
    // No command was sent yet.
    constexpr AtQuery() = default;
    AtQuery(Bivista& service, const char* cmd) { send(service, cmd); }

    // Sends `cmd` and waits for the answer, which goes over the text of an earlier answer. Returns
    // the result of Bivista::serialAtCmd.
    int send(Bivista& service, const char* cmd, AtLineCallback cb = nullptr) {
        return mResult = sendAtCmd(service, cmd, mText, kCapacity, cb);
    }

    // What was stored of the answer, also of a failed one.
    const char* text() const { return mText; }
    // As serialAtCmd returned it.
    int result() const { return mResult; }
    bool failed() const { return mResult == -1; }
    V1_0::Status status() const { return failed() ? V1_0::Status::FAIL : V1_0::Status::OK; }

  private:
    // A failed command or a hang-up may leave the answer without a NUL. The transport fills at most
    // kCapacity bytes; the one after them stays NUL.
    char mText[kCapacity + 1] = {};
    int mResult = 0;
};

// Sends a command of fixed text, and logs "function: answer" unless it failed. Any thread.
AtQuery<> queryAndLog(Bivista& service, const char* function, const char* cmd);

// Sends a command that the caller composed, cut at 1023 characters, and logs "function: command
// answer" unless it failed. Any thread.
V1_0::Status sendAndLog(Bivista& service, const char* function, const std::string& cmd);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
