// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the service tells of itself, now or in a report: its dump, its history, its log.
#pragma once

#include <stdint.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/client/Dump.h"
#include "tools/client/History.h"

namespace doctor {

using ::bivistactl::Event;

// Lines that show a finding.
using Lines = std::vector<std::string>;

// Of many lines of a kind, the last ones are enough.
inline constexpr size_t kMostLines = 5;

// Which events: empty texts match any.
struct Which {
    std::string_view kind;
    std::string_view what = {};
    std::string_view cause = {};
    // Of events, only those with a greater number.
    int64_t after = 0;

    bool matches(const Event& event) const;
};

struct Account {
    bivistactl::Dump dump;
    bivistactl::History history;
    // Empty when there is none.
    std::string log;

    // Null when there is none.
    const Event* last(const Which& which) const;
    int64_t count(const Which& which) const;
    // The last events, one a line.
    Lines lines(const Which& which) const;
    // The same for one of last(); none for null.
    static Lines lines(const Event* event);
    // A member of the dump as a line: "dump: display.screenOn is false". None when it is not there.
    Lines line(const bivistactl::DumpMember& member) const;
    // The last lines of the log that hold the text, with their numbers: "log:17: ...".
    Lines logLines(std::string_view text) const;
};

Lines operator+(Lines lines, const Lines& more);

// "1 level", "2 levels"
std::string counted(int64_t number, const std::string& noun);

}  // namespace doctor
