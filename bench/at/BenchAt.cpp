// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// An AT exchange with an answer of three lines, through the service's transport, against the same
// system calls by hand and against python3-serial. Also what counting it costs. All with the
// emulated cover in this process. Prints rows (bench/Row.h).
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include <android/log.h>
#include <fcntl.h>
#include <unistd.h>

#include "bench/BareExchange.h"
#include "bench/Device.h"
#include "bench/Row.h"
#include "diagnostics/Statistics.h"
#include "tests/support/Process.h"

namespace {

namespace implementation = vendor::qmx::hardware::bivista::V1_1::implementation;
using bench::Bivista;
using bench::fail;
using bench::now;

constexpr char kCommand[] = "AT%SWV\r";
constexpr int kLines = 3;
constexpr int kPairs = 41;
constexpr int kPythonPairs = 11;
constexpr int kExchanges = 200;  // in each half of a pair

struct Cost {
    double wall = 0;  // us of one exchange
    double cpu = 0;   // us of the calling thread's CPU
};

template <typename Exchange>
Cost measure(Exchange exchange) {
    const double wall = now(CLOCK_MONOTONIC);
    const double cpu = now(CLOCK_THREAD_CPUTIME_ID);
    for (int i = 0; i < kExchanges; ++i) {
        if (!exchange()) fail("an exchange failed");
    }
    return {(now(CLOCK_MONOTONIC) - wall) / kExchanges,
            (now(CLOCK_THREAD_CPUTIME_ID) - cpu) / kExchanges};
}

bool bare() {
    return bench::bareExchange(kCommand, kLines);
}

struct Pairs {
    std::vector<double> wall, bareWall, cpu, bareCpu;
};

bool exchangeThrough(Bivista& service) {
    char answer[1025] = {};
    return service.serialAtCmd(kCommand, answer, 1024, nullptr) > 0;
}

Pairs measurePairs(Bivista& service) {
    const auto through = [&service] { return exchangeThrough(service); };
    measure(through);
    measure(bare);
    Pairs pairs;
    for (int i = 0; i < kPairs; ++i) {
        // Both go first in turn, so that a drift of the machine favours neither.
        Cost mine, other;
        if (i % 2 == 0) mine = measure(through);
        other = measure(bare);
        if (i % 2 != 0) mine = measure(through);
        pairs.wall.push_back(mine.wall);
        pairs.bareWall.push_back(other.wall);
        pairs.cpu.push_back(mine.cpu);
        pairs.bareCpu.push_back(other.cpu);
    }
    return pairs;
}

// What an exchange costs more for being counted: its two looks at the clock, and its row.
bool countExchange() {
    const implementation::MutexLock lock(implementation::sSerialMutex, "bench");
    const uint64_t start = implementation::monotonicMicros();
    implementation::sStatistics.countExchange(kCommand, implementation::monotonicMicros() - start,
                                              0);
    return true;
}

void measureCounting(const std::vector<double>& exchanges) {
    measure(countExchange);
    std::vector<double> counting;
    for (size_t i = 0; i < exchanges.size(); ++i) counting.push_back(measure(countExchange).wall);
    bench::printPairs("AT exchange, its counting alone: time", "us", counting, exchanges, 0.01);
}

// The Python program, which answers each count with the time of one exchange.
class Python {
  public:
    Python() {
        int in[2];
        if (pipe2(in, O_CLOEXEC) != 0) fail("no pipe");
        mProcess.emplace(
                std::vector<std::string>{"/usr/bin/python3",
                                         BENCH_SOURCE_DIR "/pyserial_exchange.py"},
                support::ProcessOptions{.standardError = STDERR_FILENO, .standardInput = in[0]});
        close(in[0]);
        mIn = in[1];
    }

    double exchange() {
        dprintf(mIn, "%d\n", kExchanges);
        const std::string time = mProcess->line();
        if (time.empty()) fail("python3-serial did not run");
        return std::stod(time);
    }

  private:
    std::optional<support::Process> mProcess;
    int mIn = -1;
};

void measurePython(Bivista& service) {
    Python python;
    python.exchange();
    std::vector<double> mine, theirs;
    for (int i = 0; i < kPythonPairs; ++i) {
        theirs.push_back(python.exchange());
        mine.push_back(measure([&service] { return exchangeThrough(service); }).wall);
    }
    bench::printPairs("AT exchange against python3-serial", "us", mine, theirs, 0.5);
}

}  // namespace

int main() {
    bench::Device device;
    Bivista& service = device.service();
    while (service.serialAtCmd(kCommand, nullptr, 0, nullptr) < 0) usleep(1000);

    {
        const bench::Logging logging(ANDROID_LOG_INFO);
        const Pairs filtered = measurePairs(service);
        bench::printPairs("AT exchange, debug lines filtered: time", "us", filtered.wall,
                          filtered.bareWall, 1.10);
        bench::printPairs("AT exchange, debug lines filtered: own CPU", "us", filtered.cpu,
                          filtered.bareCpu, 1.15);
        measureCounting(filtered.wall);
    }
    measurePython(service);
    {
        const bench::Logging logging(ANDROID_LOG_VERBOSE);
        const Pairs logged = measurePairs(service);
        bench::printPairs("AT exchange, all lines written: time", "us", logged.wall,
                          logged.bareWall, 1.25);
    }
    device.end();
}
