// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the service costs when nothing happens, against a program of five threads that is linked
// with the same libraries: memory, time from exec to ready, and wake-ups. Prints rows
// (bench/Row.h).
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "bench/Row.h"
#include "bench/Switches.h"
#include "emulator/phone/Phone.h"
#include "emulator/phone/world/World.h"
#include "tests/support/Process.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kStarts = 21;
constexpr std::chrono::seconds kIdle(20);

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "bench_idle: %s\n", what.c_str());
    std::exit(1);
}

// A program that says on standard error when it is ready; killed at the end of the scope.
class Program {
  public:
    explicit Program(const std::string& path) {
        int log[2];
        if (pipe2(log, O_CLOEXEC) != 0) fail("no pipe");
        const auto start = Clock::now();
        mProcess.emplace(std::vector<std::string>{path},
                         support::ProcessOptions{.standardError = log[1]});
        close(log[1]);
        awaitReady(log[0], path);
        mStart = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
        // The pipe stays open and is drained, so that the log never blocks.
        mDrain = std::thread([fd = log[0]] {
            char buffer[4096];
            while (read(fd, buffer, sizeof(buffer)) > 0) {
            }
            close(fd);
        });
    }
    ~Program() {
        mProcess.reset();
        mDrain.join();
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    double msToReady() const { return mStart; }

    double pssKiB() const {
        std::ifstream file("/proc/" + std::to_string(mProcess->pid()) + "/smaps_rollup");
        for (std::string word; file >> word;) {
            if (word == "Pss:") {
                double value = 0;
                file >> value;
                return value;
            }
        }
        fail("no PSS");
    }

    long switches() const { return bench::switchesOf(mProcess->pid()); }

  private:
    static void awaitReady(int fd, const std::string& path) {
        std::string text;
        char buffer[4096];
        while (text.find("Bivista HAL Ready.") == std::string::npos) {
            const ssize_t count = read(fd, buffer, sizeof(buffer));
            if (count <= 0) fail(path + " ended before it was ready");
            text.append(buffer, static_cast<size_t>(count));
        }
    }

    std::optional<support::Process> mProcess;
    double mStart = 0;
    std::thread mDrain;
};

// Waits until a program has come to rest, and answers its wake-ups in the time after that.
long idleSwitches(const Program& program) {
    long before = program.switches();
    for (long last = -1; last != before;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        last = std::exchange(before, program.switches());
    }
    std::this_thread::sleep_for(kIdle);
    return program.switches() - before;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) fail("usage: bench_idle SERVICE REFERENCE");
    const std::string service = std::filesystem::absolute(argv[1]);
    const std::string reference = std::filesystem::absolute(argv[2]);
    if (const std::string error = phone::enterWorld(); !error.empty()) fail(error);
    phone::Phone phone;
    setenv("HIDL_SOCKET_DIR", "/data/hidl", 1);

    std::vector<double> starts, referenceStarts, pss, referencePss;
    for (int i = 0; i < kStarts; ++i) {
        {
            const Program program(service);
            starts.push_back(program.msToReady());
            pss.push_back(program.pssKiB());
        }
        const Program program(reference);
        referenceStarts.push_back(program.msToReady());
        referencePss.push_back(program.pssKiB());
    }
    bench::printPairs("from exec to ready", "ms", starts, referenceStarts, 1.3);
    bench::printPairs("memory (PSS)", "KiB", pss, referencePss, 1.3);

    const Program program(service);
    phone.cover.attach();
    const auto switches = static_cast<double>(idleSwitches(program));
    bench::printRow("voluntary context switches in 20 s of idleness", "", switches, 0, switches, 0);
    return 0;
}
