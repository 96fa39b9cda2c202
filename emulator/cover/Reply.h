// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// All that the cover sends on account of one command, before it becomes bytes on the wire.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "emulator/cover/Types.h"

namespace cover {

// What the firmware says to a command.
struct Answer {
    bool ok = true;
    std::vector<std::string> lines;      // without line ends; none of them is empty
    std::optional<LoaderEntry> leaveTo;  // leaves for its loader when it has answered
    Time delay{};                        // until it is answered
};

// Sent in the order of the fields: before, echo, head, flood, tail, after.
struct Reply {
    std::string before;
    std::string echo;
    std::string head;  // "\r\n", then each answer line with its "\r\n"
    std::string tail;  // "OK\r\n" or "ERROR\r\n"
    std::string after;

    Time delay{};  // before the first byte
    Time gap{};    // between bytes; 0: not split

    uint64_t floodLines = 0;
    bool floodForever = false;  // nothing after the flood is ever sent

    std::optional<uint64_t> hangUpAfter;  // bytes
};

// `echo` is sent as it is: no line end is added, since the answer's own blank line completes it.
Reply makeReply(std::string echo, const Answer& answer);

}  // namespace cover
