// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What people see of the journal: one exchange, one frame, one call, one event.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "emulator/phone/Entry.h"

namespace timeline {

enum class Lane { At, Panel, Nodes, Uevents, Usb, Calls, Emulator };

inline constexpr Lane kLanes[] = {Lane::At,  Lane::Panel, Lane::Nodes,   Lane::Uevents,
                                  Lane::Usb, Lane::Calls, Lane::Emulator};

// "at", "panel", "nodes", "uevents", "usb", "calls", "emulator".
std::string_view name(Lane lane);
// That of the item which an entry is part of.
Lane laneOf(const phone::Entry& entry);

struct Item {
    uint64_t id = 0;    // seq of its first entry: unique, and the same as the item grows
    uint64_t last = 0;  // seq of its last entry so far
    Lane lane = Lane::Emulator;
    // "exchange"; "log", a line of the cover's log; "unsolicited", any other line that answers no
    // command; "frame", "call", "callback", "neighbour-call", "upgrade"; else the kind of its one
    // entry.
    std::string kind;
    int64_t beginUs = 0;     // as time_us of the journal
    int64_t durationUs = 0;  // 0 for an instant
    int64_t wallUs = 0;      // of its begin, since 1970
    // Printable ASCII, at most kLongestText characters and then "...".
    std::string title;   // "AT%SWV"; "setBrightness(128)"; "bv2_pd <- 1 0"
    std::string detail;  // the answer's lines between " | ", the results, the note
    // Of an exchange "OK", "ERROR", "no answer" or "cut off"; of a frame "drawn", "refused" or "cut
    // off"; of a call "OK", "FAIL" or why there is no result; of an upgrade "written", "cancelled",
    // "refused" or "cut off"; of a request the phone refused "refused"; else nothing.
    std::string verdict;
    bool faulty = false;  // a fault struck it
    bool open = false;    // not over: it will be given again

    bool operator==(const Item&) const = default;
};

inline constexpr size_t kLongestText = 200;

// Opens, closes and modem lines: they matter to nobody who does not look for them.
bool isBackground(std::string_view kind);

// The item that begins with this entry; without kind and texts.
Item begin(const phone::Entry& entry);

// When it was over.
std::chrono::nanoseconds endOf(const phone::Entry& entry);

// Makes the entry the item's last one so far.
void extend(Item& item, const phone::Entry& entry);

// Ends the item at this time of the journal.
void close(Item& item, const char* verdict, std::chrono::nanoseconds time);

// [id,last,"lane","kind",beginUs,durationUs,wallUs,"title","detail","verdict",flags]; flags: 1 for
// faulty, 2 for open, both added.
std::string toJson(const Item& item);

}  // namespace timeline
