// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A touch event from the kernel to the client's callback, against the least that does it: twice a
// bare netlink receive, and one HIDL call. Prints a row (bench/Row.h).
//
// The service is the real program in the world, with a client here, and writes its log from
// warnings on to memory. The kernel raises each event; the time runs from there until the callback
// is entered, and in the reference until recv() has returned. The callback is no oneway method, so
// the HIDL call, which the same client makes to the same service, is none either; all of it counts,
// there and back. A thread that is woken has slept before, and is on the other CPU.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>
#include <vendor/qmx/hardware/bivista/1.1/IBivista.h>
#include <vendor/qmx/hardware/bivista/1.1/IBivistaLpwgCallback.h>

#include "bench/Row.h"
#include "bench/ServerProcess.h"
#include "bench/uevent/Arrival.h"
#include "bench/uevent/BareReceiver.h"
#include "emulator/phone/Phone.h"
#include "emulator/phone/world/World.h"

namespace {

using namespace std::string_literals;
using ::android::sp;
using ::android::hardware::Return;
using ::android::hardware::Void;
using bench::Arrival;
using bench::BareReceiver;
using bench::fail;
using bench::now;
using ::vendor::qmx::hardware::bivista::V1_1::IBivista;
namespace V1_0 = ::vendor::qmx::hardware::bivista::V1_0;
namespace V1_1 = ::vendor::qmx::hardware::bivista::V1_1;

constexpr int kPairs = 101;
constexpr int kTimes = 10;  // in each half of a pair

const std::string kEvent =
        "change@/devices/virtual/bivista/bv2\0ACTION=change\0SUBSYSTEM=QMX_BV2\0"
        "TOUCH_GESTURE_WAKEUP=WAKEUP\0"s;

[[noreturn]] void refuse(const std::string& why) {
    std::fprintf(stderr, "bench_uevent: %s\n", why.c_str());
    std::exit(1);
}

class Client : public V1_1::IBivistaLpwgCallback {
  public:
    explicit Client(Arrival& arrival) : mArrival(arrival) {}

    Return<void> onLpwgEvent(V1_0::LpwgEventStatus, int32_t) override {
        fail("an event of version 1.0");
    }
    Return<void> onLpwgEvent_1_1(V1_1::LpwgEventStatus, int32_t) override {
        mArrival.tell();
        return Void();
    }

  private:
    Arrival& mArrival;
};

// The service, with its log in memory: a file of the world.
std::unique_ptr<support::Process> startService(const char* path) {
    const int log = open("/data", O_TMPFILE | O_WRONLY | O_APPEND | O_CLOEXEC, 0600);
    if (log < 0) fail("no file for the log");
    auto service = std::make_unique<support::Process>(
            std::vector<std::string>{path},
            support::ProcessOptions{.standardError = log, .before = bench::becomeServer});
    close(log);
    return service;
}

sp<IBivista> awaitService() {
    for (int attempt = 0; attempt < 5000; ++attempt) {
        if (sp<IBivista> service = IBivista::getService(); service != nullptr) return service;
        usleep(1000);
    }
    fail("the service did not start");
}

// All threads go back to sleep.
void settle() {
    usleep(300);
}

// The events of the kernel, as the service's client hears of them.
class ClientEvents {
  public:
    explicit ClientEvents(IBivista& service) : mArrival(Arrival::make()) {
        if (!service.setLpwgCallback(new Client(mArrival)).isOk()) fail("setLpwgCallback");
        // What is raised before the worker listens is lost.
        do mKernel.throughKernel(kEvent);
        while (!mArrival.awaitFor(10'000));
    }

    // us from the kernel to the callback.
    double receive() {
        mArrival.forget();
        const double start = now();
        mKernel.throughKernel(kEvent);
        return mArrival.await() - start;
    }

  private:
    Arrival& mArrival;
    const phone::UeventSender mKernel;
};

double measureEvents(ClientEvents& events) {
    double time = 0;
    for (int i = 0; i < kTimes; ++i) {
        time += events.receive();
        settle();
    }
    return time / kTimes;
}

double measureCall(IBivista& service) {
    const double start = now();
    if (!service.getBV2Connect().isOk()) fail("a HIDL call");
    return now() - start;
}

double measureReference(BareReceiver& receiver, IBivista& service) {
    double time = 0;
    for (int i = 0; i < kTimes; ++i) {
        time += 2 * receiver.receive(kEvent);
        settle();
        time += measureCall(service);
        settle();
    }
    return time / kTimes;
}

void compare(ClientEvents& events, BareReceiver& receiver, IBivista& service) {
    measureEvents(events);
    measureReference(receiver, service);
    std::vector<double> values, references;
    for (int i = 0; i < kPairs; ++i) {
        // Both go first in turn, so that a drift of the machine favours neither.
        if (i % 2 == 0) values.push_back(measureEvents(events));
        references.push_back(measureReference(receiver, service));
        if (i % 2 != 0) values.push_back(measureEvents(events));
    }
    bench::printPairs("uevent to client / two netlink receives + HIDL call", "us", values,
                      references, 1);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) refuse("usage: bench_uevent SERVICE");
    char* service = realpath(argv[1], nullptr);
    if (service == nullptr) fail(argv[1]);
    if (const std::string error = phone::enterWorld(); !error.empty()) refuse(error);
    setenv("HIDL_SOCKET_DIR", "/data/hidl", 1);
    setenv("HOST_LOG_LEVEL", "warn", 1);
    bench::useCpu(0);

    BareReceiver receiver;
    const phone::Phone phone;
    const auto process = startService(service);
    const sp<IBivista> object = awaitService();
    ClientEvents events(*object);
    compare(events, receiver, *object);
    return 0;
}
