// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The gadget's serial line: its state, bytes both ways, waking up.
#include <gtest/gtest.h>

#include "tests/vm/UsbHost.h"

namespace gadget {
namespace {

constexpr char kAllowWakeUp[] = "00 03 01 00 00 00";
constexpr char kForbidWakeUp[] = "00 01 01 00 00 00";

TEST(GadgetLineTest, KeepsTheLineCoding) {
    UsbHost host;
    EXPECT_EQ(host.askNow("a1 21 00 00 00 00", 7), "80 25 00 00 00 00 08");
    EXPECT_TRUE(host.tellNow("21 20 00 00 00 00", bytesOf("00 c2 01 00 00 00 08")));
    EXPECT_EQ(host.askNow("a1 21 00 00 00 00", 7), "00 c2 01 00 00 00 08");
    EXPECT_FALSE(host.tellNow("21 20 00 00 00 00", bytesOf("80 25 00 00 00 00")));
    EXPECT_FALSE(host.tellNow("21 20 00 00 00 00", bytesOf("80 25 00 00 00 00 08 00")));
    EXPECT_EQ(host.askNow("a1 21 00 00 00 00", 7), "00 c2 01 00 00 00 08");
    EXPECT_TRUE(host.events().empty());
}

TEST(GadgetLineTest, ReportsEachLineState) {
    UsbHost host;
    for (const int state : {0, 1, 2, 3}) {
        EXPECT_TRUE(host.tellNow("21 22 0" + std::to_string(state) + " 00 00 00"));
        const std::vector<Event> events = host.events();
        ASSERT_EQ(events.size(), 1);
        EXPECT_EQ(std::get<LineState>(events[0]).dtr, (state & 1) != 0);
        EXPECT_EQ(std::get<LineState>(events[0]).rts, (state & 2) != 0);
    }
}

TEST(GadgetLineTest, AWriteWaitsForTheDevice) {
    UsbHost host;
    const std::string text("AT\0\xff\r", 5);
    const uint32_t first = host.write(1, text);
    const uint32_t second = host.write(1, "B");
    const uint32_t empty = host.write(1, "");
    EXPECT_TRUE(host.answers().empty());
    const std::vector<Event> events = host.events();
    ASSERT_EQ(events.size(), 3);
    EXPECT_EQ(std::get<Written>(events[0]).id, first);
    EXPECT_EQ(std::get<Written>(events[0]).bytes, text);
    EXPECT_EQ(std::get<Written>(events[1]).bytes, "B");
    EXPECT_EQ(std::get<Written>(events[2]).bytes, "");
    EXPECT_TRUE(host.events().empty());

    host.device().complete(second);
    host.device().complete(first);
    host.device().complete(empty);
    EXPECT_EQ(host.answers(), (std::vector{done(second, 1), done(first, 5), done(empty, 0)}));
}

TEST(GadgetLineTest, EventsComeInTheOrderOfTheWire) {
    UsbHost host(cover(), UsbHost::Pieces::One);
    host.write(1, "A");
    host.tell("21 22 00 00 00 00");
    const uint32_t config = host.tell("21 09 03 03 02 00", bytesOf("03 02 ff"));
    const uint32_t pixels = host.write(3, "P");
    host.unlink(config);
    host.write(1, "B");
    const std::vector<Event> events = host.events();
    ASSERT_EQ(events.size(), 6);
    EXPECT_EQ(std::get<Written>(events[0]).bytes, "A");
    EXPECT_FALSE(std::get<LineState>(events[1]).dtr);
    EXPECT_EQ(std::get<Report>(events[2]).id, config);
    EXPECT_EQ(std::get<Report>(events[3]).id, pixels);
    EXPECT_EQ(std::get<TakenBack>(events[4]).id, config);
    EXPECT_EQ(std::get<Written>(events[5]).bytes, "B");
}

TEST(GadgetLineTest, BytesWaitUntilTheyAreAskedFor) {
    UsbHost host;
    host.device().send("hel");
    host.device().send("lo");
    EXPECT_TRUE(host.answers().empty());
    EXPECT_EQ(host.device().waiting(), 5);
    EXPECT_EQ(host.device().fetched(), 0);

    const uint32_t first = host.fetch(1, 1024);
    EXPECT_EQ(host.answers(), std::vector{fetched(first, "hello")});
    EXPECT_EQ(host.device().waiting(), 0);
    EXPECT_EQ(host.device().fetched(), 5);

    const uint32_t second = host.fetch(1, 1024);
    EXPECT_TRUE(host.answers().empty());
    host.device().send("!");
    EXPECT_EQ(host.answers(), std::vector{fetched(second, "!")});
    EXPECT_EQ(host.device().fetched(), 6);
}

TEST(GadgetLineTest, BytesFillTheTransfersInTheirOrder) {
    UsbHost host;
    const uint32_t first = host.fetch(1, 4);
    const uint32_t second = host.fetch(1, 2);
    const uint32_t third = host.fetch(1, 4);
    host.device().send("abcdefg");
    EXPECT_EQ(host.answers(),
              (std::vector{fetched(first, "abcd"), fetched(second, "ef"), fetched(third, "g")}));

    host.device().send("0123456789");
    const uint32_t fourth = host.fetch(1, 4);
    EXPECT_EQ(host.answers(), std::vector{fetched(fourth, "0123")});
    EXPECT_EQ(host.device().waiting(), 6);
}

TEST(GadgetLineTest, ATransferThatIsTakenBackIsPassedOver) {
    UsbHost host;
    const uint32_t first = host.fetch(1, 2);
    const uint32_t second = host.fetch(1, 2);
    const uint32_t third = host.fetch(1, 2);
    const uint32_t back = host.unlink(second);
    host.device().send("abcde");
    EXPECT_EQ(host.answers(), (std::vector{unlinked(back, ECONNRESET), fetched(first, "ab"),
                                           fetched(third, "cd")}));
    EXPECT_EQ(host.device().waiting(), 1);
}

TEST(GadgetLineTest, WakesTheBusOnlyWhereItMayAndMust) {
    UsbHost host;
    gadget::Gadget& device = host.device();
    EXPECT_FALSE(device.mayWake());
    EXPECT_TRUE(host.tellNow(kAllowWakeUp));
    EXPECT_FALSE(device.mayWake());  // it has nothing to say
    device.send("x");
    EXPECT_TRUE(device.mayWake());
    EXPECT_TRUE(host.tellNow(kForbidWakeUp));
    EXPECT_FALSE(device.mayWake());
    EXPECT_TRUE(host.tellNow(kAllowWakeUp));
    EXPECT_TRUE(device.mayWake());
    host.fetch(1, 1);
    EXPECT_FALSE(device.mayWake());  // said
    host.fetch(1, 1);
    device.send("yz");
    EXPECT_TRUE(device.mayWake());
}

TEST(GadgetLineTest, NotificationsNeverCome) {
    UsbHost host;
    const uint32_t line = host.fetch(2, 16);
    host.fetch(3, 64);
    host.device().send("x");
    EXPECT_TRUE(host.answers().empty());
    EXPECT_TRUE(host.events().empty());
    const uint32_t back = host.unlink(line);
    EXPECT_EQ(host.answers(), std::vector{unlinked(back, ECONNRESET)});
}

}  // namespace
}  // namespace gadget
