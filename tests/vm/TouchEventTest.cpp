// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "vm/backend/TouchEvent.h"

#include <gtest/gtest.h>

#include "emulator/phone/devices/Uevents.h"

namespace vm {
namespace {

TEST(TouchEventTest, ATouchEventGoesThroughTheDriver) {
    EXPECT_EQ(touchRequest(phone::touchEventMessage("WAKEUP")),
              "uevent TOUCH_GESTURE_WAKEUP=WAKEUP");
    EXPECT_EQ(touchRequest(phone::touchEventMessage("")), "uevent TOUCH_GESTURE_WAKEUP=");
}

TEST(TouchEventTest, MoreKeysGoWithIt) {
    const std::string event = phone::touchEventMessage("WAKEUP") + std::string("A=1\0", 4);
    EXPECT_EQ(touchRequest(event), std::string("uevent TOUCH_GESTURE_WAKEUP=WAKEUP\0A=1", 38));
}

TEST(TouchEventTest, TheDriverRaisesNoOtherEvent) {
    const std::string touch = phone::touchEventMessage("WAKEUP");
    std::string other = touch;
    other.replace(other.find("QMX_BV2"), 7, "QMX_BV3");
    for (const std::string& event :
         {std::string(), std::string("add@/devices/x\0", 15), other,
          touch.substr(0, touch.size() - 1), touch + '\0', touch.substr(0, 20),
          phone::touchEventMessage(std::string(1501, 'x'))}) {
        EXPECT_EQ(touchRequest(event), std::nullopt) << event.size();
    }
}

}  // namespace
}  // namespace vm
