// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// An entry of the journal, and its one line of JSON.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace phone {

enum class Kind {
    Attach,       // a device came; path: its node or USB name; note: its identity
    Detach,       // it went; without a path: it does not come back, and the note says why
    TtyOpen,      // the phone opened a tty; note: open flags
    Dtr,          // a tty's DTR line changed; note: "raised" or "lowered"
    TtyRx,        // the cover received `bytes`; one entry a command ("\r" ends it) or less
    TtyLost,      // a close of the tty gave up `bytes`, which the cover did not take
    TtyTx,        // the cover sent `bytes`, in one piece
    NodeOpen,     // a control file was opened for writing, or with a fault; note: open flags, and
                  // the fault if any
    NodeWrite,    // one write() of `bytes`, exactly
    NodeClose,    // the last descriptor of that open is gone
    NodeRefused,  // an open or access test was refused by a fault; note: the error
    NodeSet,      // the emulator gave a file new content `bytes`, or removed it (note "removed")
    KernelLog,    // one message for the kernel log
    HidOpen,      // the panel's hidraw node was opened; note: open flags, and the error if any
    HidGet,       // its feature report `bytes` was read; note: the error, or none
    HidSet,      // its feature report `bytes` was written; note: the error or the bytes that passed
    HidWrite,    // one output report `bytes`; note: the error, or the bytes that passed if not all
    HidClose,    // the last descriptor of that open is gone
    HidlCall,    // a neighbour service answered; path: interface and method; bytes: the arguments;
                 // note: the answer
    Uevent,      // the kernel raises the uevent `bytes`; note: "forged" when a process sends it
    Upgrade,     // of the cover's firmware; path: the image's file name; note: what became of it
    Property,    // path: the key; bytes: its new value
    Fault,       // bytes: the text of a fault that was set; empty: all were cleared
    UsbPower,    // the kernel suspended the device `path`, or woke it; note: "suspended", "resumed"
    ClientCall,  // a client called the cover's service; path: "IBivista.setBrightness"; bytes:
                 // the arguments, and note: the results, each as a JSON array; note: the error
                 // where there is no result
    ClientCallback,  // the service called a client back; otherwise the same
    Mark,            // a remark, `bytes`, of a person or a script
    FaultMet,        // the fault `bytes` struck at `path`; note: the command or call that met it
    Control,         // a request that changes something; path: method and path; bytes: its values
    Signal,          // the program that the phone runs was sent the signal `bytes`, as "USR1"
};

// "tty-rx", "node-write", ...: as in the JSON. All names differ.
std::string_view name(Kind kind);
// Nothing for a name of no kind.
std::optional<Kind> kindOf(std::string_view name);

struct Entry {
    uint64_t seq = 0;                 // 1, 2, 3, ...
    std::chrono::nanoseconds time{};  // monotonic, since the journal was made
    std::chrono::nanoseconds wall{};  // of CLOCK_REALTIME, at the same moment
    Kind kind = Kind::Attach;
    std::string path;
    std::string bytes;
    std::string note;
    // Only of a kind that lasts; `time` is its begin then, and may be before that of entries that
    // have a smaller number.
    std::optional<std::chrono::nanoseconds> duration{};
};

// One line of JSON without a line end: seq, time_us, wall_us, kind, path, bytes, note, duration_us
// (the last four only when there is something). Bytes are cover::escape() text, so any byte comes
// back by cover::unescape().
std::string toJson(const Entry& entry);

// The entry of such an object. Unknown members are left out; a missing wall_us is 0. Nothing when
// another member is missing, one is of another type or range, or the kind is unknown.
std::optional<Entry> fromJson(const nlohmann::ordered_json& object);

using Match = std::function<bool(const Entry&)>;

// Matches: kind and exact bytes; kind and first bytes; kind, path and exact bytes.
Match is(Kind kind, std::string bytes);
Match beginsWith(Kind kind, std::string bytes);
Match isOn(Kind kind, std::string path, std::string bytes);

}  // namespace phone
