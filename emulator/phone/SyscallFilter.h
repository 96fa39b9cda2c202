// The seccomp filter that hands the opening of files over to a supervisor.
#pragma once

#include <cstdint>
#include <vector>

#include <linux/filter.h>

#include "emulator/phone/Fd.h"

namespace phone {

// Only system calls made by instructions in [begin, end) are handed over.
struct CodeRange {
    uint64_t begin = 0;
    uint64_t end = UINT64_MAX;
};

// Where the C library's code lies in this process. Limiting a filter to it leaves the sanitizers'
// runtimes and the dynamic loader alone: they may open files while every other thread is stopped or
// waits for a lock, the supervisor's too.
CodeRange findCLibrary();

// Filter that hands over open, creat, openat, openat2, access, faccessat and faccessat2 (those that
// the architecture has) and allows the rest.
std::vector<sock_filter> makeOpenFilter(const CodeRange& range);

// Installs it on the calling thread and returns the supervisor's descriptor, or none with errno set
// (EBUSY: the thread is supervised already). Async-signal-safe.
int installFilter(const std::vector<sock_filter>& filter);

}  // namespace phone
