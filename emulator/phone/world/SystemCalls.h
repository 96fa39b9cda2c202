// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The system calls that are handed over to the emulator, as read from the memory of the task that
// makes them. A call that comes to be handled is a row in the table of SystemCalls.cpp, and an
// alternative of Call when it is of a new kind.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <linux/seccomp.h>
#include <sys/types.h>

#include "emulator/phone/backend/Device.h"
#include "emulator/phone/world/SyscallFilter.h"

namespace phone {

// open(), creat(), openat(), openat2(); access(), faccessat(), faccessat2().
struct OpenCall {
    std::filesystem::path path;  // absolute, as the caller wrote it otherwise
    bool isTest = false;         // access(): nothing is opened
    int flags = 0;               // of open()
    int mode = 0;                // of access()
    cover::Time held{};          // since it came, when it is asked again

    bool reads() const;
    bool writes() const;
    // The flags as in a program: "O_WRONLY|O_CREAT|O_TRUNC".
    std::string nameFlags() const;
};

// ioctl() with a request that points to an int.
struct IoctlCall {
    std::filesystem::path file;  // what the descriptor is open on, as /proc shows it
    uint32_t request = 0;
    std::optional<int> value;  // none: the pointer is bad
};

// write() to a descriptor of kHidrawNumbers, or ioctl() of a hidraw feature report.
struct ReportCall {
    std::filesystem::path file;  // what the descriptor is open on, as /proc shows it
    // Of the bytes at most kMaxReport; none when the pointer is bad.
    HidRequest request;
    bool isReadable = false;  // the pointer is good
};
// As the kernel's HID layer.
inline constexpr size_t kMaxReport = 16384;

// close() of a descriptor of kTtyNumbers.
struct CloseCall {
    std::filesystem::path file;  // what the descriptor is open on, as /proc shows it
};

// Descriptors that the emulator opens for a program, so that no other pays for their calls: writes
// to all of these are handed over, and closes of the latter.
struct Numbers {
    uint32_t first = 0;
    uint32_t end = 0;
};
inline constexpr Numbers kHidrawNumbers = {960, 1008};
inline constexpr Numbers kTtyNumbers = {kHidrawNumbers.end, 1024};

using Call = std::variant<OpenCall, IoctlCall, ReportCall, CloseCall>;

// What a filter must hand over.
std::vector<HandledCall> handledCalls();

// None when it is none of those.
std::optional<Call> readCall(const seccomp_notif& notification);

pid_t taskOf(const seccomp_notif& notification);

// Puts bytes where an ioctl's argument points to; false when the task's memory does not take them.
bool writeReport(const seccomp_notif& notification, const std::string& bytes);

}  // namespace phone
