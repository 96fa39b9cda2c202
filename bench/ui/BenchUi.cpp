// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The page of the emulator: how late it shows an event, and what it costs while nothing happens.
// Prints rows (bench/Row.h). References are what people bear: 100 ms, a thousandth of a processor,
// two wake-ups a second, and 256 KiB of program.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/Clock.h"
#include "bench/Row.h"
#include "bench/ServerProcess.h"
#include "bench/Switches.h"
#include "bench/ui/Page.h"
#include "emulator/phone/client/Client.h"
#include "emulator/ui/PageFile.h"
#include "tests/support/Process.h"

namespace {

using namespace std::chrono_literals;
using bench::fail;
using bench::Page;
using support::Process;

constexpr int kEvents = 500;
constexpr std::chrono::seconds kIdle(10);

std::string makeFolder() {
    char path[] = "/tmp/bench-ui-XXXXXX";
    if (mkdtemp(path) == nullptr) fail("mkdtemp");
    setenv("HIDL_SOCKET_DIR", path, 1);
    return path;
}

class Bench {
  public:
    explicit Bench(const std::string& emulator)
        : mFolder(makeFolder()),
          mPhone({emulator, "run", "--", "/bin/sh", "-c", "echo up; read line"}),
          mUi({emulator, "ui"}),
          mAddress(mUi.line()) {
        mPhone.waitFor("up\n");
        if (mAddress.empty()) fail("bivista-emulator ui");
    }
    ~Bench() {
        mUi.kill(SIGTERM);
        mUi.wait();
        mPhone.wait();
        std::filesystem::remove_all(mFolder);
    }
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    void measureLatency() const;
    void measureIdle(const std::string& how, double limit) const;
    std::unique_ptr<Page> open() const;

  private:
    void raise() const;
    void awaitRest() const;
    double cpuMs() const;
    void printWakes(const std::string& name, long switches, double limit) const;

    const std::string mFolder;
    Process mPhone;
    Process mUi;
    const std::string mAddress;
};

std::unique_ptr<Page> Bench::open() const {
    auto page = std::make_unique<Page>(mAddress);
    while (!page->isLoaded()) std::this_thread::sleep_for(1ms);
    return page;
}

void Bench::raise() const {
    emulator::Client client(mFolder + "/emulator.sock");
    const auto answer = client.ask("POST", "/v1/uevent", {{"bytes", "change@/x\\x00"}});
    if (!answer || answer->status != 200) fail("no answer of the emulator");
}

// One half comes to a page that was quiet, the other to one that is busy.
void Bench::measureLatency() const {
    const auto page = open();
    for (int i = 0; i < kEvents; ++i) {
        raise();
        std::this_thread::sleep_for(i % 100 < 50 ? 50ms : 5ms);
    }
    std::vector<double> times;
    while ((times = page->latencies()).size() < kEvents) std::this_thread::sleep_for(10ms);
    std::sort(times.begin(), times.end());
    constexpr double kBorneMs = 100;
    const double middle = times[times.size() / 2];
    const double late = times[times.size() * 99 / 100];
    bench::printRow("from an event to the page, half of all", "ms", middle, kBorneMs,
                    middle / kBorneMs, 1);
    bench::printRow("from an event to the page, 99 of 100", "ms", late, kBorneMs, late / kBorneMs,
                    1);
}

// Waits until both processes have come to rest.
void Bench::awaitRest() const {
    std::this_thread::sleep_for(3s);
}

double Bench::cpuMs() const {
    double sum = 0;
    for (const pid_t process : {mPhone.pid(), mUi.pid()}) {
        clockid_t clock = 0;
        if (clock_getcpuclockid(process, &clock) != 0) fail("clock_getcpuclockid");
        sum += bench::now(clock) / 1000;
    }
    return sum;
}

void Bench::printWakes(const std::string& name, long switches, double limit) const {
    constexpr double kBorne = 2;
    const double each = static_cast<double>(switches) / static_cast<double>(kIdle.count());
    bench::printRow(name, "/s", each, kBorne, each / kBorne, limit);
}

void Bench::measureIdle(const std::string& how, double limit) const {
    awaitRest();
    const long phone = bench::switchesOf(mPhone.pid());
    const long ui = bench::switchesOf(mUi.pid());
    const double cpu = cpuMs();
    std::this_thread::sleep_for(kIdle);
    printWakes("wake-ups of the emulator, " + how, bench::switchesOf(mPhone.pid()) - phone, limit);
    printWakes("wake-ups of the page's server, " + how, bench::switchesOf(mUi.pid()) - ui, limit);
    const double spent = cpuMs() - cpu;
    const double borne = std::chrono::duration<double, std::milli>(kIdle).count() / 1000;
    bench::printRow("processor time of both in 10 s, " + how, "ms", spent, borne, spent / borne, 1);
}

void printBytes() {
    double bytes = 0;
    for (const ui::PageFile& file : ui::pageFiles()) {
        bytes += static_cast<double>(file.compressed.size());
    }
    constexpr double kBorneKiB = 256;
    bench::printRow("what the page adds to the program", "KiB", bytes / 1024, kBorneKiB,
                    bytes / 1024 / kBorneKiB, 1);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: bench_ui EMULATOR\n");
        return 1;
    }
    printBytes();
    const Bench bench(std::filesystem::absolute(argv[1]));
    bench.measureIdle("without a page", 0);
    bench.measureLatency();
    const auto page = bench.open();
    bench.measureIdle("with an idle page", 1);
    return 0;
}
