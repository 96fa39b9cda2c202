// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the service counts of itself. No decision depends on the counts: only the debug dump reads
// them.
//
// Any thread may count. Counting takes one leaf lock, which another count or a dump's copy holds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "diagnostics/Latency.h"
#include "kernel/base/Mutex.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// The name that an AT command is counted under: its text up to "=" or "\r", at most 63 bytes. The
// name is in capitals, since the cover ignores the case. "AT%TCHNOTIFY" and "AT%TCHDEBUG" are many
// commands in one: their name goes on up to "," when the service sends that argument.
std::string nameOfCommand(const char* cmd);

// Exchanges with commands of one name.
struct CommandCounts {
    std::string name;
    uint64_t failures = 0;  // time-outs included
    uint64_t timeouts = 0;
    Latency latency;  // from the write of the command to its last line
};

// The last AT command that failed or was refused. Times are of monotonicMicros().
struct CommandFailure {
    std::string name;
    int error;  // an errno
    uint64_t micros;
};

// The last order to the kernel about the cover's firmware.
struct UpgradeOrder {
    const char* name;
    bool accepted;
    uint64_t micros;
};

struct Counts {
    // A row for each of the first 40 names that were sent, in that order; later names share a row
    // named "other".
    std::vector<CommandCounts> commands;
    // Commands that did not reach the tty: no cover, a malformed command, a tty that cannot be
    // opened.
    uint64_t refused = 0;
    // Requests to the kernel to reset the cover.
    uint64_t recoveries = 0;
    std::optional<CommandFailure> lastFailure;
    std::optional<UpgradeOrder> lastOrder;
    uint64_t orders = 0;
    // Frames that clients drew. The panel took the sent ones. The dropped ones were replaced by a
    // newer one, freed unsent, or given up. All other frames wait or are being sent.
    uint64_t framesDrawn = 0;
    uint64_t framesSent = 0;
    uint64_t framesDropped = 0;
    // Frames that the service began anew because the panel refused a report.
    uint64_t frameRetries = 0;
};

class Statistics {
  public:
    void count(uint64_t Counts::*counter);
    // A command that was sent; `error` is the errno of its failure, 0 without one.
    void countExchange(const char* cmd, uint64_t micros, int error);
    // A command that was not sent.
    void countRefusal(const char* cmd, int error);
    // `name` is a literal.
    void countOrder(const char* name, bool accepted);

    // All counts of one moment. A reset sets them to 0 in the same step, and names keep their rows.
    // The orders stay: their number shows a reader of two dumps that an order came in between.
    Counts take(bool reset);

  private:
    // Leaf lock, held to count or to copy.
    Mutex mLock;
    Counts mCounts GUARDED_BY(mLock);
};

// Never destroyed, since threads count until the process is gone.
extern Statistics& sStatistics;

// The calling thread gives an order for a detach. That order is not counted: every detach cancels,
// and would hide the order before it.
extern thread_local bool sIsOrderOfDetach;

// CLOCK_MONOTONIC; keeps errno.
uint64_t monotonicMicros();

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
