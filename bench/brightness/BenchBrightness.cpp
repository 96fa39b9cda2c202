// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Brightness from the call to the wire, and the AT share of switching the screen on, against the
// same by hand; with the emulated cover in this process. Prints rows (bench/Row.h).
#include <chrono>
#include <string>
#include <vector>

#include <android/log.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "bench/BareExchange.h"
#include "bench/Device.h"
#include "bench/Row.h"
#include "bench/brightness/BareBrightness.h"

namespace {

using bench::BareBrightness;
using bench::BareQueue;
using bench::Bivista;
using bench::Device;
using bench::fail;
using bench::now;
using phone::Kind;
using vendor::qmx::hardware::bivista::V1_0::Status;

constexpr int kPairs = 41;
constexpr int kBurst = 10'000;
constexpr int kLast = 255;
constexpr char kBrightness[] = "AT%DB=";
constexpr char kMark[] = "bench";

std::string commandFor(int level) {
    return kBrightness + std::to_string(level) + "\r";
}

// All levels of a burst but the last, and none of them the last.
template <typename Set>
void setBurst(Set set) {
    for (int i = 1; i < kBurst; ++i) set(i % 200);
}

// Nanoseconds of one call.
template <typename Set>
double measureBurst(Set set) {
    const double start = now();
    setBurst(set);
    set(kLast);
    return (now() - start) * 1e3 / kBurst;
}

// Microseconds from the call of `set` with the last level until the cover has received it. The
// journal has both times on one clock, so that no thread of the benchmark runs beside the measured
// one.
template <typename Set>
double measureWire(phone::Phone& phone, Set set, uint64_t from) {
    phone::Journal& journal = phone.journal();
    journal.add(Kind::Property, kMark);
    set(kLast);
    const auto isLast = phone::is(Kind::TtyRx, commandFor(kLast));
    while (!journal.waitFor(isLast, from, std::chrono::milliseconds(0))) usleep(1000);

    const phone::Entry received = journal.waitFor(isLast, from);
    const auto isMark = [](const phone::Entry& entry) { return entry.path == kMark; };
    const std::chrono::duration<double, std::micro> time =
            received.time - journal.waitFor(isMark, from).time;
    // The exchange ends, and its thread goes to sleep.
    const auto isAnswer = [](const phone::Entry& entry) { return entry.kind == Kind::TtyTx; };
    journal.waitFor(isAnswer, received.seq);
    usleep(1000);
    return time.count();
}

template <typename Set>
double measureOne(phone::Phone& phone, Set set) {
    return measureWire(phone, set, phone.journal().next());
}

template <typename Set>
double measureLastOfBurst(phone::Phone& phone, Set set) {
    const uint64_t from = phone.journal().next();
    setBurst(set);
    return measureWire(phone, set, from);
}

std::vector<std::string> levelsSince(phone::Phone& phone, uint64_t from) {
    std::vector<std::string> levels;
    for (std::string& command : phone.journal().list(Kind::TtyRx, from)) {
        if (command.starts_with(kBrightness)) levels.push_back(std::move(command));
    }
    return levels;
}

// `measure` and `reference` in turns.
template <typename Measure, typename Reference>
void compare(const char* name, const char* unit, Measure measure, Reference reference,
             double limit) {
    std::vector<double> values, references;
    measure();
    reference();
    for (int i = 0; i < kPairs; ++i) {
        // Both go first in turn, so that a drift of the machine favours neither.
        if (i % 2 == 0) values.push_back(measure());
        references.push_back(reference());
        if (i % 2 != 0) values.push_back(measure());
    }
    bench::printPairs(name, unit, values, references, limit);
}

// How often this thread has waited for anything.
double waits() {
    rusage usage = {};
    getrusage(RUSAGE_THREAD, &usage);
    return static_cast<double>(usage.ru_nvcsw);
}

// The cover is late with the answer to the worker's command all the time.
void measureCalls(Device& device) {
    const auto set = [&device](int level) { device.service().setBrightness(level); };
    BareQueue queue;
    const auto push = [&queue](int level) { queue.push(level); };

    const uint64_t from = device.phone().journal().next();
    device.phone().faults.set("on AT%DB= late 3s times 1");
    set(0);
    device.phone().journal().waitFor(phone::is(Kind::TtyRx, commandFor(0)), from);

    const double before = waits();
    compare(
            "setBrightness / lock, push, signal", "ns", [&] { return measureBurst(set); },
            [&] { return measureBurst(push); }, 1.5);
    const double waited = waits() - before;
    if (levelsSince(device.phone(), from).size() != 1) fail("the link was not blocked");
    bench::printRow("waits of setBrightness for a blocked link", "", waited, 0, waited, 0);

    device.phone().journal().waitFor(phone::is(Kind::TtyRx, commandFor(kLast)), from);
    if (levelsSince(device.phone(), from).size() != 1 + BareQueue::kCapacity) {
        fail("a burst costs more than 20 exchanges");
    }
}

void measureLink(Device& device) {
    const auto set = [&device](int level) { device.service().setBrightness(level); };
    BareBrightness& bare = *new BareBrightness();
    const auto setBare = [&bare](int level) { bare.set(level); };
    phone::Phone& phone = device.phone();

    compare(
            "brightness, from call to wire", "us", [&] { return measureOne(phone, set); },
            [&] { return measureOne(phone, setBare); }, 1.15);
    compare(
            "last brightness of 10,000, from call to wire", "us",
            [&] { return measureLastOfBurst(phone, set); },
            [&] { return measureLastOfBurst(phone, setBare); }, 1.15);
}

bool writePower(const char* text) {
    const int fd = open(phone::kPowerNode, O_WRONLY | O_CLOEXEC);
    const bool written = write(fd, text, 3) == 3;
    close(fd);
    return written;
}

constexpr useconds_t kPollDelayUs = 50'000;

// The waits have a row of their own, since they are the same for both.
double switchOn(Bivista& service) {
    const double start = now();
    if (service.setPowerStatus(true, false) != Status::OK) fail("the screen did not come up");
    const double time = now() - start - kPollDelayUs;
    if (service.setPowerStatus(false, false) != Status::OK) fail("the screen did not go off");
    return time;
}

double switchOnByHand() {
    const double start = now();
    bool ok = bench::bareExchange("AT%LOGSAVE=3\r", 2) && bench::bareExchange("AT%BV=1\r", 2);
    usleep(kPollDelayUs);
    ok = ok && bench::bareExchange("AT%HPD\r", 3) && writePower("1 0");
    const double time = now() - start - kPollDelayUs;
    if (!ok || !bench::bareExchange("AT%BV=0\r", 2)) fail("a bare exchange failed");
    return time;
}

void measurePower(Device& device) {
    compare(
            "setPowerStatus(true) but its 50 ms / exchanges", "us",
            [&] { return switchOn(device.service()); }, switchOnByHand, 1.25);
}

}  // namespace

int main() {
    cover::Options cover;
    // The screen is there at the first look.
    cover.hotPlugPolls = 0;
    Device device(cover);
    // With the screen off: while it is on, a vote stands, and exchanges save their own.
    while (device.service().setPowerStatus(true, false) != Status::OK) usleep(1000);
    device.service().setPowerStatus(false, false);

    const bench::Logging logging(ANDROID_LOG_INFO);
    measureCalls(device);
    measureLink(device);
    measurePower(device);
    device.end();
}
