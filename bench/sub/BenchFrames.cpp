// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Frames from a client through HIDL to the panel, against the same opens, writes and closes by
// hand. Both send as many as the panel takes. The panel is the emulated one, at the pace of a real
// one: 1 ms for the reports of a frame; and the same with the 50 ms that a kernel takes for each of
// its two opens. Prints rows (bench/Row.h).
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

constexpr useconds_t kBetweenDraws = 400;
constexpr size_t kWords = 16384;
constexpr char kPace[] = "hid write late 250us";

struct Series {
    const char* name;
    std::chrono::milliseconds openTime;
    int pairs;
    useconds_t window;  // us, each half of a pair
};
constexpr Series kWithoutOpenTime = {"frame from client to panel against its bare calls",
                                     std::chrono::milliseconds(0), 15, 200'000};
// 0.103 s a frame here: 9.7 frames a second.
constexpr Series kWithOpenTime = {"the same with a kernel's time for an open",
                                  std::chrono::milliseconds(50), 5, 1'000'000};

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
double usPerFrame(const phone::Phone& phone, useconds_t window) {
    const uint64_t before = awaitFrames(phone, phone.panel.state().frames + 5);
    const double start = now();
    usleep(window);
    // To the next frame's end: a window holds few slow frames.
    const uint64_t frames = awaitFrames(phone, phone.panel.state().frames + 1) - before;
    return (now() - start) / static_cast<double>(frames);
}

// A client that draws about twice as often as the panel takes a frame, so that one always waits to
// be sent. More would only take CPU from the panel, which on a phone has its own.
double measureClient(const phone::Phone& phone, const sp<IBivista>& service,
                     const hidl_vec<uint32_t>& frame, useconds_t window) {
    std::atomic<bool> stop = false;
    std::thread client([&] {
        while (!stop) {
            const auto result = service->drawSubDisplay(frame);
            if (!result.isOk() || result != Status::OK) fail("a frame was refused");
            usleep(kBetweenDraws);
        }
    });
    const double time = usPerFrame(phone, window);
    stop = true;
    client.join();
    return time;
}

double measureBare(phone::Phone& phone, const std::string& program, useconds_t window) {
    const pid_t pid = phone.spawn({program});
    const double time = usPerFrame(phone, window);
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    return time;
}

void compare(phone::Phone& phone, const sp<IBivista>& service, const std::string& bareFrames,
             const Series& series) {
    const auto [name, openTime, pairs, window] = series;
    phone.panel.setOpenTime(openTime);
    hidl_vec<uint32_t> frame;
    frame.resize(kWords);
    std::vector<double> values, references;
    for (int i = 0; i < pairs; ++i) {
        // Both go first in turn, so that a drift of the machine favours neither.
        if (i % 2 == 0) values.push_back(measureClient(phone, service, frame, window));
        references.push_back(measureBare(phone, bareFrames, window));
        if (i % 2 != 0) values.push_back(measureClient(phone, service, frame, window));
    }
    // 0.8 of the bare frames in the same time.
    bench::printPairs(name, "us", values, references, 1.25);
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

    for (const Series& series : {kWithoutOpenTime, kWithOpenTime}) {
        compare(phone, service, argv[2], series);
    }
    kill(server, SIGKILL);
    waitpid(server, nullptr, 0);
    // The runtime's threads must not see the end of the process in their middle.
    fflush(nullptr);
    _exit(0);
}
