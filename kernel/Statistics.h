// What the service counts about itself, for its debug dump. Nothing here decides anything: the
// counters are written where things happen, and read by the dump alone.
//
// Any thread, unless said otherwise; no call takes a lock, allocates, or makes a system call.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include "kernel/Latency.h"
#include "kernel/SerialAt.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// What an AT command is counted under: its text up to "=" or "\r", at most 63 bytes of it, in
// capitals: to the cover the case makes no difference.
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

// Exchanges with commands of one name: from the write of a command to its last line.
struct CommandStatistics {
    std::atomic<uint64_t> failures = 0;  // a negative result, time-outs included
    std::atomic<uint64_t> timeouts = 0;
    Latency latency;

    void count(uint64_t micros, bool failed, bool timedOut);
};

// The first 32 names that were sent; those that come later share one row. Names stay for good.
class ExchangeStatistics {
  public:
    static constexpr size_t kNames = 32;
    // What the shared row is called.
    static constexpr char kOther[] = "other";

    // Rows in the order of their first command, the shared one last. Those of names() are in use.
    size_t names() const { return mNames.load(std::memory_order_acquire); }
    std::string nameOf(size_t row) const;
    CommandStatistics& operator[](size_t row) { return mRows[row]; }

    // One at a time: by whoever holds the tty.
    void count(const char* cmd, uint64_t micros, bool failed, bool timedOut) REQUIRES(sSerialMutex);

  private:
    size_t rowOf(const CommandName& name);

    // A name is written before it is counted here, and not touched any more.
    std::atomic<size_t> mNames = 0;
    std::array<CommandName, kNames> mName;
    std::array<CommandStatistics, kNames + 1> mRows;
};

struct Statistics {
    ExchangeStatistics exchanges;
    // Commands that did not get as far as the tty: no cover, malformed, not to be opened.
    std::atomic<uint64_t> refused = 0;
    // Times that the kernel was asked to reset the cover.
    std::atomic<uint64_t> recoveries = 0;
    // Frames that clients drew; of those, the ones that the panel took and the ones it never got:
    // replaced by a newer one, freed unsent, given up. The rest waits or is being sent.
    std::atomic<uint64_t> framesDrawn = 0;
    std::atomic<uint64_t> framesSent = 0;
    std::atomic<uint64_t> framesDropped = 0;
    // Frames that were begun anew because the panel refused a report.
    std::atomic<uint64_t> frameRetries = 0;
    // The longest that the brightness queue was when a level was pushed.
    std::atomic<uint64_t> brightnessHighWater = 0;
};

extern Statistics sStatistics;

// CLOCK_MONOTONIC; keeps errno.
uint64_t monotonicMicros();

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
