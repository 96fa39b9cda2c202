// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Calls that lines lead to.
#include <gmock/gmock.h>

#include "tests/phonelog/Written.h"

namespace phonelog {
namespace {

using phone::Kind;
using testing::ElementsAre;

// The calls, without "client-call IBivista.".
std::vector<std::string> calls(const Imported& imported) {
    constexpr std::string_view kBegin = "client-call IBivista.";
    std::vector<std::string> calls = listEntries(imported, {Kind::ClientCall});
    for (std::string& call : calls) call.erase(0, kBegin.size());
    return calls;
}

std::vector<std::string> callsOf(const Written& written) {
    return calls(importText(written.text()));
}

struct Command {
    const char* command;
    const char* call;
};

TEST(CallTest, ACommandOfOneMethodAlone) {
    for (const Command& known : std::vector<Command>{
                 {"AT%TCHDEBUG=FWVER", R"(getTouchFirmwareVersion [] [\"OK\",\"a\"])"},
                 {"AT%TCHDEBUG=RESET", R"(DoTouchReset [] [\"OK\"])"},
                 {"AT%TCHDEBUG=GPIO_PIN", R"(getGpiopin [] [\"OK\",\"a\"])"},
                 {"AT%TCHDEBUG=RAWDATA", R"(DoRawdata [] [\"OK\"])"},
                 {"AT%TCHDEBUG=DELTA", R"(DoDelta [] [\"OK\"])"},
                 {"AT%TCHNOTIFY=FW_UPGRADE", R"(DoTouchFirmwareUpgrade [] [\"OK\"])"},
                 {"AT%TCHNOTIFY=SD", R"(getSelfTest [] [\"OK\",\"a\"])"},
                 {"AT%TCHNOTIFY=LPWG_SD", R"(getLPWGSelfTest [] [\"OK\",\"a\"])"},
                 {"AT%TCHNOTIFY=PULL_SD_RESULT", R"(getTestResults [] [\"OK\"])"},
                 {"AT%GETBVCUTOUT", R"(getCoverDisplayCutout [] [\"OK\",\"a\"])"},
                 {"AT%SWV", R"(getFirmwareVersion [] [\"OK\",\"a\"])"},
                 {"AT%TCHNOTIFY=LPWG_NOTIFY,3,-1",
                  R"(setStatus [{\"type\":3,\"value\":-1}] [\"OK\"])"},
                 {"AT%TCHNOTIFY=SWTICH_AES,7", R"(setAesMode [7] [\"OK\"])"},
                 {"AT%TCPERF=1", R"(set_touch_perf [true] [\"OK\"])"},
                 {"AT%TCHUPDATE=UPDATE_STATE,1", R"(bv_update_state [] [\"OK\"])"},
         }) {
        const Imported imported = importText(
                Written().start().attach().exchange(kMain, known.command, {"a", "OK"}).text());
        EXPECT_THAT(calls(imported), ElementsAre(known.call));
    }
}

TEST(CallTest, AnUnknownCommandIsAPassThrough) {
    const Imported imported = importText(
            Written().start().attach().exchange(kMain, "AT%XYZ", {"ERROR"}, true).text());
    EXPECT_THAT(calls(imported),
                ElementsAre(R"(sendAtCommand [\"AT%XYZ\",\"callback\"] [\"FAIL\",\"\"])"));
    EXPECT_THAT(listUnknown(imported),
                ElementsAre("10: a command AT%XYZ whose caller cannot be told: sendAtCommand "
                            "assumed"));
}

TEST(CallTest, TheScreenGoesOnAndOff) {
    const Written log = Written()
                                .start()
                                .attach()
                                .exchange(kMain, "AT%LOGSAVE=3", {"OK"})
                                .exchange(kMain, "AT%BV=1", {"OK"})
                                .i("setPowerStatus: Bivista : , ret:0")
                                .exchange(kMain, "AT%HPD", {"Off", "OK"})
                                .exchange(kMain, "AT%HPD", {"On", "OK"})
                                .i("setPowerStatus:HPD status changed :On, ret:3, trial:1")
                                .d("Writing 1 1 to /sys/class/bivista/bv2/bv2_pd")
                                .exchange(kMain, "AT%BV=0", {"ERROR"})
                                .e("setPowerStatus: HPD status: : ret:-1")
                                .d("Writing 0 0 to /sys/class/bivista/bv2/bv2_pd")
                                .e("setPowerStatus: bv2 not initialized, enable:1, uevent:0");
    EXPECT_THAT(callsOf(log), ElementsAre(R"(setPowerStatus [true,true] [\"OK\"])",
                                          R"(setPowerStatus [false,false] [\"FAIL\"])",
                                          R"(setPowerStatus [true,false] [\"FAIL\"])"));
}

TEST(CallTest, LevelsComeFromWhatTheirWorkerSends) {
    const std::string empty = "BrightnessThread: br_arr empty. wait signal, set br_offset_count 0";
    const Imported imported = importText(Written()
                                                 .start()
                                                 .attach()
                                                 .line(kBrightness, 'I', empty)
                                                 .exchange(kBrightness, "AT%DB=10", {"OK"})
                                                 .exchange(kBrightness, "AT%DB=20", {"OK"})
                                                 .line(kBrightness, 'I', empty)
                                                 .line(kBrightness, 'I', "[dd] 128 -> 108")
                                                 .exchange(kBrightness, "AT%DB=108", {"OK"})
                                                 .text());
    EXPECT_THAT(calls(imported),
                ElementsAre(R"(setBrightness [10] [\"OK\"])", R"(setBrightness [20] [\"OK\"])",
                            R"(setBrightness [128] [\"OK\"])"));
    EXPECT_THAT(listInferred(imported), ElementsAre("11: setBrightness(10) from AT%DB=10",
                                                    "15: setBrightness(20) from AT%DB=20",
                                                    "21: setBrightness(128) from AT%DB=108"));
    // The second was queued while the first was sent.
    EXPECT_THAT(
            listEntries(imported, {Kind::TtyRx, Kind::ClientCall}),
            ElementsAre(testing::HasSubstr("ATE0"), testing::HasSubstr("setBrightness [10]"),
                        testing::HasSubstr("AT%DB=10"), testing::HasSubstr("setBrightness [20]"),
                        testing::HasSubstr("AT%DB=20"), testing::HasSubstr("setBrightness [128]"),
                        testing::HasSubstr("AT%DB=108")));
}

TEST(CallTest, ALevelThatWaitedForACallIsSetBeforeIt) {
    EXPECT_THAT(callsOf(Written()
                                .start()
                                .attach()
                                .exchange(kMain, "AT%LOGSAVE=3", {"OK"})
                                .line(kBrightness, 'D', "BrightnessThread: br_arr empty")
                                .exchange(kBrightness, "AT%DB=10", {"OK"})
                                .exchange(kMain, "AT%BV=1", {"ERROR"})
                                .e("setPowerStatus: enable:1, buf:, ret: -1")),
                ElementsAre(R"(setBrightness [10] [\"OK\"])",
                            R"(setPowerStatus [true,false] [\"FAIL\"])"));
}

TEST(CallTest, AnOffsetSendsTheLevelAgain) {
    const Written log = Written()
                                .start()
                                .attach()
                                .i("request br_offset is 5")
                                .exchange(kMain, "AT%BV=1", {"OK"})
                                .exchange(kMain, "AT%HPD", {"On", "OK"})
                                .i("setPowerStatus:HPD status changed :On, ret:3, trial:0")
                                .d("Writing 1 0 to /sys/class/bivista/bv2/bv2_pd")
                                .i("request br_offset is -20")
                                .line(kBrightness, 'I', "[dd] 128 -> 88")
                                .exchange(kBrightness, "AT%DB=88", {"OK"})
                                .i("enalble br offset bypass")
                                .e("invalid brightness value:256, old_value:128");
    EXPECT_THAT(callsOf(log), ElementsAre(R"(setBVBrightnessOffset [5] [\"FAIL\"])",
                                          R"(setPowerStatus [true,false] [\"OK\"])",
                                          R"(setBVBrightnessOffset [-20] [\"OK\"])",
                                          R"(setBVBrightnessOffset [100] [\"OK\"])",
                                          R"(setBrightness [256] [\"OK\"])"));
}

TEST(CallTest, ColoursBeforeTheScreenWereSetWhileItWasOff) {
    const std::string path = "bv2_display_color_mode_send: at cmd path:";
    const Written log = Written()
                                .start()
                                .attach()
                                .i(path + "AT%SHS=1,2,3")
                                .exchange(kMain, "AT%SHS=1,2,3", {"OK"})
                                .i("bv2_display_color_mode_send: ")
                                .exchange(kMain, "AT%LOGSAVE=3", {"OK"})
                                .exchange(kMain, "AT%BV=1", {"ERROR"})
                                .i(path + "AT%SMODE=2")
                                .exchange(kMain, "AT%SMODE=2", {"OK"})
                                .i("bv2_display_color_mode_send: ")
                                .d("getLogSaveAtCmd: persist.vendor.qmx.service.kernel.enable :0")
                                .exchange(kMain, "AT%LOGSAVE=3", {"OK"})
                                .exchange(kMain, "AT%BV=1", {"ERROR"});
    EXPECT_THAT(callsOf(log), ElementsAre(R"(setScreenTune [1,2,3,0] [\"OK\"])",
                                          R"(setPowerStatus [true,false] [\"FAIL\"])",
                                          R"(setScreenMode [\"MODE_2\"] [\"OK\"])",
                                          R"(setPowerStatus [true,false] [\"FAIL\"])"));
}

TEST(CallTest, FirmwareChecksAndOrders) {
    const std::string order =
            " to /sys/devices/platform/soc/soc:gpio_keys/virtual_mcu_firmware_write";
    const Imported imported =
            importText(Written()
                               .start()
                               .attach()
                               .exchange(kMain, "AT%SWV", {"A-1_x", "OK"})
                               .d("checkFirmwareVersion: A-1_x")
                               .d("getDFUFile: A-2_y.dfu selected")
                               .d("checkFirmwareVersion: doFirmwareUpgrade called")
                               .d("Writing 1" + order)
                               .d("Writing 0" + order)
                               .d("Writing 1" + order)
                               .d("getFirmwareFile: mDfuFilePath = A-2_y.dfu")
                               .text());
    EXPECT_THAT(calls(imported), ElementsAre(R"(checkFirmwareVersion [] [\"FAIL\"])",
                                             R"(cancelFirmwareUpgrade [] [\"OK\"])",
                                             R"(doFirmwareUpgrade [] [\"OK\"])",
                                             R"(getFirmwareFile [] [\"OK\",\"A-2_y.dfu\"])"));
    EXPECT_EQ(imported.recording.header.images.count("A-2_y.dfu"), 1U);
}

TEST(CallTest, PenModesOfCoverAndPhone) {
    const std::string node = " to /sys/module/usbhid/parameters/aes_mode";
    const Imported imported =
            importText(Written()
                               .start()
                               .attach()
                               .exchange(kMain, "AT%TCHNOTIFY=SWTICH_AES,1", {"OK"})
                               .d("Writing 0" + node)
                               .d("manageAesMode : ATCMD_Status : 0, sysNodeError : 4")
                               .text());
    EXPECT_THAT(calls(imported), ElementsAre(R"(manageAesMode [1] [\"OK\"])"));
    EXPECT_THAT(listEntries(imported, {Kind::HidlCall}),
                ElementsAre("hidl-call ILpwg.setAesModeToLpwg 2 4"));
}

TEST(CallTest, TheSubDisplay) {
    const Imported imported =
            importText(Written()
                               .start()
                               .line(kNotify, 'I', "========== hidraw0 create")
                               .line(kNotify, 'D', "hidDisplayDeviceAdded: attached:0")
                               .line(kNotify, 'D', "HID-DISPLAY: x:2 y:3 format:4 ready:1")
                               .i("registering callback")
                               .i("setSubDisplayPowerState ++, enable : 0")
                               .i("setSubDisplayPowerState --")
                               .i("setSubDisplayBrightness ++, value : 300")
                               .e("invalid brightness value:300")
                               .i("setSubDisplayBrightness ++, value : 7")
                               .i("setSubDisplayBrightness --")
                               .i("Draw Sub DISPLAY ++")
                               .e("Sub Panel is not ready state(2). Could not request to draw.")
                               .text());
    EXPECT_THAT(calls(imported), ElementsAre(R"(setSubDisplayCallback [\"callback\"])",
                                             R"(setSubDisplayPowerState [false] [\"OK\"])",
                                             R"(setSubDisplayBrightness [300] [\"FAIL\"])",
                                             R"(setSubDisplayBrightness [7] [\"OK\"])",
                                             R"(drawSubDisplay [[0,0,0,0,0,0]] [\"FAIL\"])"));
    EXPECT_THAT(listEntries(imported, {Kind::HidGet, Kind::HidSet}),
                ElementsAre(R"(hid-get /dev/hidraw0 \x02\x02\x00\x03\x00\x04\x01)",
                            R"(hid-set /dev/hidraw0 \x03\x00\x00)",
                            R"(hid-set /dev/hidraw0 \x03\x00\x07)"));
    EXPECT_THAT(listEntries(imported, {Kind::ClientCallback}),
                ElementsAre("client-callback IBivistaSubDisplayCallback.onSubDisplayStateChanged "
                            R"([\"OFF\"])"));
}

TEST(CallTest, AFrameIsFourReports) {
    const Imported imported = importText(
            Written()
                    .start()
                    .line(kNotify, 'I', "========== hidraw0 create")
                    .line(810, 'I', "FB0 is being consumed.")
                    .line(810, 'E',
                          "hidDisplayPalette: failed to write palette: Input/output error")
                    .line(810, 'I', "HID-DISPLAY: write Palette done 111.085ms")
                    .text());
    EXPECT_THAT(listEntries(imported, {Kind::HidWrite}),
                ElementsAre("hid-write /dev/hidraw0 EIO", "hid-write /dev/hidraw0",
                            "hid-write /dev/hidraw0", "hid-write /dev/hidraw0",
                            R"(hid-write /dev/hidraw0 \x02\x00\x00\x00\x00\x00\x00)"));
    EXPECT_EQ(imported.findings.frames, 1U);
}

}  // namespace
}  // namespace phonelog
