// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the service counts of itself, and its last events. No decision depends on them: only the
// debug dump reads them.
//
// Any thread may count and record. Both take one leaf lock, which another of them or a dump's copy
// holds.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "diagnostics/History.h"
#include "diagnostics/Latency.h"
#include "diagnostics/Moment.h"
#include "kernel/base/Mutex.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

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

// The callbacks that clients register.
enum class ClientCallback : uint8_t { kLpwg, kSubDisplay, kAt };
inline constexpr size_t kClientCallbacks = 3;

// The version of each as it was registered, null for none; by ClientCallback.
using CallbackVersions = std::array<const char*, kClientCallbacks>;

// Events above a number, and what became of those that are not among them.
struct EventList {
    uint64_t first = 0;  // the oldest that is kept
    uint64_t last = 0;
    uint64_t lost = 0;
    std::vector<Event> events;
};

class Statistics {
  public:
    void count(uint64_t Counts::*counter);
    // A command that was sent; `error` is the errno of its failure, 0 without one. Failures are
    // events.
    void countExchange(const char* cmd, uint64_t micros, int error);
    // A command that was not sent, which is an event.
    void countRefusal(const char* cmd, int error);

    // Each counts, and is an event.
    //
    // `name` is a literal.
    void countOrder(const char* name, bool accepted);
    // A request to the kernel to reset the cover.
    void countRecovery();
    // A frame that will never be sent.
    void countDropped(Cause cause);
    // A frame that is begun anew, since the panel refused a report with this errno.
    void countRetry(int error);

    // An event that is not counted. `what` is empty for none.
    void record(EventKind kind, std::string_view what, std::initializer_list<int64_t> values = {},
                Cause cause = {});
    // A call that fails though every command of it was carried out, or without one.
    void recordFailure(const char* method, Cause cause) {
        record(EventKind::kFailure, method, {}, cause);
    }
    // An order that the cover takes, not the kernel.
    void recordUpgrade(std::string_view name, bool accepted) {
        record(EventKind::kUpgrade, name, {}, accepted ? "OK" : "FAIL");
    }
    // A client registers a callback of this version, a literal; null clears it. No event when there
    // was none to clear.
    void recordCallback(ClientCallback which, const char* version);
    // A call found the callback's process gone. One event until the next registration.
    void recordDeath(ClientCallback which);
    // For a signal's handler: takes no lock, and allocates nothing. It becomes an event with the
    // next one, or for the next reader. Of more than eight in between, the first ones are kept.
    void recordStopSignal();

    // The events above this number. Allocates ahead of the lock.
    EventList eventsSince(uint64_t number);
    CallbackVersions callbacks();
    // When this object was made: at the process's start.
    const Moment& start() const { return mStart; }

    // All counts of one moment. A reset sets them to 0 in the same step, and names keep their rows.
    // The orders stay: their number shows a reader of two dumps that an order came in between.
    Counts take(bool reset);

  private:
    // Where a handler leaves the times of a signal.
    struct SignalSlot {
        enum State : uint8_t { kFree, kTaken, kFilled };
        std::atomic<State> state = kFree;
        Moment at;  // of whoever has taken the slot, then of whoever sees it filled
    };
    static_assert(std::atomic<SignalSlot::State>::is_always_lock_free);

    void add(const Event& event) REQUIRES(mLock);
    void addSignals() REQUIRES(mLock);

    const Moment mStart = Moment::now();
    // Leaf lock, held to count, to record or to copy.
    Mutex mLock;
    Counts mCounts GUARDED_BY(mLock);
    History mHistory GUARDED_BY(mLock);
    CallbackVersions mCallbacks GUARDED_BY(mLock) = {};
    std::array<bool, kClientCallbacks> mAreDead GUARDED_BY(mLock) = {};
    std::array<SignalSlot, 8> mSignals;
};

// Never destroyed, since threads count until the process is gone.
extern Statistics& sStatistics;

// The calling thread gives an order for a detach. That order is not counted: every detach cancels,
// and would hide the order before it.
extern thread_local bool sIsOrderOfDetach;

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
