// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// One fault of the cover, and the one-line language in which tests, tools and people write it.
//
//   fault    = "on" PREFIX effect [ "times" COUNT ]
//   effect   = "silent"                 nothing at all is sent, the echo included
//            | "late" DURATION          the reply begins that much later
//            | "split" DURATION         byte by byte, that far apart
//            | "garble" [ "all" ]       answer lines get their high bits set; with "all" the final
//                                       OK or ERROR too
//            | "error"                  the command is not carried out and answered ERROR
//            | "before" TEXT            TEXT and a line end ahead of the reply
//            | "after" TEXT             TEXT and a line end after the reply
//            | "inside" TEXT            TEXT and a line end in the answer, after the line end that
//                                       begins it
//            | "hangup" [ "after" N ]   the tty vanishes after N bytes of the reply (none: at once)
//            | "answer" TEXT            exactly these bytes instead of the echo and the answer
//            | "half"                   the answer stops in the middle of its first line
//            | "flood" [ N ]            N filler lines ahead of the final OK or ERROR; without N
//                                       they never end
//            | "deaf"                   from the command's first byte on the cover takes nothing,
//                                       until it is powered up again or the faults are cleared
//   PREFIX   = "*" (every command), a word, or a quoted text: the command begins with it, in any
//              case; the final "\r" is not part of the command
//   DURATION = an integer and us, ms or s; at most one day
//   TEXT     = a quoted text, "..." with \r \n \t \\ \" and \xHH
//
// Words are separated by blanks. Without "times" a fault stays until it is taken away.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "emulator/cover/Types.h"

namespace cover {

struct Fault {
    enum class Effect {
        Silent,
        Late,
        Split,
        Garble,
        Error,
        Before,
        After,
        Inside,
        HangUp,
        Answer,
        Half,
        Flood,
        Deaf,
    };
    std::string prefix;  // empty: every command
    Effect effect = Effect::Silent;
    Time time{};                    // Late, Split
    std::optional<uint64_t> count;  // HangUp: bytes; Flood: lines
    std::string text;               // Before, After, Inside, Answer
    bool all = false;               // Garble
    std::optional<uint64_t> times;  // commands it is still good for, 1 or more; none: no end
    uint64_t met = 0;               // commands that it has struck; no part of its text

    bool operator==(const Fault&) const = default;
};

struct ParsedFault {
    std::optional<Fault> fault;
    std::string error;  // when there is no fault: what is wrong and what to write instead
};

ParsedFault parseFault(std::string_view line);

// parseFault(toText(f)).fault is f, for every f that parseFault gave.
std::string toText(const Fault& fault);

}  // namespace cover
