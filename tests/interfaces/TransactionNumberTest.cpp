// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A published interface keeps its transaction numbers: the number of every method, as its proxy
// sends it.
#include <functional>
#include <ostream>

#include <gtest/gtest.h>
#include <hwbinder/IBinder.h>
#include <vendor/qmx/hardware/accessory/1.1/BpHwAccessory.h>
#include <vendor/qmx/hardware/bivista/1.0/BpHwBivistaAtCallback.h>
#include <vendor/qmx/hardware/bivista/1.0/BpHwBivistaSubDisplayCallback.h>
#include <vendor/qmx/hardware/bivista/1.1/BpHwBivista.h>
#include <vendor/qmx/hardware/bivista/1.1/BpHwBivistaLpwgCallback.h>
#include <vendor/qmx/hardware/lpwg/1.3/BpHwLpwg.h>

namespace {

using android::sp;
using android::status_t;
using android::hardware::IBinder;
using android::hardware::Parcel;
using vendor::qmx::hardware::accessory::V1_1::BpHwAccessory;
using vendor::qmx::hardware::bivista::V1_0::BpHwBivistaAtCallback;
using vendor::qmx::hardware::bivista::V1_0::BpHwBivistaSubDisplayCallback;
using vendor::qmx::hardware::bivista::V1_0::SubScreenState;
using vendor::qmx::hardware::bivista::V1_1::BpHwBivista;
using vendor::qmx::hardware::bivista::V1_1::BpHwBivistaLpwgCallback;
using vendor::qmx::hardware::lpwg::V1_3::BpHwLpwg;
namespace V1_0 = vendor::qmx::hardware::bivista::V1_0;
namespace V1_1 = vendor::qmx::hardware::bivista::V1_1;

// An object far away that remembers the number it was called with, and fails the call.
struct RecordingBinder : IBinder {
    status_t transact(uint32_t number, const Parcel& /*data*/, Parcel* /*reply*/, uint32_t flags,
                      TransactCallback /*callback*/) override {
        code = number;
        oneway = (flags & FLAG_ONEWAY) != 0;
        return android::DEAD_OBJECT;
    }
    status_t linkToDeath(const sp<DeathRecipient>& /*recipient*/) override {
        return android::DEAD_OBJECT;
    }
    status_t unlinkToDeath(const android::wp<DeathRecipient>& /*recipient*/) override {
        return android::DEAD_OBJECT;
    }
    uint32_t code = 0;
    bool oneway = false;
};

template <typename Proxy>
struct Method {
    const char* name;
    uint32_t number;
    std::function<bool(Proxy&)> isOk;  // calls the method; whether it succeeded
};

template <typename Proxy>
void expectNumbers(const std::vector<Method<Proxy>>& methods) {
    for (const auto& method : methods) {
        const sp<RecordingBinder> binder = new RecordingBinder;
        const sp<Proxy> proxy = new Proxy(binder);
        EXPECT_FALSE(method.isOk(*proxy)) << method.name;
        EXPECT_EQ(binder->code, method.number) << method.name;
        EXPECT_FALSE(binder->oneway) << method.name << " waits for its result";
    }
}

#define METHOD(number, name, ...)                                                 \
    {                                                                             \
#name, number, [](auto& proxy) { return proxy.name(__VA_ARGS__).isOk(); } \
    }

const auto anyResult = [](auto&&...) {};

TEST(TransactionNumbers, OfIBivista) {
    const std::vector<Method<BpHwBivista>> methods = {
            METHOD(1, getFirmwareVersion, anyResult),
            METHOD(2, checkFirmwareVersion),
            METHOD(3, getFirmwareFile, anyResult),
            METHOD(4, doFirmwareUpgrade),
            METHOD(5, goDload),
            METHOD(6, goSTMDload),
            METHOD(7, cancelFirmwareUpgrade),
            METHOD(8, getTouchFirmwareVersion, anyResult),
            METHOD(9, DoRawdata),
            METHOD(10, DoDelta),
            METHOD(11, DoTouchReset),
            METHOD(12, getGpiopin, anyResult),
            METHOD(13, setStatus, V1_0::LpwgStatus{}),
            METHOD(14, DoTouchFirmwareUpgrade),
            METHOD(15, getSelfTest, anyResult),
            METHOD(16, getLPWGSelfTest, anyResult),
            METHOD(17, getTestResults),
            METHOD(18, setLpwgCallback, nullptr),
            METHOD(19, setBrightness, 0),
            METHOD(20, setPowerStatus, false, false),
            METHOD(21, getCoverDisplayCutout, anyResult),
            METHOD(22, setRgbTune, 0, 0, 0, 0),
            METHOD(23, setScreenMode, V1_0::ScreenMode::DEFAULT),
            METHOD(24, setScreenTune, 0, 0, 0, 0),
            METHOD(25, setBVBrightnessOffset, 0),
            METHOD(26, getBV2Status, anyResult),
            METHOD(27, setSubDisplayBrightness, 0),
            METHOD(28, setSubDisplayPowerState, false),
            METHOD(29, getSubDisplayInfo, anyResult),
            METHOD(30, drawSubDisplay, android::hardware::hidl_vec<uint32_t>{}),
            METHOD(31, getSubDisplayPowerState, anyResult),
            METHOD(32, setSubDisplayCallback, nullptr),
            METHOD(33, getBV2Connect),
            METHOD(34, sendAtCommand, "AT", nullptr, anyResult),
            METHOD(35, setAesMode, 0),
            METHOD(36, manageAesMode, 0),
            METHOD(37, bv_update_state),
            METHOD(38, set_touch_perf, false),
    };
    ASSERT_EQ(methods.size(), 38u);
    expectNumbers(methods);
}

TEST(TransactionNumbers, OfTheCallbacks) {
    expectNumbers<BpHwBivistaLpwgCallback>(
            {METHOD(1, onLpwgEvent, V1_0::LpwgEventStatus::UNKNOWN, 0),
             METHOD(2, onLpwgEvent_1_1, V1_1::LpwgEventStatus::BV_UPDATE_STATE, 0)});
    expectNumbers<BpHwBivistaAtCallback>({METHOD(1, onAtResponse, "line")});
    expectNumbers<BpHwBivistaSubDisplayCallback>(
            {METHOD(1, onSubDisplayStateChanged, SubScreenState::ON)});
}

TEST(TransactionNumbers, OfTheServicesThatItUses) {
    expectNumbers<BpHwAccessory>({METHOD(1, reserved_1), METHOD(22, reserved_22),
                                  METHOD(23, getAccessoryState, anyResult)});
    expectNumbers<BpHwLpwg>({METHOD(1, reserved_1), METHOD(11, reserved_11),
                             METHOD(12, reserved_12), METHOD(13, reserved_13),
                             METHOD(14, setAesModeToLpwg, 0)});
}

template <typename Enum>
void expectValues(const std::vector<std::pair<Enum, int32_t>>& values) {
    for (const auto& [name, value] : values) EXPECT_EQ(static_cast<int32_t>(name), value);
}

TEST(WireForm, OfTheEnumerations) {
    using V1_0::ScreenMode;
    using V1_0::Status;
    expectValues<Status>({{Status::OK, 0}, {Status::FAIL, 1}});
    expectValues<ScreenMode>({{ScreenMode::DEFAULT, 0},
                              {ScreenMode::MODE_1, 1},
                              {ScreenMode::MODE_2, 2},
                              {ScreenMode::MODE_3, 3}});
    expectValues<SubScreenState>({{SubScreenState::UNINITIALIZED, 0},
                                  {SubScreenState::INITIALIZED, 1},
                                  {SubScreenState::OFF, 2},
                                  {SubScreenState::ON, 3}});
    using Event = V1_0::LpwgEventStatus;
    expectValues<Event>({{Event::UNKNOWN, -1},
                         {Event::WAKEUP, 0},
                         {Event::BV_PEN_WAKEUP, 1},
                         {Event::BV_PEN_WAKEUP_BTN, 2},
                         {Event::BV_PEN_DETECTION, 3}});
    using NewEvent = V1_1::LpwgEventStatus;
    expectValues<NewEvent>({{NewEvent::UNKNOWN, -1},
                            {NewEvent::WAKEUP, 0},
                            {NewEvent::BV_PEN_WAKEUP, 1},
                            {NewEvent::BV_PEN_WAKEUP_BTN, 2},
                            {NewEvent::BV_PEN_DETECTION, 3},
                            {NewEvent::SWITCH_AES_BOTH, 4},
                            {NewEvent::SWITCH_AES_TO_1, 5},
                            {NewEvent::SWITCH_AES_TO_2, 6},
                            {NewEvent::BV_UPDATE_STATE, 7}});
}

TEST(WireForm, OfTheStructures) {
    EXPECT_EQ(offsetof(V1_0::LpwgStatus, type), 0u);
    EXPECT_EQ(offsetof(V1_0::LpwgStatus, value), 4u);
    EXPECT_EQ(sizeof(V1_0::LpwgStatus), 8u);
    EXPECT_EQ(offsetof(V1_0::SubScreenInfo, x), 0u);
    EXPECT_EQ(offsetof(V1_0::SubScreenInfo, y), 2u);
    EXPECT_EQ(offsetof(V1_0::SubScreenInfo, format), 4u);
    EXPECT_EQ(sizeof(V1_0::SubScreenInfo), 6u);
    EXPECT_EQ(offsetof(V1_0::BivistaStatus, connected), 0u);
    EXPECT_EQ(sizeof(V1_0::BivistaStatus), 1u);
}

}  // namespace
