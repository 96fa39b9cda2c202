// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The service's last events, in memory of fixed size. Knows no lock: Statistics guards it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <type_traits>
#include <vector>

#include "diagnostics/Moment.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

enum class EventKind : uint8_t {
    kStart,         // the service object was made; what: the version
    kAttach,        // what: serial, panel, usb, loader
    kDetach,        // as kAttach
    kSetting,       // a client, or the service itself, asks for it; what: the setting
    kFailure,       // what: an AT command's name, or a method's
    kTimeout,       // as kFailure, for an exchange that the cover did not answer in time
    kRefused,       // as kFailure, for a command that was not sent
    kRecovery,      // the kernel was asked to reset the cover
    kVotes,         // votes against USB suspend; what: leaked, reset; values: their number
    kCallback,      // what: lpwg, subDisplay, at; cause: registered, replaced, cleared, died
    kPanel,         // what: the SubScreenState
    kFrameDropped,  // cause: why
    kUpgrade,       // what: the order; cause: OK, FAIL
    kSignal,        // what: the signal
    kLpwgEvent,     // what: its name; values: the result; cause: what became of it
};

// As in the debug dump.
const char* nameOf(EventKind kind);

// Words that are a literal, or those of an errno; neither for none.
struct Cause {
    constexpr Cause() = default;
    constexpr Cause(const char* literal) : words(literal) {}
    static constexpr Cause ofError(int error) {
        Cause cause;
        cause.error = error;
        return cause;
    }

    const char* words = nullptr;
    int32_t error = 0;
};

// The words of the log; null for none.
const char* textOf(const Cause& cause);

struct Event {
    // Of them all, the tuning of the cover screen's RGB has the most.
    static constexpr size_t kMostValues = 4;
    // Its NUL included; the longest name of a command.
    static constexpr size_t kWhatCapacity = 64;

    Event() = default;
    // Of this moment. `what` is cut at its capacity; empty for none.
    Event(EventKind kind, std::string_view what, std::initializer_list<int64_t> values = {},
          Cause cause = {});

    uint64_t number = 0;  // given by the history
    Moment at;
    std::array<int64_t, kMostValues> values = {};
    Cause cause;
    uint32_t repeats = 0;  // how many like it came directly before; counted by the history
    EventKind kind = EventKind::kStart;
    uint8_t valueCount = 0;
    char what[kWhatCapacity] = {};
};
static_assert(std::is_trivially_copyable_v<Event>);

class History {
  public:
    static constexpr size_t kCapacity = 256;

    // Numbers the event, from 1 on, and puts it in the place of the oldest one. A brightness
    // directly after one of the same name takes that one's place and number instead, and so does a
    // dropped frame after one of the same cause: a slider that moves must not wash out all else.
    void add(const Event& event);

    // The number of the oldest event that is kept, and of the newest; 0 without any.
    uint64_t first() const {
        return mLast < kCapacity ? (mLast > 0 ? 1 : 0) : mLast - kCapacity + 1;
    }
    uint64_t last() const { return mLast; }
    // How many events above this number are kept no more.
    uint64_t lostSince(uint64_t number) const;
    // Appends the kept events above this number, oldest first. Never allocates when there is room
    // for kCapacity.
    void copySince(uint64_t number, std::vector<Event>* events) const;

  private:
    std::array<Event, kCapacity> mEvents;
    uint64_t mLast = 0;
};
static_assert(sizeof(History) <= 37 * 1024, "docs/debug-dump.md tells its size");

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
