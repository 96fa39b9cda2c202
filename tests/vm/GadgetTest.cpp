// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What a device says of itself, and the requests that every device knows.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "emulator/phone/Error.h"
#include "tests/vm/UsbHost.h"

namespace gadget {
namespace {

using testing::EndsWith;
using testing::StartsWith;
using Pieces = UsbHost::Pieces;

constexpr char kDevice[] = "80 06 00 01 00 00";
constexpr char kConfiguration[] = "80 06 00 02 00 00";
constexpr char kReports[] = "81 06 00 22 02 00";
constexpr char kCoverDevice[] = "12 01 00 02 ef 02 01 40 91 3e 2f 6a 00 02 01 02 03 01";

// Interfaces 0 and 1.
constexpr char kTty[] =
        "08 0b 00 02 02 02 01 00 "
        "09 04 00 00 01 02 02 01 00 05 24 00 10 01 05 24 01 00 01 04 24 02 02 05 24 06 00 01 "
        "07 05 82 03 10 00 08 "
        "09 04 01 00 02 0a 00 00 00 07 05 01 02 00 02 00 07 05 81 02 00 02 00";
// After the interface's number.
constexpr char kHid[] =
        "00 02 03 00 00 00 09 21 11 01 00 01 22 26 00 07 05 83 03 40 00 08 07 05 03 03 00 04 01";

std::string stringOf(UsbHost& host, int index) {
    return host.askNow("80 06 0" + std::to_string(index) + " 03 09 04");
}

phone::DeviceDescription ttyAlone() {
    phone::DeviceDescription description = cover();
    description.hidraw.reset();
    return description;
}

phone::DeviceDescription hidrawAlone() {
    phone::DeviceDescription description = cover();
    description.tty.reset();
    return description;
}

class GadgetPiecesTest : public testing::TestWithParam<Pieces> {};
INSTANTIATE_TEST_SUITE_P(All, GadgetPiecesTest,
                         testing::Values(Pieces::Commands, Pieces::One, Pieces::Bytes));

TEST_P(GadgetPiecesTest, IsEnumeratedAndOpened) {
    UsbHost host(cover(), GetParam());
    const uint32_t device = host.ask(kDevice, 18);
    const uint32_t head = host.ask(kConfiguration, 9);
    const uint32_t configured = host.tell("00 09 01 00 00 00");
    const uint32_t coding = host.tell("21 20 00 00 00 00", bytesOf("00 c2 01 00 00 00 08"));
    const uint32_t line = host.tell("21 22 03 00 00 00");
    const uint32_t fetch = host.fetch(1, 1024);
    const uint32_t command = host.write(1, "ATE0\r");
    EXPECT_EQ(host.answers(), (std::vector{fetched(device, bytesOf(kCoverDevice)),
                                           fetched(head, bytesOf("09 02 6b 00 03 01 00 e0 32")),
                                           done(configured, 0), done(coding, 7), done(line, 0)}));

    const std::vector<Event> events = host.events();
    ASSERT_EQ(events.size(), 2);
    EXPECT_TRUE(std::get<LineState>(events[0]).dtr);
    EXPECT_EQ(std::get<Written>(events[1]).id, command);
    EXPECT_EQ(std::get<Written>(events[1]).bytes, "ATE0\r");

    host.device().complete(command);
    host.device().send("\r\nOK\r\n");
    EXPECT_EQ(host.answers(), (std::vector{done(command, 5), fetched(fetch, "\r\nOK\r\n")}));
}

TEST(GadgetTest, SaysWhatItIs) {
    UsbHost host;
    EXPECT_EQ(host.askNow(kDevice), kCoverDevice);
    EXPECT_EQ(host.askNow(kConfiguration),
              std::string("09 02 6b 00 03 01 00 e0 32 ") + kTty + " 09 04 02 " + kHid);
    EXPECT_EQ(host.askNow(kReports),
              "06 00 ff 09 01 a1 01 15 00 26 ff 00 75 08 85 02 09 02 95 06 b1 02 09 03 96 ff 0f 91 "
              "02 85 03 09 04 95 02 b1 02 c0");
    EXPECT_EQ(host.askNow("81 06 00 21 02 00"), "09 21 11 01 00 01 22 26 00");
}

TEST(GadgetTest, SaysItsNames) {
    UsbHost host;
    EXPECT_EQ(host.askNow("80 06 00 03 00 00"), "04 03 09 04");
    EXPECT_EQ(stringOf(host, 1), "08 03 51 00 4d 00 58 00");
    EXPECT_EQ(stringOf(host, 2), "10 03 54 00 51 00 43 00 33 00 33 00 30 00 52 00");
    EXPECT_EQ(
            stringOf(host, 3),
            "1c 03 42 00 56 00 33 00 33 00 30 00 32 00 31 00 30 00 33 00 30 00 30 00 30 00 31 00");
    EXPECT_EQ(stringOf(host, 4), "stalled");
}

TEST(GadgetTest, HasNoNamesThatItWasNotGiven) {
    phone::DeviceDescription nameless = cover();
    nameless.identity.productName.clear();
    nameless.identity.serial.clear();
    UsbHost host(nameless);
    EXPECT_THAT(host.askNow(kDevice), EndsWith(" 01 00 00 01"));
    EXPECT_EQ(stringOf(host, 2), "stalled");
    EXPECT_EQ(stringOf(host, 3), "stalled");
}

TEST(GadgetTest, TakesNoNameThatAStringDescriptorCannotHold) {
    phone::DeviceDescription longest = cover();
    longest.identity.serial.assign(126, 'x');
    UsbHost host(longest);
    EXPECT_THAT(stringOf(host, 3), StartsWith("fe 03 78 00 "));

    for (const std::string& text : {std::string(127, 'x'), std::string("caf\xc3\xa9"),
                                    std::string("a\n"), std::string(1, '\0')}) {
        phone::DeviceDescription product = cover();
        product.identity.productName = text;
        EXPECT_THROW(Gadget{product}, phone::Error);
        phone::DeviceDescription serial = cover();
        serial.identity.serial = text;
        EXPECT_THROW(Gadget{serial}, phone::Error);
    }
}

TEST(GadgetTest, HasTheFunctionsOfItsDescription) {
    UsbHost tty(ttyAlone());
    EXPECT_EQ(tty.askNow(kConfiguration), std::string("09 02 4b 00 02 01 00 e0 32 ") + kTty);
    EXPECT_EQ(tty.askNow(kReports), "stalled");
    EXPECT_EQ(tty.askNow("a1 01 02 03 02 00", 7), "stalled");

    UsbHost hidraw(hidrawAlone());
    EXPECT_EQ(hidraw.askNow(kConfiguration),
              std::string("09 02 29 00 01 01 00 e0 32 09 04 00 ") + kHid);
    EXPECT_THAT(hidraw.askNow("81 06 00 22 00 00"), StartsWith("06 00 ff "));
    EXPECT_FALSE(hidraw.tellNow("21 22 03 00 00 00"));

    UsbHost dfu(loader());
    EXPECT_EQ(dfu.askNow(kDevice), "12 01 00 02 ef 02 01 40 83 04 11 df 00 02 01 02 03 01");
    EXPECT_EQ(dfu.askNow(kConfiguration),
              "09 02 1b 00 01 01 00 e0 32 09 04 00 00 00 fe 01 02 00 09 21 0b ff 00 00 08 1a 01");
    EXPECT_FALSE(dfu.tellNow("21 22 03 00 00 00"));
    EXPECT_EQ(dfu.askNow("81 06 00 22 00 00"), "stalled");
}

TEST(GadgetTest, AnswersNoMoreThanIsAskedFor) {
    UsbHost host;
    EXPECT_EQ(host.askNow(kDevice, 8), "12 01 00 02 ef 02 01 40");
    EXPECT_EQ(host.askNow(kConfiguration, 4), "09 02 6b 00");
    EXPECT_EQ(host.askNow("80 06 02 03 09 04", 2), "10 03");
    EXPECT_EQ(host.askNow("80 00 00 00 00 00", 1), "01");
    EXPECT_EQ(host.askNow(kDevice, 0), "");
}

TEST(GadgetTest, StallsWhatItDoesNotKnow) {
    UsbHost host;
    for (const char* const setup : {
                 "80 06 00 06 00 00",  // device qualifier
                 "80 06 01 02 00 00",  // second configuration
                 "80 06 00 0f 00 00",  // BOS
                 "80 77 00 00 00 00",
                 "c0 06 00 01 00 00",  // a vendor's
                 "81 06 00 22 00 00",  // reports of an interface without
                 "a1 21 00 00 01 00",  // line coding of the interface beside
                 "a1 01 02 01 02 00",  // an input report
                 "a1 01 02 02 02 00",  // an output report
                 "a1 01 02 00 02 00",  // a report of no type
                 "a1 01 02 03 00 00",  // a report of the tty
                 "a1 02 00 00 02 00",  // HID: get idle
         }) {
        EXPECT_EQ(host.askNow(setup), "stalled") << setup;
    }
    for (const char* const setup : {
                 "00 09 02 00 00 00",  // second configuration
                 "00 03 02 00 00 00",  // test mode
                 "02 01 00 00 84 00",  // halt of an endpoint that is not there
                 "02 01 00 00 81 01",
                 "02 01 01 00 81 00",
                 "21 23 ff ff 00 00",  // break
                 "21 22 03 00 02 00",  // line state of the panel
                 "21 0a 00 00 00 00",  // idle rate of the tty
                 "21 09 02 01 02 00",  // an input report
                 "21 0b 00 00 02 00",  // HID: set protocol
                 "40 01 00 00 00 00",
         }) {
        EXPECT_FALSE(host.tellNow(setup)) << setup;
    }
    EXPECT_TRUE(host.events().empty());
}

TEST(GadgetTest, HasNoOtherEndpoints) {
    for (const phone::DeviceDescription& description : {cover(), loader()}) {
        UsbHost host(description);
        EXPECT_EQ(host.answers(), std::vector<UsbAnswer>());
        const uint32_t in = host.fetch(4, 64);
        const uint32_t out = host.write(2, "x");
        EXPECT_EQ(host.answers(), (std::vector{failed(in, EPIPE), failed(out, EPIPE)}));
    }
    UsbHost dfu(loader());
    const uint32_t in = dfu.fetch(1, 64);
    const uint32_t out = dfu.write(3, "x");
    EXPECT_EQ(dfu.answers(), (std::vector{failed(in, EPIPE), failed(out, EPIPE)}));
    EXPECT_TRUE(dfu.events().empty());
}

TEST(GadgetTest, IsConfigured) {
    UsbHost host;
    EXPECT_TRUE(host.tellNow("00 09 01 00 00 00"));
    EXPECT_TRUE(host.tellNow("00 09 00 00 00 00"));
    EXPECT_TRUE(host.tellNow("21 0a 00 00 02 00"));  // HID: set idle
    for (const char* const endpoint : {"01", "81", "82", "03", "83"}) {
        EXPECT_TRUE(host.tellNow(std::string("02 01 00 00 ") + endpoint + " 00")) << endpoint;
    }
}

TEST(GadgetTest, KnowsWhetherItMayWakeTheBus) {
    UsbHost host;
    EXPECT_EQ(host.askNow("80 00 00 00 00 00", 2), "01 00");
    EXPECT_TRUE(host.tellNow("00 03 01 00 00 00"));
    EXPECT_EQ(host.askNow("80 00 00 00 00 00", 2), "03 00");
    EXPECT_TRUE(host.tellNow("00 01 01 00 00 00"));
    EXPECT_EQ(host.askNow("80 00 00 00 00 00", 2), "01 00");

    EXPECT_TRUE(host.tellNow("00 03 01 00 00 00"));
    EXPECT_TRUE(host.tellNow("00 09 01 00 00 00"));
    EXPECT_EQ(host.askNow("80 00 00 00 00 00", 2), "01 00");
}

}  // namespace
}  // namespace gadget
