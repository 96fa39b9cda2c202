// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A server of a benchmark, on the second CPU, in a process that is ended with its owner.
#pragma once

#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "bench/Cpu.h"
#include "tests/support/Process.h"

namespace bench {

[[noreturn]] inline void fail(const char* what) {
    std::perror(what);
    std::exit(1);
}

// So that a server goes when the benchmark fails.
inline void becomeServer() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    useCpu(1);
}

class ServerProcess : public support::Process {
  public:
    template <typename Body>
    explicit ServerProcess(Body body)
        : Process([&](const Ready&) {
              becomeServer();
              body();
              return 0;
          }) {}
};

}  // namespace bench
