// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The CPUs of the two ends of an exchange.
#pragma once

#include <sched.h>

namespace bench {

// Puts the calling thread, and the threads and processes that it starts, on the first or the second
// of the CPUs that the program may use. Left alone, the scheduler runs both ends of some pairs on
// one CPU and of others on two, where waking costs ten times as much; that is no matter of what
// carries the exchange.
inline void useCpu(int which) {
    static const cpu_set_t allowed = [] {
        cpu_set_t set;
        sched_getaffinity(0, sizeof(set), &set);
        return set;
    }();
    if (CPU_COUNT(&allowed) < 2) return;
    int cpu = 0;
    for (int seen = 0; !CPU_ISSET(cpu, &allowed) || seen++ < which;) ++cpu;
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(cpu, &one);
    sched_setaffinity(0, sizeof(one), &one);
}

}  // namespace bench
