// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "tests/phonelog/Written.h"

namespace phonelog {
namespace {

using phone::Kind;
using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;
using testing::Not;

const std::vector<Kind> kTty = {Kind::TtyRx, Kind::TtyTx};
const std::vector<Kind> kCalls = {Kind::ClientCall, Kind::ClientCallback};
const std::vector<Kind> kBus = {Kind::Attach, Kind::Detach};

constexpr char kCame[] = R"(attach 1-1 {\"tty\":0,\"usb\":false} 3e91:6a2f)";

TEST(ImportTest, AnExchangeGetsTheCoversLineEnds) {
    const Imported imported = importText(Written()
                                                 .start()
                                                 .attach()
                                                 .d("sendAtCommand: AT%X")
                                                 .exchange(kMain, "AT%X", {"a", "b", "OK"}, true)
                                                 .text());
    EXPECT_THAT(listEntries(imported, kTty),
                ElementsAre(R"(tty-rx /dev/ttyACM0 ATE0\r)", R"(tty-tx /dev/ttyACM0 \r\nOK\r\n)",
                            R"(tty-rx /dev/ttyACM0 AT%X\r)",
                            R"(tty-tx /dev/ttyACM0 \r\na\r\nb\r\nOK\r\n)"));
    EXPECT_THAT(listEntries(imported, kCalls),
                ElementsAre(R"(client-call IBivista.sendAtCommand [\"AT%X\",\"callback\"] )"
                            R"([\"OK\",\"a\\\\nb\"])",
                            R"(client-callback IBivistaAtCallback.onAtResponse [\"a\\\\n\"])",
                            R"(client-callback IBivistaAtCallback.onAtResponse [\"b\\\\n\"])"));
    EXPECT_THAT(listUnknown(imported), ElementsAre());
    EXPECT_THAT(listInferred(imported), ElementsAre());
}

TEST(ImportTest, AnEchoHasTheCarriageReturnOfItsCommand) {
    const Imported imported = importText(Written()
                                                 .start()
                                                 .d("serialAtCmd: wr: [ATE0]")
                                                 .d("serialAtCmd: eh: [ATE0]")
                                                 .d("serialAtCmd: rd: [OK]")
                                                 .text());
    EXPECT_THAT(listEntries(imported, {Kind::TtyTx}),
                ElementsAre(R"(tty-tx /dev/ttyACM0 ATE0\r\r\nOK\r\n)"));
}

TEST(ImportTest, StrayLinesAndTheCoversLogAreSaidByTheCover) {
    const Imported imported = importText(Written()
                                                 .start()
                                                 .line(801, 'D', "serialLogThread: creating")
                                                 .line(801, 'I', "serialLogThread: resume")
                                                 .line(801, 'I', "mcu: 1 of 2")
                                                 .line(801, 'I', "serialLogThread: suspend")
                                                 .d("serialAtCmd: wr: [AT%X]")
                                                 .i("mcu: 2 of 2")
                                                 .i("OK")
                                                 .d("serialAtCmd: rd: [OK]")
                                                 .text());
    EXPECT_THAT(
            listEntries(imported, kTty),
            ElementsAre(R"(tty-tx /dev/ttyACM0 mcu: 1 of 2\r\n)", R"(tty-rx /dev/ttyACM0 AT%X\r)",
                        R"(tty-tx /dev/ttyACM0 mcu: 2 of 2\r\nOK\r\n)"));
    EXPECT_THAT(listEntries(imported, {Kind::NodeSet}),
                ElementsAre("node-set /sys/power/wake_lock " + std::string(27, ' ') + "\\n"));
}

TEST(ImportTest, ACoverComesAndGoesByTheFirstLineOfEach) {
    const Imported imported = importText(Written()
                                                 .start()
                                                 .line(802, 'I', "========== Bivista Attached")
                                                 .attach()
                                                 .line(kNotify, 'I', "========== hidraw3 create")
                                                 // The thread of the bus is ahead of the other.
                                                 .line(802, 'I', "========== Bivista Unattached")
                                                 .line(802, 'I', "========== Bivista Attached")
                                                 .line(kNotify, 'I', "========== ttyACM0 delete")
                                                 .line(kNotify, 'I', "========== ttyACM1 create")
                                                 .line(kNotify, 'I', "========== hidraw3 delete")
                                                 .exchange(kNotify, "ATE0", {"OK"})
                                                 .text());
    EXPECT_THAT(listEntries(imported, kBus),
                ElementsAre(R"(attach 1-1 {\"tty\":0,\"hid\":3,\"usb\":true} 3e91:6a2f)",
                            "detach 1-1", R"(attach 1-1 {\"tty\":1,\"usb\":true} 3e91:6a2f)"));
    EXPECT_THAT(listEntries(imported, {Kind::TtyRx}),
                ElementsAre(R"(tty-rx /dev/ttyACM0 ATE0\r)", R"(tty-rx /dev/ttyACM1 ATE0\r)"));
    EXPECT_EQ(imported.findings.attachments, 2U);
}

TEST(ImportTest, ALoaderLeavesBeforeTheNextDevice) {
    const Imported imported =
            importText(Written()
                               .start()
                               .line(802, 'I', "usbDeviceAdded : serial is 00000000001B")
                               .line(802, 'I', "usbDeviceAdded : product_name is TQC330R")
                               .line(802, 'I', "usbDeviceAdded : error dload mode")
                               .attach()
                               .text());
    EXPECT_THAT(listEntries(imported, kBus),
                ElementsAre(R"(attach 1-1 {\"product\":\"TQC330R\",\"serial\":\"00000000001B\"} )"
                            "0483:df11 TQC330R 00000000001B",
                            "detach 1-1", kCame));
}

TEST(ImportTest, WritesHaveTheOpenOfTheirKind) {
    const Imported imported = importText(Written()
                                                 .start()
                                                 .d("usbAutoSuspend: on")
                                                 .d("Writing 1 0 to /sys/class/bivista/bv2/bv2_pd")
                                                 .e("!!!!!!!!!! Bivista Recovery !!!!!!!!!!")
                                                 .text());
    const std::string control = "/sys/devices/platform/soc/usb1/1-1/power/control";
    EXPECT_THAT(
            listEntries(imported, {Kind::NodeOpen, Kind::NodeWrite}),
            ElementsAre(
                    "node-open " + control + " O_WRONLY|O_CLOEXEC", "node-write " + control + " on",
                    "node-open /sys/class/bivista/bv2/bv2_pd O_WRONLY|O_CREAT|O_TRUNC|O_CLOEXEC",
                    "node-write /sys/class/bivista/bv2/bv2_pd 1 0",
                    "node-open /sys/class/bivista/bv2/bv2_recovery O_WRONLY|O_CLOEXEC",
                    "node-write /sys/class/bivista/bv2/bv2_recovery Y"));
}

TEST(ImportTest, AFileThatCouldNotBeOpenedIsNoneThatIsCompared) {
    const Imported imported =
            importText(Written()
                               .start()
                               .d("Writing 1 0 to /sys/class/bivista/bv2/bv2_pd")
                               .e("Cannot open path: /sys/class/bivista/bv2/bv2_pd")
                               .text());
    EXPECT_THAT(listEntries(imported, {Kind::NodeWrite}), ElementsAre());
    EXPECT_THAT(imported.recording.header.lanes,
                Not(Contains("node /sys/class/bivista/bv2/bv2_pd")));
    EXPECT_THAT(imported.recording.header.lanes,
                Contains("node /sys/class/bivista/bv2/bv2_recovery"));
}

TEST(ImportTest, WhatTheServiceReadIsOfTheStartOrChanges) {
    const std::string key = "persist.vendor.qmx.service.kernel.enable";
    const Imported imported =
            importText(Written()
                               .start()
                               .line(kNotify, 'D', "getLogSaveAtCmd: " + key + " :1")
                               .line(kNotify, 'D', "readString : 1 2")
                               .d("getLogSaveAtCmd: " + key + " :0")
                               .line(kNotify, 'D', "readString : 3 4")
                               .text());
    EXPECT_EQ(imported.recording.header.properties.at(key), "1");
    EXPECT_EQ(imported.recording.header.files.at(
                      "/sys/devices/virtual/input/qmx_touch/bv_update_state"),
              "1 2\n");
    EXPECT_THAT(
            listEntries(imported, {Kind::Property, Kind::NodeSet}),
            ElementsAre("property " + key + " 0",
                        "node-set /sys/devices/virtual/input/qmx_touch/bv_update_state 3 4\\n"));
}

TEST(ImportTest, AnEventGoesToTheClientUnlessItIsTheServices) {
    const Imported imported =
            importText(Written()
                               .start()
                               .d("Registering 1.0 callback")
                               .i("registering callback")
                               .line(805, 'E', "creating thread")
                               .line(805, 'E', "uevent received SUBSYSTEM=QMX_BV2")
                               .line(805, 'E', "cp1 = TOUCH_GESTURE_WAKEUP=NEW")
                               .line(805, 'E', "Uevent_msg = NEW")
                               .line(805, 'E', "uevent received SUBSYSTEM=QMX_BV2")
                               .line(805, 'E', "cp1 = TOUCH_GESTURE_WAKEUP=BV_UPDATE_STATE")
                               .line(805, 'E', "Uevent_msg = BV_UPDATE_STATE")
                               .text());
    EXPECT_THAT(
            listEntries(imported, kCalls),
            ElementsAre(R"(client-call IBivista.setLpwgCallback [\"callback\"])",
                        R"(client-callback IBivistaLpwgCallback.onLpwgEvent [\"UNKNOWN\",-1])"));
    EXPECT_THAT(
            listEntries(imported, {Kind::Uevent}),
            Contains(testing::EndsWith(R"(SUBSYSTEM=QMX_BV2\x00TOUCH_GESTURE_WAKEUP=NEW\x00)")));
}

TEST(ImportTest, ARotatedLogGetsTheAttachThatMustHaveBeen) {
    const Imported imported =
            importText(Written()
                               .d("usbAutoSuspend: suspend:0 vote:1 disableVote:1")
                               .exchange(kMain, "AT%SWV", {"V", "OK"})
                               .d("getFirmwareVersion: V")
                               .text());
    EXPECT_THAT(listEntries(imported, kBus),
                ElementsAre(R"(attach 1-1 {\"tty\":0,\"hid\":0,\"usb\":true} 3e91:6a2f)"));
    EXPECT_THAT(listEntries(imported, {Kind::ClientCall}),
                ElementsAre(R"(client-call IBivista.setPowerStatus [true,false] [\"OK\"])",
                            R"(client-call IBivista.getFirmwareVersion [] [\"OK\",\"V\"])"));
    EXPECT_THAT(
            listEntries(imported, {Kind::TtyRx}),
            IsSupersetOf({R"(tty-rx /dev/ttyACM0 ATE0\r)", R"(tty-rx /dev/ttyACM0 AT%BV=1\r)"}));
    EXPECT_THAT(listUnknown(imported),
                IsSupersetOf({"1: the screen was on before the log begins: a call that switches it "
                              "on is put before it"}));
}

}  // namespace
}  // namespace phonelog
