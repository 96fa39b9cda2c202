// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Entries that are an item each.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/timeline/Entries.h"

namespace timeline {
namespace {

using phone::Kind;
using testing::ElementsAre;

// The lane of the one entry's item, and the item.
std::string shown(Kind kind, std::string path, std::string bytes = "", std::string note = "") {
    const auto items =
            itemsOf(Entries().add(1, kind, std::move(path), std::move(bytes), std::move(note)));
    return items.size() == 1 ? std::string(name(items[0].lane)) + ": " + describeItem(items[0])
                             : "no single item";
}

TEST(EventTest, IsToldInWords) {
    EXPECT_EQ(shown(Kind::Attach, "1-1", "", "3e91:6a2f TQC330R"),
              R"(usb: attach 1 "attach 1-1" "3e91:6a2f TQC330R")");
    EXPECT_EQ(shown(Kind::Detach, "", "", "does not come back: taken"),
              R"(usb: detach 1 "detach" "does not come back: taken")");
    EXPECT_EQ(shown(Kind::UsbPower, "1-1", "", "suspended"),
              R"(usb: usb-power 1 "usb-power 1-1" "suspended")");
    EXPECT_EQ(shown(Kind::TtyOpen, kTty, "", "O_RDWR"),
              R"(at: tty-open 1 "open ttyACM0" "O_RDWR")");
    EXPECT_EQ(shown(Kind::Dtr, kTty, "", "raised"), R"(at: dtr 1 "DTR raised")");
    EXPECT_EQ(shown(Kind::NodeOpen, "/sys/bv2_pd", "", "O_WRONLY"),
              R"(nodes: node-open 1 "open bv2_pd" "O_WRONLY")");
    EXPECT_EQ(shown(Kind::NodeWrite, "/sys/class/bivista/bv2/bv2_pd", "1 0\n"),
              R"(nodes: node-write 1 "bv2_pd <- 1 0")");
    EXPECT_EQ(shown(Kind::NodeWrite, "/sys/devices/usb1/1-1/power/control", "on"),
              R"(nodes: node-write 1 "power/control <- on")");
    EXPECT_EQ(shown(Kind::NodeClose, "bv2_pd"), R"(nodes: node-close 1 "close bv2_pd")");
    EXPECT_EQ(shown(Kind::NodeRefused, "/sys/bv2_pd", "", "EACCES"),
              R"(nodes: node-refused 1 "refused bv2_pd" "EACCES")");
    EXPECT_EQ(shown(Kind::NodeSet, "/sys/wakeup", "Y\n"), R"(nodes: node-set 1 "wakeup = Y")");
    EXPECT_EQ(shown(Kind::KernelLog, "/dev/kmsg", "<6>hello\n"), R"(nodes: klog 1 "<6>hello")");
    EXPECT_EQ(shown(Kind::Property, "a.b", "7"), R"(emulator: property 1 "a.b = 7")");
    EXPECT_EQ(shown(Kind::Property, "", "", "cleared"),
              R"(emulator: property 1 "properties" "cleared")");
    EXPECT_EQ(shown(Kind::Fault, "", R"(on AT after "a\r")"),
              R"(emulator: fault 1 "fault on AT after "a\r"")");
    EXPECT_EQ(shown(Kind::Fault, ""), R"(emulator: fault 1 "faults cleared")");
    EXPECT_EQ(shown(Kind::Mark, "", "here\tit is"), R"(emulator: mark 1 "here\tit is")");
    EXPECT_EQ(shown(Kind::Signal, "", "USR1"), R"(emulator: signal 1 "signal USR1")");
    EXPECT_EQ(shown(Kind::Control, "PUT /v1/subdisplay", R"({"width":96})"),
              R"(emulator: control 1 "PUT /v1/subdisplay" "{"width":96}")");
    EXPECT_EQ(shown(Kind::Control, "POST /v1/detach", "{}", "no cover is attached"),
              R"(emulator: control 1 "POST /v1/detach" "{} | no cover is attached" refused)");
}

TEST(EventTest, OfAFaultIsWhereItStruck) {
    EXPECT_EQ(shown(Kind::FaultMet, kTty, "on AT deaf", "AT"),
              R"(at: fault-met 1 "met on AT deaf" "AT")");
    EXPECT_EQ(shown(Kind::FaultMet, kPanel, "hid open error EIO", "open"),
              R"(panel: fault-met 1 "met hid open error EIO" "open")");
    EXPECT_EQ(shown(Kind::FaultMet, "/sys/bv2_pd", "node /sys/bv2_pd eio", "write"),
              R"(nodes: fault-met 1 "met node /sys/bv2_pd eio" "write")");
}

TEST(EventTest, OfTheKernelIsItsOwnWord) {
    const std::string begin("change@/devices/bv2\0ACTION=change\0SUBSYSTEM=QMX_BV2\0", 53);
    EXPECT_EQ(shown(Kind::Uevent, "", begin + "TOUCH_GESTURE_WAKEUP=X" + '\0', "forged"),
              R"(uevents: uevent 1 "TOUCH_GESTURE_WAKEUP=X" "forged")");
    EXPECT_EQ(shown(Kind::Uevent, "", begin), R"(uevents: uevent 1 "change@/devices/bv2")");
    EXPECT_EQ(shown(Kind::Uevent, "", "\xff"), R"(uevents: uevent 1 "\xff")");
}

TEST(EventTest, OfACallIsTheCallAndItsResult) {
    const auto call = [](std::string path, std::string arguments, std::string results) {
        const auto items = itemsOf(Entries().lasting(1, 2.5, Kind::ClientCall, std::move(path),
                                                     std::move(arguments), std::move(results)));
        return describeAll(items);
    };
    EXPECT_THAT(call("IBivista.setBrightness", "[128]", R"(["OK"])"),
                ElementsAre(R"t(call 1 "setBrightness(128)" OK 2.5 ms)t"));
    EXPECT_THAT(call("IBivista.getCutout", R"(["a\\n\\\"b"])", R"(["OK","\\xffc"])"),
                ElementsAre(R"t(call 1 "getCutout("a\n\"b")" ""\xffc"" OK 2.5 ms)t"));
    EXPECT_THAT(call("IBivista.sendAtCommand", R"(["AT%SWV","callback"])", R"(["FAIL",""])"),
                ElementsAre(R"t(call 1 "sendAtCommand("AT%SWV","callback")" """" FAIL 2.5 ms)t"));
    EXPECT_THAT(call("IBivista.getBV2Connect", "[]", "[true]"),
                ElementsAre(R"t(call 1 "getBV2Connect()" "true" OK 2.5 ms)t"));
    EXPECT_THAT(call("IBivista.getBV2Connect", "[]", "DEAD_OBJECT"),
                ElementsAre(R"t(call 1 "getBV2Connect()" DEAD_OBJECT 2.5 ms)t"));
    EXPECT_THAT(call("f", R"([{"length":999,"crc32":"01234567"}])", R"([{"a":["\u00fc"]}])"),
                ElementsAre(R"t(call 1 "f({"length":999,"crc32":"01234567"})" )t"
                            R"("{"a":["\u00fc"]}" OK 2.5 ms)"));
}

TEST(EventTest, OfACallThatTheServiceMakesIsACallToo) {
    const auto items = itemsOf(
            Entries()
                    .lasting(1, 1, Kind::ClientCallback, "IBivistaCallback.onEvent", "[3]", "[]")
                    .add(2, Kind::HidlCall, "IAccessory.get", "1,2", "0,3"));
    EXPECT_THAT(describeAll(items), ElementsAre(R"t(callback 1 "onEvent(3)" OK 1 ms)t",
                                                R"t(neighbour-call 2 "get(1,2)" "0,3")t"));
    for (const Item& item : items) EXPECT_EQ(item.lane, Lane::Calls);
}

// 200 characters and "...".
TEST(EventTest, HasTextsOfBoundedLength) {
    const std::string longest(10'000'000, 'x');
    const std::string shownText = std::string(kLongestText, 'x') + "...";
    const auto items = itemsOf(Entries().add(1, Kind::Mark, "", longest, longest));
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].title, shownText);
    EXPECT_EQ(items[0].detail, shownText);
}

}  // namespace
}  // namespace timeline
