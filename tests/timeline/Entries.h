// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A journal that a test writes down, and what people see of it, a line an item.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "emulator/timeline/Timeline.h"

namespace timeline {

inline constexpr char kTty[] = "/dev/ttyACM0";
inline constexpr char kPanel[] = "/dev/hidraw0";
inline constexpr int64_t kWallUs = 1'790'000'000'000'000;  // when the journal began

// Entries that are numbered from 1 in the order in which they are made.
class Entries {
  public:
    explicit Entries(uint64_t first = 1) : mNext(first) {}

    // At this time; its wall clock is kWallUs and the time.
    Entries& add(double ms, phone::Kind kind, std::string path, std::string bytes = "",
                 std::string note = "");
    Entries& lasting(double ms, double durationMs, phone::Kind kind, std::string path,
                     std::string bytes, std::string note);
    // The cover receives, sends.
    Entries& rx(double ms, std::string bytes) {
        return add(ms, phone::Kind::TtyRx, kTty, std::move(bytes));
    }
    Entries& tx(double ms, std::string bytes) {
        return add(ms, phone::Kind::TtyTx, kTty, std::move(bytes));
    }
    Entries& attach(double ms, std::string note = "3e91:6a2f TQC330R BV33021030001") {
        return add(ms, phone::Kind::Attach, "1-1", "", std::move(note));
    }
    Entries& detach(double ms) { return add(ms, phone::Kind::Detach, "1-1"); }
    // The fault strikes at this path, which the command or call meets.
    Entries& fault(double ms, std::string path, std::string fault, std::string met) {
        return add(ms, phone::Kind::FaultMet, std::move(path), std::move(fault), std::move(met));
    }
    // An output report with this offset and so many bytes of pixels.
    Entries& report(double ms, int offset, size_t size, std::string note = "");
    // The next entries are missing.
    Entries& skip(uint64_t count) {
        mNext += count;
        return *this;
    }

    const std::vector<phone::Entry>& list() const { return mEntries; }

  private:
    uint64_t mNext;
    std::vector<phone::Entry> mEntries;
};

// All items of the entries, each as it was given last.
std::vector<Item> itemsOf(const Entries& entries, bool ended = false);

// `exchange 1-2 "AT%SWV" "BV330-V10k" OK 0.5 ms`, with ", faulty" and ", open".
std::string describeItem(const Item& item);
std::vector<std::string> describeAll(const std::vector<Item>& items);

// Those items but for the ones of the given kind.
std::vector<std::string> without(const char* kind, const std::vector<Item>& items);

}  // namespace timeline
