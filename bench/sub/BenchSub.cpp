// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The sub display: packing a frame against copying its words, drawing it against packing it,
// sending it against the same system calls by hand. Prints rows (bench/Row.h).
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <unistd.h>

#include "bench/Device.h"
#include "bench/Row.h"
#include "bench/sub/BareFrame.h"
#include "sub_display/PackFrame.h"
#include "tests/support/HidNode.h"

namespace {

namespace implementation = vendor::qmx::hardware::bivista::V1_1::implementation;
using ::android::hardware::hidl_vec;
using bench::Bivista;
using bench::fail;
using bench::now;
using vendor::qmx::hardware::bivista::V1_0::Status;

constexpr int kPairs = 201;
constexpr int kTimes = 40;  // in each half of a pair
constexpr size_t kWords = 16384;
constexpr size_t kBytes = kWords / 2;

// us of one of them.
template <typename Work>
double measure(Work work) {
    const double start = now();
    for (int i = 0; i < kTimes; ++i) work();
    return (now() - start) / kTimes;
}

template <typename Work, typename Reference>
void compare(const std::string& name, Work work, Reference reference, double limit) {
    measure(work);
    measure(reference);
    std::vector<double> values, references;
    for (int i = 0; i < kPairs; ++i) {
        // Both go first in turn, so that a drift of the machine favours neither.
        if (i % 2 == 0) values.push_back(measure(work));
        references.push_back(measure(reference));
        if (i % 2 != 0) values.push_back(measure(work));
    }
    bench::printPairs(name, "us", values, references, limit);
}

hidl_vec<uint32_t> makeFrame() {
    hidl_vec<uint32_t> frame;
    frame.resize(kWords);
    std::mt19937 random;
    for (uint32_t& word : frame) word = static_cast<uint32_t>(random());
    return frame;
}

void comparePacking(const hidl_vec<uint32_t>& frame) {
    static std::vector<uint32_t> copy(kWords);
    static std::vector<uint8_t> area(kBytes);
    // The compiler must not know what is called.
    static void* (*volatile copyWords)(void*, const void*, size_t) = memcpy;
    const auto copying = [&frame] { copyWords(copy.data(), frame.data(), kWords * 4); };
    const auto packing = [&frame] { implementation::packFrame(frame.data(), kBytes, area.data()); };
    compare("packing against memcpy", packing, copying, 2.5);
}

// With a panel that did not come on: no frame is sent, so no thread is woken.
void compareDrawing(Bivista& service, const hidl_vec<uint32_t>& frame) {
    static std::vector<uint8_t> area(kBytes);
    service.initSubDisplay(&service, {2, 128, 128, 0, 1});
    compare(
            "drawSubDisplay against packing alone",
            [&] {
                if (service.drawSubDisplay(frame) != Status::OK) fail("a frame was refused");
            },
            [&] { implementation::packFrame(frame.data(), kBytes, area.data()); }, 1.3);
}

// The node is an ordinary file, which takes whatever is written.
void compareSending(bench::Device& device) {
    static const uint8_t frame[kBytes] = {};
    Bivista& service = device.service();
    support::createHidNode(device.phone(), 0);
    while (service.hidDisplayPalette(kBytes, 0, frame) < 0) usleep(1000);
    compare(
            "frame to the node against its bare calls",
            [&] {
                if (service.hidDisplayPalette(kBytes, 0, frame) < 0 ||
                    service.hidDisplayPalette(0, 0, nullptr) < 0) {
                    fail("a frame was not sent");
                }
            },
            [] {
                if (!bench::bareFrame("/dev/hidraw0")) fail("a bare frame was not sent");
            },
            1.15);
}

}  // namespace

int main() {
    bench::Device device;
    const hidl_vec<uint32_t> frame = makeFrame();
    comparePacking(frame);
    compareDrawing(device.service(), frame);
    compareSending(device);
    device.end();
}
