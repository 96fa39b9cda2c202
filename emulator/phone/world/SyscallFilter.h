// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The seccomp filter that hands system calls over to a supervisor.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <linux/filter.h>

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

// A system call to hand over: every one of this number that fits what else is given.
struct HandledCall {
    uint32_t number = 0;
    // The second argument, in those bits that `mask` has set.
    std::optional<uint32_t> request = std::nullopt;
    uint32_t mask = UINT32_MAX;
    // The first argument is a descriptor of at least this number.
    uint32_t firstDescriptor = 0;
};

// Filter that hands over these calls and allows the rest.
std::vector<sock_filter> makeFilter(const CodeRange& range, const std::vector<HandledCall>& calls);

// Installs it on the calling thread and returns the supervisor's descriptor, or none with errno set
// (EBUSY: the thread is supervised already). Async-signal-safe.
int installFilter(const std::vector<sock_filter>& filter);

}  // namespace phone
