// A forked process that is ended with its owner, and the CPUs of both.
#pragma once

#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace bench {

[[noreturn]] inline void fail(const char* what) {
    std::perror(what);
    std::exit(1);
}

// Puts this process on the first or the second of the CPUs that it may use. Left alone, the
// scheduler runs both ends of some pairs on one CPU and of others on two, where waking costs ten
// times as much; that is no matter of what carries the calls.
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
