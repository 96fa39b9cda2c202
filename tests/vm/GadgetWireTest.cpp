// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// USB/IP byte by byte, and what is none.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "emulator/phone/Error.h"
#include "tests/vm/UsbHost.h"

namespace gadget {
namespace {

using testing::ThrowsMessage;

// A transfer of endpoint 3 to the device, field by field.
struct Command {
    uint32_t command = 1;
    uint32_t id = 0x01020304;
    uint32_t direction = 0;
    uint32_t endpoint = 3;
    uint32_t length = 0;
    uint32_t packets = 0;
    std::string setup = bytesOf("00 00 00 00 00 00 00 00");

    std::string bytes() const {
        return wordOf(command) + wordOf(id) + wordOf(0x10002) + wordOf(direction) +
               wordOf(endpoint) + wordOf(0x200) + wordOf(length) + wordOf(0) + wordOf(packets) +
               wordOf(8) + setup;
    }
};

void expectRefused(const Command& command, const std::string& why) {
    Gadget device(cover());
    EXPECT_THAT([&] { device.receive(command.bytes()); },
                ThrowsMessage<phone::Error>("no USB/IP: " + why));
    EXPECT_TRUE(device.takeEvents().empty());
    EXPECT_EQ(device.takeOutput(), "");
}

TEST(GadgetWireTest, AnswersHaveTheirBytes) {
    Gadget device(cover());
    device.receive(
            bytesOf("00 00 00 01  01 02 03 04  00 01 00 02  00 00 00 01  00 00 00 00 "
                    "00 00 02 00  00 00 00 07  00 00 00 00  00 00 00 00  00 00 00 00 "
                    "a1 01 02 03 02 00 07 00"));
    device.complete(0x01020304, {.result = 2, .report = "\x02\x80"});
    EXPECT_EQ(hexOf(device.takeOutput()),
              "00 00 00 03 01 02 03 04 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 02 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 02 80");
    EXPECT_EQ(device.takeOutput(), "");

    device.receive(
            bytesOf("00 00 00 01  01 02 03 05  00 01 00 02  00 00 00 00  00 00 00 03 "
                    "00 00 00 00  00 00 00 01  00 00 00 00  ff ff ff ff  00 00 00 01 "
                    "00 00 00 00 00 00 00 00  2a"));
    device.complete(0x01020305, {.result = -EPIPE});
    EXPECT_EQ(hexOf(device.takeOutput()),
              "00 00 00 03 01 02 03 05 00 00 00 00 00 00 00 00 00 00 00 00 "
              "ff ff ff e0 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00");

    device.receive(
            bytesOf("00 00 00 01  00 00 00 06  00 01 00 02  00 00 00 01  00 00 00 01 "
                    "00 00 00 00  00 00 04 00  00 00 00 00  00 00 00 00  00 00 00 00 "
                    "00 00 00 00 00 00 00 00 "
                    "00 00 00 02  00 00 00 07  00 01 00 02  00 00 00 01  00 00 00 01 "
                    "00 00 00 06  00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00 "
                    "00 00 00 00 00 00 00 00"));
    EXPECT_EQ(hexOf(device.takeOutput()),
              "00 00 00 04 00 00 00 07 00 00 00 00 00 00 00 00 00 00 00 00 "
              "ff ff ff 98 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00");
}

TEST(GadgetWireTest, ACommandCountsWhenItsDataAreThere) {
    Gadget device(cover());
    const std::string command = Command{.length = 3}.bytes() + "abc";
    for (size_t size = 0; size < command.size(); ++size) {
        EXPECT_TRUE(device.takeEvents().empty()) << size;
        device.receive(command.substr(size, 1));
    }
    const std::vector<Event> events = device.takeEvents();
    ASSERT_EQ(events.size(), 1);
    EXPECT_EQ(std::get<Report>(events[0]).request.bytes, "abc");
}

TEST(GadgetWireTest, TheLongestTransferIsAMebibyte) {
    Gadget device(cover());
    device.receive(Command{.length = 1 << 20}.bytes() + std::string(1 << 20, 'p'));
    const std::vector<Event> events = device.takeEvents();
    ASSERT_EQ(events.size(), 1);
    EXPECT_EQ(std::get<Report>(events[0]).request.bytes.size(), 1 << 20);

    expectRefused({.length = (1 << 20) + 1}, "transfer length 1048577");
    expectRefused({.direction = 1, .endpoint = 1, .length = 0xFFFFFFFF},
                  "transfer length 4294967295");
}

TEST(GadgetWireTest, GarbageIsRefused) {
    for (const uint32_t command : {0U, 3U, 4U, 0x01000000U}) {
        expectRefused({.command = command}, "command " + std::to_string(command));
    }
    expectRefused({.direction = 2}, "direction 2");
    expectRefused({.endpoint = 16}, "endpoint 16");
    expectRefused({.endpoint = 0x81}, "endpoint 129");
    expectRefused({.packets = 1}, "isochronous packets 1");
    // GET_DESCRIPTOR to the device, and with another length.
    expectRefused({.endpoint = 0, .length = 18, .setup = bytesOf("80 06 00 01 00 00 12 00")},
                  "direction against that of request 6");
    expectRefused({.direction = 1,
                   .endpoint = 0,
                   .length = 17,
                   .setup = bytesOf("80 06 00 01 00 00 12 00")},
                  "length against that of request 6");
    expectRefused({.direction = 1,
                   .endpoint = 0,
                   .length = 3,
                   .setup = bytesOf("21 09 03 03 02 00 03 00")},
                  "direction against that of request 9");
}

TEST(GadgetWireTest, OneIdIsOneTransfer) {
    Gadget device(cover());
    device.receive(Command{}.bytes());
    EXPECT_THAT([&] { device.receive(Command{}.bytes()); },
                ThrowsMessage<phone::Error>("no USB/IP: two transfers 16909060"));

    Gadget another(cover());
    another.receive(Command{}.bytes());
    another.complete(0x01020304, {.result = 0});
    another.receive(Command{}.bytes());
    EXPECT_EQ(another.takeEvents().size(), 2);
}

// A request without data goes to the device, though its type may say otherwise.
TEST(GadgetWireTest, ARequestForNothingHasEitherDirection) {
    for (const uint32_t direction : {0U, 1U}) {
        Gadget device(cover());
        device.receive(Command{
                .direction = direction, .endpoint = 0, .setup = bytesOf("80 06 00 01 00 00 00 00")}
                               .bytes());
        EXPECT_EQ(device.takeOutput().size(), 48);
    }
}

}  // namespace
}  // namespace gadget
