// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Frames from a client through HIDL to the panel, against the same open, writes and close by hand.
// Both send as many as the panel takes. The panel is the emulated one, at a pace of the real one:
// 0.5 to 1 ms for a frame, and 60 ms when each open wakes it. Prints a row (bench/Row.h).
#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vendor/qmx/hardware/bivista/1.0/IBivista.h>

#include "bench/Clock.h"
#include "bench/Row.h"
#include "emulator/phone/Phone.h"
#include "emulator/phone/world/World.h"

namespace {

using ::android::sp;
using ::android::hardware::hidl_vec;
using bench::now;
using vendor::qmx::hardware::bivista::V1_0::IBivista;
using vendor::qmx::hardware::bivista::V1_0::Status;

constexpr int kPairs = 15;
constexpr useconds_t kWindow = 200'000;  // us, each half of a pair
constexpr useconds_t kBetweenDraws = 400;
constexpr size_t kWords = 16384;
constexpr char kPace[] = "hid write late 250us";

[[noreturn]] void fail(const std::string& what) {
    fprintf(stderr, "bench_frames: %s\n", what.c_str());
    exit(1);
}

sp<IBivista> awaitService() {
    for (;;) {
        if (sp<IBivista> service = IBivista::getService(); service != nullptr) return service;
        usleep(10000);
    }
}

uint64_t awaitFrames(const phone::Phone& phone, uint64_t frames) {
    for (;;) {
        if (const uint64_t now = phone.panel.state().frames; now >= frames) return now;
        usleep(1000);
    }
}

// us from one frame that the panel shows to the next, in the middle of a series.
double usPerFrame(const phone::Phone& phone) {
    const uint64_t before = awaitFrames(phone, phone.panel.state().frames + 5);
    const double start = now();
    usleep(kWindow);
    const uint64_t frames = phone.panel.state().frames - before;
    if (frames == 0) fail("no frame reached the panel");
    return (now() - start) / static_cast<double>(frames);
}

// A client that draws about twice as often as the panel takes a frame, so that one always waits to
// be sent. More would only take CPU from the panel, which on a phone has its own.
double measureClient(const phone::Phone& phone, const sp<IBivista>& service,
                     const hidl_vec<uint32_t>& frame) {
    std::atomic<bool> stop = false;
    std::thread client([&] {
        while (!stop) {
            const auto result = service->drawSubDisplay(frame);
            if (!result.isOk() || result != Status::OK) fail("a frame was refused");
            usleep(kBetweenDraws);
        }
    });
    const double time = usPerFrame(phone);
    stop = true;
    client.join();
    return time;
}

double measureBare(phone::Phone& phone, const std::string& program) {
    const pid_t pid = phone.spawn({program});
    const double time = usPerFrame(phone);
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    return time;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) fail("usage: bench_frames SERVICE BARE_FRAMES");
    if (const std::string error = phone::enterWorld(); !error.empty()) fail(error);
    setenv("HIDL_SOCKET_DIR", "/data/hidl", 1);
    setenv("HOST_LOG_LEVEL", "silent", 1);
    phone::Phone phone;
    phone.faults.set(kPace);
    const pid_t server = phone.spawn({argv[1]});
    const sp<IBivista> service = awaitService();
    phone.cover.attach();
    while (!phone.panel.state().on) usleep(10000);

    hidl_vec<uint32_t> frame;
    frame.resize(kWords);
    std::vector<double> values, references;
    for (int i = 0; i < kPairs; ++i) {
        // Both go first in turn, so that a drift of the machine favours neither.
        if (i % 2 == 0) values.push_back(measureClient(phone, service, frame));
        references.push_back(measureBare(phone, argv[2]));
        if (i % 2 != 0) values.push_back(measureClient(phone, service, frame));
    }
    // 0.8 of the bare frames in the same time.
    bench::printPairs("frame from client to panel against its bare calls", "us", values, references,
                      1.25);
    kill(server, SIGKILL);
    waitpid(server, nullptr, 0);
    // The runtime's threads must not see the end of the process in their middle.
    fflush(nullptr);
    _exit(0);
}
