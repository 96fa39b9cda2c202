// A forked process that is ended with its owner.
#pragma once

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "bench/Cpu.h"

namespace bench {

[[noreturn]] inline void fail(const char* what) {
    std::perror(what);
    std::exit(1);
}

class ServerProcess {
  public:
    template <typename Body>
    explicit ServerProcess(Body body) : mPid(fork()) {
        if (mPid < 0) fail("fork");
        if (mPid > 0) return;
        // So that it goes when the benchmark fails.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        useCpu(1);
        body();
        _exit(0);
    }
    ~ServerProcess() {
        kill(mPid, SIGKILL);
        waitpid(mPid, nullptr, 0);
    }
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

  private:
    const pid_t mPid;
};

}  // namespace bench
