// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover's USB device and its loader, as the USB thread sees them.
#include "tests/kernel/ServiceTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using BusWatchTest = ServiceTest;

TEST_F(BusWatchTest, FollowsTheCover) {
    start();
    EXPECT_FALSE(service->getBV2Connect());
    phone.cover.attach(support::withoutPanel());
    size_t at = log.waitFor(ANDROID_LOG_INFO, "========== Bivista Attached");
    log.waitUntil(
            [](const support::LogLine& line) {
                return line.priority == ANDROID_LOG_DEBUG &&
                       line.text.find("usbDeviceAdded: /dev/bus/usb/001/") == 0 &&
                       line.text.find(" idVendor:3e91 idProduct:6a2f") != std::string::npos;
            },
            at);
    while (!service->getBV2Connect()) {
    }
    phone.cover.detach();
    log.waitFor(ANDROID_LOG_INFO, "========== Bivista Unattached", at);
    while (service->getBV2Connect()) {
    }
}

TEST_F(BusWatchTest, SeesACoverThatIsThereAtTheStart) {
    phone.cover.attach(support::withoutPanel());
    start();
    log.waitFor("========== Bivista Attached");
}

TEST_F(BusWatchTest, KeepsTheCoverWhenAnotherDeviceGoes) {
    start();
    phone.cover.attach(support::withoutPanel());
    log.waitFor("========== Bivista Attached");
    phone.loader.attach();
    log.waitFor("usbDeviceAdded : normal dload mode");
    phone.loader.detach();
    phone.loader.attach();
    log.waitFor("usbDeviceAdded : normal dload mode",
                log.waitFor("usbDeviceAdded : normal dload mode"));
    EXPECT_FALSE(log.contains("========== Bivista Unattached"));
    EXPECT_TRUE(service->getBV2Connect());
}

TEST_F(BusWatchTest, ReportsADeviceThatCannotBeOpened) {
    start();
    phone.files.set("/dev/bus/usb/001/099", "short");
    log.waitFor(ANDROID_LOG_ERROR, "usb_device_open failed");
}

struct Loader {
    const char* name;
    std::string serial;
    std::string product;
    std::vector<std::string> lines;
};
class LoaderTest : public ServiceTest, public testing::WithParamInterface<Loader> {};

TEST_P(LoaderTest, IsRecognised) {
    start();
    phone.loader.attach(GetParam().serial, GetParam().product);
    size_t at = 0;
    for (const std::string& line : GetParam().lines) at = log.waitFor(line, at);
    // The cover's attach stands after all of the loader's lines, on the same thread.
    phone.cover.attach(support::withoutPanel());
    log.waitFor("========== Bivista Attached", at);
    size_t loaderLines = 0;
    for (const std::string& text : log.texts()) {
        if (text.starts_with("usbDeviceAdded : ")) ++loaderLines;
    }
    EXPECT_EQ(loaderLines, GetParam().lines.size());
    EXPECT_TRUE(phone.cover.isAttached());
}

INSTANTIATE_TEST_SUITE_P(
        Identities, LoaderTest,
        testing::Values(Loader{"Normal",
                               "00000000001A",
                               "TQC330R",
                               {"usbDeviceAdded : serial is 00000000001A",
                                "usbDeviceAdded : product_name is TQC330R",
                                "usbDeviceAdded : normal dload mode"}},
                        Loader{"Error",
                               "00000000001B",
                               "TQA110R",
                               {"usbDeviceAdded : serial is 00000000001B",
                                "usbDeviceAdded : product_name is TQA110R",
                                "usbDeviceAdded : error dload mode"}},
                        Loader{"ThirdModel",
                               "00000000001A",
                               "TQB220R",
                               {"usbDeviceAdded : serial is 00000000001A",
                                "usbDeviceAdded : product_name is TQB220R",
                                "usbDeviceAdded : normal dload mode"}},
                        Loader{"OtherSerial",
                               "00000000001C",
                               "TQC330R",
                               {"usbDeviceAdded : serial is 00000000001C",
                                "usbDeviceAdded : product_name is TQC330R"}},
                        Loader{"ErrorOfAnotherModel",
                               "00000000001B",
                               "TQC330",
                               {"usbDeviceAdded : serial is 00000000001B",
                                "usbDeviceAdded : product_name is TQC330",
                                "usbDeviceAdded : TQC330 recovery not supported"}},
                        Loader{"ModelInAnotherCase",
                               "00000000001A",
                               "tqc330r",
                               {"usbDeviceAdded : serial is 00000000001A",
                                "usbDeviceAdded : product_name is tqc330r",
                                "usbDeviceAdded : tqc330r recovery not supported"}},
                        Loader{"NoSerial",
                               "",
                               "TQC330R",
                               {"usbDeviceAdded : serial is null in dload mode "}},
                        Loader{"NoProduct",
                               "00000000001A",
                               "",
                               {"usbDeviceAdded : serial is 00000000001A",
                                "usbDeviceAdded : product_name is null in dload mode "}}),
        [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
