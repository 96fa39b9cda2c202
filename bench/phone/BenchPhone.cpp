// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Calls of the running service, and its packing loop by itself. Built on the phone (Android.bp) and
// on a host. Only calls that change nothing and ask no cover.
#include <vector>

#include <benchmark/benchmark.h>
#include <vendor/qmx/hardware/bivista/1.1/IBivista.h>

#include "sub_display/PackFrame.h"

namespace {

using ::android::sp;
using ::vendor::qmx::hardware::bivista::V1_0::Status;
using ::vendor::qmx::hardware::bivista::V1_0::SubScreenState;
using ::vendor::qmx::hardware::bivista::V1_1::IBivista;
using ::vendor::qmx::hardware::bivista::V1_1::implementation::packFrame;

constexpr size_t kWords = 16384;

// One call after another of the service; a call that fails ends the benchmark.
template <typename Call>
void repeatCall(benchmark::State& state, Call call) {
    const sp<IBivista> service = IBivista::getService();
    if (service == nullptr) {
        state.SkipWithError("no Bivista service");
        return;
    }
    while (state.KeepRunning()) {
        if (!call(*service)) {
            state.SkipWithError("the service died");
            break;
        }
    }
}

void getBV2Connect(benchmark::State& state) {
    repeatCall(state, [](IBivista& service) { return service.getBV2Connect().isOk(); });
}

void getSubDisplayPowerState(benchmark::State& state) {
    const auto ignore = [](Status, SubScreenState) {};
    repeatCall(state,
               [&](IBivista& service) { return service.getSubDisplayPowerState(ignore).isOk(); });
}

// Refused for its size once it has arrived: what the way of the words costs.
void refuseFrame(benchmark::State& state) {
    const std::vector<uint32_t> words(static_cast<size_t>(state.range(0)));
    repeatCall(state, [&](IBivista& service) { return service.drawSubDisplay(words).isOk(); });
}

void packWholeFrame(benchmark::State& state) {
    const std::vector<uint32_t> words(kWords, 0x50);
    std::vector<uint8_t> area(kWords / 2);
    while (state.KeepRunning()) {
        packFrame(words.data(), area.size(), area.data());
        benchmark::DoNotOptimize(area.data());
        benchmark::ClobberMemory();
    }
}

BENCHMARK(getBV2Connect);
BENCHMARK(getSubDisplayPowerState);
BENCHMARK(refuseFrame)->Arg(1)->Arg(kWords + 1);
BENCHMARK(packWholeFrame);

}  // namespace

BENCHMARK_MAIN();
