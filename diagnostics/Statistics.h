// What the service counts about itself, for its debug dump. Nothing here decides anything: the
// counters are written where things happen, and read by the dump alone.
//
// Counting takes no lock, allocates nothing and makes no system call, but for a leaf lock where
// something is kept whole; any thread may count, unless said otherwise.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "diagnostics/Latency.h"
#include "diagnostics/TwoSides.h"
#include "kernel/base/Mutex.h"
#include "kernel/serial/SerialLink.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// What an AT command is counted under, in capitals, since to the cover the case makes no
// difference: its text up to "=" or "\r", at most 63 bytes of it. "AT%TCHNOTIFY" and "AT%TCHDEBUG"
// are many commands in one: theirs goes on up to "," when the service itself sends that argument.
class CommandName {
  public:
    CommandName() = default;
    explicit CommandName(const char* cmd);

    bool operator==(const CommandName& other) const;
    std::string text() const { return {mText.data(), mLength}; }

  private:
    std::array<char, 63> mText = {};
    uint8_t mLength = 0;
};

// Exchanges with commands of one name: from the write of a command to its last line. One thread at
// a time.
struct CommandStatistics {
    uint64_t failures = 0;  // a negative result, time-outs included
    uint64_t timeouts = 0;
    Latency latency;

    void count(uint64_t micros, bool failed, bool timedOut);
    void add(const CommandStatistics& other);
};

// The first 40 names that were sent; those that come later share one row. Names stay for good.
class ExchangeStatistics {
  public:
    static constexpr size_t kNames = 40;
    // What the shared row is called.
    static constexpr char kOther[] = "other";

    // By whoever holds the tty.
    void count(const char* cmd, uint64_t micros, bool failed, bool timedOut) REQUIRES(sSerialMutex);

    // Rows are in the order of each name's first command, the shared one last. Those of names() are
    // in use. Any thread.
    size_t names() const { return mNames.load(std::memory_order_acquire); }
    std::string nameOf(size_t row) const;

    // What was counted since the last reset, by row: each exchange with all that belongs to it, or
    // not at all. A reset forgets what is given here, and nothing that is counted meanwhile. Any
    // thread; waits for an exchange that is being counted, and for others that gather.
    std::vector<CommandStatistics> gather(bool reset) EXCLUDES(mGatherLock);

  private:
    using Rows = std::array<CommandStatistics, kNames + 1>;

    size_t rowOf(const CommandName& name);

    // A name is written before it is counted here, and not touched any more.
    std::atomic<size_t> mNames = 0;
    std::array<CommandName, kNames> mName;
    // What was counted since somebody gathered it, on one side.
    TwoSides mSides;
    std::array<Rows, 2> mCounted;
    // Leaf lock of those who gather; never taken where an exchange is counted.
    Mutex mGatherLock;
    Rows mGathered GUARDED_BY(mGatherLock);
};

// CLOCK_MONOTONIC; keeps errno.
uint64_t monotonicMicros();

// What happened last of a kind, and when. Any thread.
template <typename What>
class Latest {
  public:
    struct Event {
        What what;
        uint64_t micros;
    };

    void keep(const What& what) {
        const Event event = {what, monotonicMicros()};
        const LeafLock lock(mLock);
        mEvent = event;
    }
    // None when nothing of the kind has happened since it was forgotten.
    std::optional<Event> take(bool forget) {
        const LeafLock lock(mLock);
        const std::optional<Event> event = mEvent;
        if (forget) mEvent.reset();
        return event;
    }

  private:
    // Leaf lock, held only to copy.
    Mutex mLock;
    std::optional<Event> mEvent GUARDED_BY(mLock);
};

// An AT command that failed.
struct CommandFailure {
    CommandName name;
    int error;
};

// What the kernel was told to do with the cover's firmware.
struct UpgradeOrder {
    const char* name;
    bool accepted;
};

// As long as it is there, upgrade orders of its thread are not kept: a detach cancels, whatever was
// ordered before, and would hide it.
class UpgradeOrderPause {
  public:
    UpgradeOrderPause() { sIsPaused = true; }
    ~UpgradeOrderPause() { sIsPaused = false; }
    UpgradeOrderPause(const UpgradeOrderPause&) = delete;
    UpgradeOrderPause& operator=(const UpgradeOrderPause&) = delete;

    static bool isPaused() { return sIsPaused; }

  private:
    static thread_local bool sIsPaused;
};

struct Statistics {
    ExchangeStatistics exchanges;
    // Commands that did not get as far as the tty: no cover, malformed, not to be opened.
    std::atomic<uint64_t> refused = 0;
    // Times that the kernel was asked to reset the cover.
    std::atomic<uint64_t> recoveries = 0;
    // Of the commands that were refused or failed.
    Latest<CommandFailure> lastFailure;
    // A reset leaves both: whoever compares two dumps can tell that an order came in between.
    Latest<UpgradeOrder> lastOrder;
    std::atomic<uint64_t> orders = 0;
    // Frames that clients drew; of those, the ones that the panel took and the ones it never got:
    // replaced by a newer one, freed unsent, given up. The rest waits or is being sent.
    std::atomic<uint64_t> framesDrawn = 0;
    std::atomic<uint64_t> framesSent = 0;
    std::atomic<uint64_t> framesDropped = 0;
    // Frames that were begun anew because the panel refused a report.
    std::atomic<uint64_t> frameRetries = 0;
};

extern Statistics sStatistics;

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
