// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the phone's drivers (vm/module) record of its software: one line a record.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "emulator/cover/Types.h"

namespace vm {

struct Record {
    enum class Kind : char {
        Open = 'O',
        Write = 'W',
        Close = 'C',
        Refused = 'X',
        TtyOpen = 'T',
        TtyClose = 'U',
        TtyRead = 'R',
        HidOpen = 'H',
        HidClose = 'h',
        Lost = 'L',
    };
    Kind kind = Kind::Open;
    pid_t process = 0;
    cover::Time begin{};
    int flags = 0;           // of the open
    std::string path;        // as the kernel names it
    std::string bytes;       // Write: what was written
    int64_t number = 0;      // Refused: errno; TtyRead: bytes; HidOpen: result; Lost: records
    cover::Time duration{};  // HidOpen
};

// Throws phone::Error when the line, which has no line end, is no record.
Record parseRecord(std::string_view line);

// All records that wait at the driver's descriptor, which does not block.
std::vector<Record> takeRecords(int driver);

// Flags of an open as in a program, "O_RDWR|O_NOCTTY", without those that only the kernel sets.
std::string nameFlags(int flags);

}  // namespace vm
