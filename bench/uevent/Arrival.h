// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The moment at which another thread or process got something.
#pragma once

#include <semaphore.h>
#include <sys/mman.h>

#include <new>

#include "bench/Clock.h"
#include "bench/ServerProcess.h"

namespace bench {

class Arrival {
  public:
    // In memory that processes forked from here share; stays for ever.
    static Arrival& make() {
        void* memory = mmap(nullptr, sizeof(Arrival), PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) fail("mmap");
        return *new (memory) Arrival;
    }

    // Reports the arrival. Called by the receiver.
    void tell() {
        mTime = now();
        sem_post(&mTold);
    }

    // Called by the waiter, before the event: reports of earlier arrivals do not count.
    void forget() {
        while (sem_trywait(&mTold) == 0) continue;
    }
    // When it came, in us.
    double await() {
        while (sem_wait(&mTold) != 0) continue;
        return mTime;
    }
    // Whether it comes within this time.
    bool awaitFor(double us) {
        const auto end = static_cast<long>((now(CLOCK_REALTIME) + us) * 1e3);
        const timespec time = {end / 1'000'000'000, end % 1'000'000'000};
        return sem_timedwait(&mTold, &time) == 0;
    }

  private:
    Arrival() { sem_init(&mTold, 1, 0); }

    sem_t mTold;
    double mTime = 0;
};

}  // namespace bench
