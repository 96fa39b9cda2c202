// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A service whose methods do what the HIDL tests need, and nothing that a cover would.
#pragma once

#include <hidl/HidlTransportSupport.h>
#include <vendor/qmx/hardware/bivista/1.1/IBivista.h>

#include <string>

namespace hidltest {

using ::android::sp;
using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::vendor::qmx::hardware::bivista::V1_0::BivistaStatus;
using ::vendor::qmx::hardware::bivista::V1_0::IBivistaAtCallback;
using ::vendor::qmx::hardware::bivista::V1_0::IBivistaSubDisplayCallback;
using ::vendor::qmx::hardware::bivista::V1_0::LpwgStatus;
using ::vendor::qmx::hardware::bivista::V1_0::ScreenMode;
using ::vendor::qmx::hardware::bivista::V1_0::Status;
using ::vendor::qmx::hardware::bivista::V1_0::SubScreenInfo;
using ::vendor::qmx::hardware::bivista::V1_0::SubScreenState;
using ::vendor::qmx::hardware::bivista::V1_1::IBivista;
using LpwgCallback = ::vendor::qmx::hardware::bivista::V1_0::IBivistaLpwgCallback;

// Every method answers OK, or an empty result. Tests override what they look at.
class FakeBivista : public IBivista {
  public:
    Return<void> getFirmwareVersion(getFirmwareVersion_cb cb) override { return text(cb); }
    Return<Status> checkFirmwareVersion() override { return Status::OK; }
    Return<void> getFirmwareFile(getFirmwareFile_cb cb) override { return text(cb); }
    Return<Status> doFirmwareUpgrade() override { return Status::OK; }
    Return<Status> goDload() override { return Status::OK; }
    Return<Status> goSTMDload() override { return Status::OK; }
    Return<Status> cancelFirmwareUpgrade() override { return Status::OK; }
    Return<void> getTouchFirmwareVersion(getTouchFirmwareVersion_cb cb) override {
        return text(cb);
    }
    Return<Status> DoRawdata() override { return Status::OK; }
    Return<Status> DoDelta() override { return Status::OK; }
    Return<Status> DoTouchReset() override { return Status::OK; }
    Return<void> getGpiopin(getGpiopin_cb cb) override { return text(cb); }
    Return<Status> setStatus(const LpwgStatus&) override { return Status::OK; }
    Return<Status> DoTouchFirmwareUpgrade() override { return Status::OK; }
    Return<void> getSelfTest(getSelfTest_cb cb) override { return text(cb); }
    Return<void> getLPWGSelfTest(getLPWGSelfTest_cb cb) override { return text(cb); }
    Return<Status> getTestResults() override { return Status::OK; }
    Return<void> setLpwgCallback(const sp<LpwgCallback>&) override { return Void(); }
    Return<Status> setBrightness(int32_t) override { return Status::OK; }
    Return<Status> setPowerStatus(bool, bool) override { return Status::OK; }
    Return<void> getCoverDisplayCutout(getCoverDisplayCutout_cb cb) override { return text(cb); }
    Return<Status> setRgbTune(uint32_t, uint32_t, uint32_t, uint32_t) override {
        return Status::OK;
    }
    Return<Status> setScreenMode(ScreenMode) override { return Status::OK; }
    Return<Status> setScreenTune(uint32_t, uint32_t, uint32_t, uint32_t) override {
        return Status::OK;
    }
    Return<Status> setBVBrightnessOffset(int32_t) override { return Status::OK; }
    Return<void> getBV2Status(getBV2Status_cb cb) override {
        cb(Status::OK, BivistaStatus{});
        return Void();
    }
    Return<Status> setSubDisplayBrightness(int32_t) override { return Status::OK; }
    Return<Status> setSubDisplayPowerState(bool) override { return Status::OK; }
    Return<void> getSubDisplayInfo(getSubDisplayInfo_cb cb) override {
        cb(Status::OK, SubScreenInfo{});
        return Void();
    }
    Return<Status> drawSubDisplay(const hidl_vec<uint32_t>&) override { return Status::OK; }
    Return<void> getSubDisplayPowerState(getSubDisplayPowerState_cb cb) override {
        cb(Status::OK, SubScreenState::UNINITIALIZED);
        return Void();
    }
    Return<void> setSubDisplayCallback(const sp<IBivistaSubDisplayCallback>&) override {
        return Void();
    }
    Return<bool> getBV2Connect() override { return true; }
    Return<void> sendAtCommand(const hidl_string& cmd, const sp<IBivistaAtCallback>&,
                               sendAtCommand_cb cb) override {
        cb(Status::OK, cmd);
        return Void();
    }
    Return<Status> setAesMode(uint32_t) override { return Status::OK; }
    Return<Status> manageAesMode(uint32_t) override { return Status::OK; }
    Return<Status> bv_update_state() override { return Status::OK; }
    Return<Status> set_touch_perf(bool) override { return Status::OK; }

  private:
    template <typename Callback>
    static Return<void> text(const Callback& cb) {
        cb(Status::OK, "");
        return Void();
    }
};

}  // namespace hidltest
