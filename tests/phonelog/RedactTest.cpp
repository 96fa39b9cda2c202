// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/Redact.h"

#include <gmock/gmock.h>

#include "tests/phonelog/Written.h"

namespace phonelog {
namespace {

using phone::Kind;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

Imported redacted(const std::string& text) {
    return importLog(readText(text), true);
}

TEST(RedactTest, TextsOfClientAndCoverGoTheirLengthsStay) {
    const Imported imported =
            redacted(Written()
                             .start()
                             .attach()
                             .d("sendAtCommand: AT%NAME=Anna")
                             .exchange(kMain, "AT%NAME=Anna", {"SN 4711-X", "OK"}, true)
                             .exchange(kMain, "AT%TCHDEBUG=FWVER", {"T7", "OK"})
                             .text());
    EXPECT_THAT(listEntries(imported, {Kind::TtyRx, Kind::TtyTx}),
                testing::IsSupersetOf({R"(tty-rx /dev/ttyACM0 AT%xxxx=xxxx\r)",
                                       R"(tty-tx /dev/ttyACM0 \r\nxx 0000-x\r\nOK\r\n)",
                                       R"(tty-rx /dev/ttyACM0 AT%TCHDEBUG=FWVER\r)",
                                       R"(tty-tx /dev/ttyACM0 \r\nx0\r\nOK\r\n)"}));
    EXPECT_THAT(
            listEntries(imported, {Kind::ClientCall, Kind::ClientCallback}),
            ElementsAre(R"(client-call IBivista.sendAtCommand [\"AT%xxxx=xxxx\",\"callback\"] )"
                        R"([\"OK\",\"xx 0000-x\"])",
                        R"(client-callback IBivistaAtCallback.onAtResponse [\"xx 0000-x\\\\n\"])",
                        R"(client-call IBivista.getTouchFirmwareVersion [] [\"OK\",\"x0\"])"));
}

TEST(RedactTest, RemarksDoNotTellWhatWasTaken) {
    const Imported imported =
            redacted(Written().start().attach().exchange(kMain, "AT%NAME=Anna", {"OK"}).text());
    EXPECT_THAT(listUnknown(imported), Contains(HasSubstr("AT%xxxx=xxxx")));
    EXPECT_THAT(imported.recording.header.unknown, Each(Not(HasSubstr("Anna"))));
    EXPECT_THAT(imported.recording.header.unknown,
                Contains("Texts were taken out: letters are x, digits 0."));
}

TEST(RedactTest, WhatTheServiceDecidesByStays) {
    const Imported imported =
            redacted(Written()
                             .start()
                             .attach()
                             .exchange(kMain, "AT%SWV", {"BV330-V10k_20210312", "OK"})
                             .d("getFirmwareVersion: BV330-V10k_20210312")
                             .exchange(kMain, "AT%HPD", {"On", "OK"})
                             .text());
    EXPECT_THAT(listEntries(imported, {Kind::TtyTx}),
                testing::IsSupersetOf({R"(tty-tx /dev/ttyACM0 \r\nBV330-V10k_20210312\r\nOK\r\n)",
                                       R"(tty-tx /dev/ttyACM0 \r\nOn\r\nOK\r\n)"}));
}

TEST(RedactTest, ALoadersSerialNumberAndProductGoWhereverTheyStand) {
    const Imported imported = redacted(Written()
                                               .start()
                                               .i("usbDeviceAdded : serial is R58M41")
                                               .i("usbDeviceAdded : product_name is TQC330R Anna")
                                               .text());
    EXPECT_THAT(listEntries(imported, {Kind::Attach}),
                ElementsAre("attach 1-1 "
                            R"({\"product\":\"TQC330R xxxx\",\"serial\":\"x00x00\"} )"
                            "0483:df11 TQC330R xxxx x00x00"));
}

TEST(RedactTest, TheCoversLogAfterItsVersionGoes) {
    const Imported imported = redacted(Written()
                                               .start()
                                               .attach()
                                               .exchange(kMain, "AT%SWV", {"V10k", "OK"})
                                               .line(801, 'D', "serialLogThread: creating")
                                               .line(801, 'I', "owner is Anna")
                                               .text());
    EXPECT_THAT(listEntries(imported, {Kind::TtyTx}),
                testing::IsSupersetOf({R"(tty-tx /dev/ttyACM0 \r\nV10k\r\nOK\r\n)",
                                       R"(tty-tx /dev/ttyACM0 xxxxx xx xxxx\r\n)"}));
}

TEST(RedactTest, PropertiesEventsAndTheCoversLogGo) {
    const Imported imported = redacted(
            Written()
                    .start()
                    .line(kNotify, 'D',
                          "getLogSaveAtCmd: persist.vendor.qmx.service.kernel.enable :1")
                    .line(kNotify, 'D', "getLogSaveAtCmd: persist.vendor.qmx.dd.uart.enable :mine")
                    .line(801, 'D', "serialLogThread: creating")
                    .line(801, 'I', "owner is Anna")
                    .line(805, 'E', "uevent received SUBSYSTEM=QMX_BV2")
                    .line(805, 'E', "cp1 = TOUCH_GESTURE_WAKEUP=HELLO")
                    .line(805, 'E', "Uevent_msg = HELLO")
                    .text());
    const auto& properties = imported.recording.header.properties;
    EXPECT_EQ(properties.at("persist.vendor.qmx.service.kernel.enable"), "1");
    EXPECT_EQ(properties.at("persist.vendor.qmx.dd.uart.enable"), "xxxx");
    EXPECT_THAT(listEntries(imported, {Kind::TtyTx}),
                ElementsAre(R"(tty-tx /dev/ttyACM0 xxxxx xx xxxx\r\n)"));
    EXPECT_THAT(listEntries(imported, {Kind::Uevent}),
                ElementsAre(testing::EndsWith(
                        R"(SUBSYSTEM=QMX_BV2\x00TOUCH_GESTURE_WAKEUP=xxxxx\x00)")));
}

}  // namespace
}  // namespace phonelog
