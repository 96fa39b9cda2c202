// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "vm/backend/Names.h"

#include <gtest/gtest.h>

namespace vm {
namespace {

constexpr char kKernelControl[] = "/sys/devices/platform/vhci_hcd.0/usb1/1-1/power/control";
constexpr char kPhoneControl[] = "/sys/devices/platform/soc/usb1/1-1/power/control";
constexpr char kKernelReady[] = "/sys/devices/virtual/bivista/bv2/bv2_hal_ready";
constexpr char kPhoneReady[] = "/sys/class/bivista/bv2/bv2_hal_ready";

TEST(NamesTest, TheBusIsThePhones) {
    EXPECT_EQ(phonePath(kKernelControl), kPhoneControl);
    EXPECT_EQ(kernelPath(kPhoneControl), kKernelControl);
}

TEST(NamesTest, ADriversNodesLieInItsClass) {
    EXPECT_EQ(phonePath(kKernelReady), kPhoneReady);
    EXPECT_EQ(kernelPath(kPhoneReady), kKernelReady);
}

TEST(NamesTest, AnyOtherPathIsTheSameToBoth) {
    for (const char* path : {"/sys/devices/virtual/input/qmx_touch/bv_update_state", "/dev/kmsg",
                             "/sys/class/bivista_other/bv2", "/data/property/host.prop", ""}) {
        EXPECT_EQ(phonePath(path), path);
        EXPECT_EQ(kernelPath(path), path);
    }
}

}  // namespace
}  // namespace vm
