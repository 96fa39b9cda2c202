// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "vm/backend/Description.h"

#include <gtest/gtest.h>

#include "emulator/phone/Error.h"

namespace vm {
namespace {

phone::DeviceDescription foreignTty() {
    return {.identity = {},
            .vendorText = "1d6b\n",
            .productText = "00ff\n",
            .onBus = false,
            .tty = 1};
}

TEST(DescriptionTest, ACoverIsAsItIs) {
    phone::DeviceDescription cover = {.identity = {}, .tty = 0, .hidraw = 0};
    cover.identity.vendor = 0x3e91;
    EXPECT_EQ(toJson(onKernelBus(cover)), toJson(cover));
    EXPECT_EQ(onKernelBus(cover).identity.vendor, 0x3e91);
}

TEST(DescriptionTest, AForeignTtyComesOntoTheBusWithItsIds) {
    const phone::DeviceDescription device = onKernelBus(foreignTty());
    EXPECT_TRUE(device.onBus);
    EXPECT_EQ(device.identity.vendor, 0x1d6b);
    EXPECT_EQ(device.identity.product, 0x00ff);
    EXPECT_EQ(device.vendorText, std::nullopt);
    EXPECT_EQ(device.productText, std::nullopt);
}

TEST(DescriptionTest, AnIdHasFourDigits) {
    for (const char* text : {"", "1d6b", "1d6\n", "1d6g\n", "01d6b\n", "1d6b\n\n", "1d6bx"}) {
        phone::DeviceDescription device = foreignTty();
        device.vendorText = text;
        EXPECT_THROW(onKernelBus(device), phone::Error) << text;
    }
}

TEST(DescriptionTest, WhatTheKernelDoesByItselfCannotBeChosen) {
    phone::DeviceDescription withText = {.identity = {}, .vendorText = "1234\n", .tty = 0};
    EXPECT_THROW(onKernelBus(withText), phone::Error);
    phone::DeviceDescription offBus = {.identity = {}, .onBus = false, .tty = 0};
    EXPECT_THROW(onKernelBus(offBus), phone::Error);
    phone::DeviceDescription withPanel = foreignTty();
    withPanel.hidraw = 0;
    EXPECT_THROW(onKernelBus(withPanel), phone::Error);
}

}  // namespace
}  // namespace vm
