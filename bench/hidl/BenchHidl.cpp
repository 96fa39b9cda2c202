// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A HIDL call through the runtime, empty and with 64 KiB, against a raw ping-pong over a Unix
// socket and against a D-Bus call; and what it costs to record the empty call. Each end has a CPU
// of its own. Prints rows (bench/Row.h).
#include <chrono>
#include <string>
#include <vector>

#include "bench/Row.h"
#include "bench/ServerProcess.h"
#include "bench/hidl/Echo.h"

namespace {

using bench::Echo;

constexpr int kPairs = 41;
constexpr int kExchanges = 200;  // in each half of a pair

// Microseconds of one exchange.
double measure(Echo& echo, size_t size) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kExchanges; ++i) echo.exchange(size);
    const std::chrono::duration<double, std::micro> time = std::chrono::steady_clock::now() - start;
    return time.count() / kExchanges;
}

void compare(const std::string& name, Echo& hidl, Echo& reference, size_t size, double limit) {
    std::vector<double> values;
    std::vector<double> references;
    measure(hidl, size);
    measure(reference, size);
    for (int i = 0; i < kPairs; ++i) {
        values.push_back(measure(hidl, size));
        references.push_back(measure(reference, size));
    }
    bench::printPairs(name, "us", values, references, limit);
}

}  // namespace

int main() {
    bench::useCpu(0);
    const auto socket = bench::makeSocketEcho();
    const auto dbus = bench::makeDbusEcho();
    const auto hidl = bench::makeHidlEcho();
    const auto recorded = bench::makeHidlEcho(true);
    compare("HIDL call, empty / Unix socket", *hidl, *socket, 0, 2.5);
    compare("HIDL call, 64 KiB / Unix socket", *hidl, *socket, bench::kLargest, 4);
    compare("HIDL call, empty / D-Bus call", *hidl, *dbus, 0, 1);
    compare("HIDL call, 64 KiB / D-Bus call", *hidl, *dbus, bench::kLargest, 1);
    compare("HIDL call, empty, recorded / not recorded", *recorded, *hidl, 0, 1.1);
    return 0;
}
