// An AT exchange with an answer of three lines, through the service's transport, against the same
// system calls by hand and against python3-serial; all with the emulated cover in this process.
// Prints rows (bench/Row.h).
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include <android/log.h>
#include <fcntl.h>
#include <unistd.h>

#include "bench/Row.h"
#include "bench/at/BareExchange.h"
#include "emulator/phone/Phone.h"
#include "emulator/phone/World.h"
#include "kernel/Bivista.h"

namespace {

using vendor::qmx::hardware::bivista::V1_1::implementation::Bivista;

constexpr char kCommand[] = "AT%SWV\r";
constexpr int kLines = 3;
constexpr int kPairs = 41;
constexpr int kPythonPairs = 11;
constexpr int kExchanges = 200;  // in each half of a pair

struct Cost {
    double wall = 0;  // us of one exchange
    double cpu = 0;   // us of the calling thread's CPU
};

double now(clockid_t clock) {
    timespec time = {};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "bench_at: %s\n", what);
    std::exit(1);
}

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
        // Who goes first takes turns, so that a drift of the machine favours nobody.
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

// The Python program, which answers each count with the time of one exchange.
class Python {
  public:
    Python() {
        int in[2], out[2];
        if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) fail("no pipe");
        const pid_t pid = fork();
        if (pid == 0) {
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            execl("/usr/bin/python3", "python3", BENCH_SOURCE_DIR "/pyserial_exchange.py", nullptr);
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        mIn = fdopen(in[1], "w");
        mOut = fdopen(out[0], "r");
    }
    Python(const Python&) = delete;
    Python& operator=(const Python&) = delete;

    double exchange() {
        double time = 0;
        std::fprintf(mIn, "%d\n", kExchanges);
        std::fflush(mIn);
        if (std::fscanf(mOut, "%lf", &time) != 1) fail("python3-serial did not run");
        return time;
    }

  private:
    FILE* mIn = nullptr;
    FILE* mOut = nullptr;
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

// The log is written as a service's is, to memory: a file of the world.
void logToFile() {
    const int log = open("/data", O_TMPFILE | O_WRONLY | O_APPEND, 0600);
    if (log < 0 || dup2(log, STDERR_FILENO) < 0) fail("no file for the log");
    close(log);
}

}  // namespace

int main() {
    if (const std::string error = phone::enterWorld(); !error.empty()) fail(error.c_str());
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    phone::Phone phone;
    const ::android::sp<Bivista> service = new Bivista();
    service->incStrong(nullptr);
    phone.attachCover();
    while (service->serialAtCmd(kCommand, nullptr, 0, nullptr) < 0) usleep(1000);

    __android_log_set_minimum_priority(ANDROID_LOG_INFO);
    const Pairs filtered = measurePairs(*service);
    bench::printPairs("AT exchange, debug lines filtered: time", "us", filtered.wall,
                      filtered.bareWall, 1.10);
    bench::printPairs("AT exchange, debug lines filtered: own CPU", "us", filtered.cpu,
                      filtered.bareCpu, 1.15);
    measurePython(*service);

    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    const int terminal = dup(STDERR_FILENO);
    logToFile();
    const Pairs logged = measurePairs(*service);
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    dup2(terminal, STDERR_FILENO);
    bench::printPairs("AT exchange, all lines written: time", "us", logged.wall, logged.bareWall,
                      1.25);
    std::fflush(nullptr);
    // The service's threads run until the process ends.
    _exit(0);
}
