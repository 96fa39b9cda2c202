// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The service's last events, which its debug dump has with "--events".
#pragma once

#include <stdint.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/client/Service.h"
#include "tools/text/Json.h"

namespace bivistactl {

// docs/debug-dump.md lists the kinds, and what the members of each mean. A text is empty for none.
struct Event {
    int64_t number = 0;
    int64_t wallMicros = 0;
    int64_t monotonicMicros = 0;
    std::string kind;
    std::string what;
    std::vector<int64_t> values;
    std::string cause;
    // How many of its like followed directly and became one with it.
    int64_t repeats = 0;
};

// As in the dump.
Json toJson(const Event& event);
// In one line for people: "2026-11-23 04:18:17.123Z  #17  failure AT%DB: Command not supported".
std::string inWords(const Event& event);

// Any program may have written the text: events that are malformed are left out.
class History {
  public:
    // Nothing is known, for this reason.
    static History unknown(const std::string& fault);
    // The text of "--events --json".
    explicit History(std::string_view text);
    // Asks the service for the events above this number. Throws as readDump().
    static History of(const ::android::sp<BivistaV1_0>& service, int64_t since = 0);

    // Why nothing is known, for people; empty when something is.
    const std::string& fault() const { return mFault; }
    // By their numbers.
    const std::vector<Event>& events() const { return mEvents; }
    // The number of the last event that there was.
    int64_t last() const { return mLast; }
    // How many events above the number that was asked for the service keeps no more.
    int64_t lost() const { return mLost; }
    // Tells two services apart: their numbers of events have nothing to do with each other.
    const std::string& service() const { return mService; }
    // The version of the LPWG callback that is registered, empty for none; nothing when not known.
    const std::optional<std::string>& lpwgCallback() const { return mLpwgCallback; }

  private:
    History() = default;

    std::string mFault;
    std::vector<Event> mEvents;
    int64_t mLast = 0;
    int64_t mLost = 0;
    std::string mService;
    std::optional<std::string> mLpwgCallback;
};

}  // namespace bivistactl
