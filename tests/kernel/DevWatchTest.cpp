// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Finding the cover's nodes in /dev by their ids.
#include <functional>

#include <fcntl.h>
#include <unistd.h>

#include "kernel/serial/SerialLink.h"
#include "tests/kernel/ServiceTest.h"
#include "tests/support/HidNode.h"
#include "tests/support/Watch.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using phone::CoverOptions;
using testing::IsEmpty;

class DevWatchTest : public ServiceTest {
  protected:
    // Creates another node and waits until the service sees it: an earlier node that is not handled
    // by then is ignored.
    void awaitMarker() {
        const std::string name = "marker" + std::to_string(mMarkers++);
        createNode(name);
        log.waitUntil([&](const support::LogLine& line) {
            return line.text.find("name:" + name) != std::string::npos;
        });
    }

  private:
    int mMarkers = 0;
};

TEST_F(DevWatchTest, LogsWhatItSees) {
    start();
    attach();
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "usbNotifyThread: creating"));
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "usbNotifyThread: mSerialAttached:0"));
    EXPECT_TRUE(
            log.contains("usbNotifyThread: \"/sys/class/tty/ttyACM0/device/../idVendor\": 3e91\n"));
    EXPECT_TRUE(log.contains(
            "usbNotifyThread: \"/sys/class/tty/ttyACM0/device/../idProduct\": 6a2f\n"));
    EXPECT_TRUE(log.contains("========== ttyACM0 create"));
    log.waitUntil([](const support::LogLine& line) {
        return line.text.find("mask:0x00000100 name:ttyACM0") != std::string::npos;
    });
}

// The kernel makes /dev/usb for a node of the panel that the service does not need.
TEST_F(DevWatchTest, IgnoresTheFolderOfUsb) {
    start();
    attach({});
    const auto hasSeen = [](const char* entry) {
        return [entry](const support::LogLine& line) {
            return line.text.find(entry) != std::string::npos;
        };
    };
    log.waitUntil(hasSeen("mask:0x40000100 name:usb"));
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
    detach();
    log.waitUntil(hasSeen("mask:0x40000200 name:usb"));
}

TEST_F(DevWatchTest, AttachesACoverThatIsThereAtTheStart) {
    phone.cover.attach(support::withoutPanel());
    start();
    awaitAttached();
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "usbNotifyThread: access \"/dev/ttyACM0\" OK"));
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

TEST_F(DevWatchTest, ProbesHidBeforeTtyAtTheStart) {
    createNode("hidraw0");
    phone.cover.attach(support::withoutPanel());
    start();
    const size_t hid =
            log.waitFor(ANDROID_LOG_DEBUG, "usbNotifyThread: access \"/dev/hidraw0\" OK");
    log.waitFor(ANDROID_LOG_DEBUG, "usbNotifyThread: access \"/dev/ttyACM0\" OK", hid);
    const size_t seen = log.waitFor("usbNotifyThread: mHidDisplayAttached:0");
    log.waitFor("usbNotifyThread: mSerialAttached:0", seen);
}

// Meant: only the nodes numbered 0 are probed.
TEST_F(DevWatchTest, DoesNotProbeOtherNumbersAtTheStart) {
    CoverOptions options = support::withoutPanel();
    options.tty = 1;
    phone.cover.attach(options);
    start();
    awaitMarker();
    EXPECT_THAT(commands(first), IsEmpty());
    EXPECT_FALSE(log.contains("========== ttyACM1 create"));
}

TEST_F(DevWatchTest, AttachesATtyOfAnyNumberWhenItAppears) {
    start();
    CoverOptions options = support::withoutPanel();
    options.tty = 42;
    attach(options);
    EXPECT_TRUE(log.contains("========== ttyACM42 create"));
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

TEST_F(DevWatchTest, IgnoresASecondTtyWhileAttached) {
    start();
    attach();
    const uint64_t from = journal.next();
    phone.foreignTtys.attach(1, "3e91\n", "6a2f\n");
    awaitMarker();
    EXPECT_FALSE(log.contains("========== ttyACM1 create"));
    EXPECT_THAT(nodeWrites(from), IsEmpty());
}

TEST_F(DevWatchTest, IgnoresTheRemovalOfAnotherTty) {
    start();
    attach();
    phone.foreignTtys.attach(1, "1d6b\n", "0001\n");
    phone.foreignTtys.detach(1);
    awaitMarker();
    EXPECT_FALSE(log.contains("========== ttyACM1 delete"));
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

TEST_F(DevWatchTest, IgnoresARemovalWhileDetached) {
    start();
    phone.foreignTtys.attach(0, "1d6b\n", "0001\n");
    phone.foreignTtys.detach(0);
    awaitMarker();
    EXPECT_FALSE(log.contains("========== ttyACM0 delete"));
    EXPECT_FALSE(log.contains("serialDeviceRemoved: attached:0"));
}

struct Ids {
    const char* name;
    std::string vendor;
    std::string product;
    bool accepted;
    bool productRead;
};
class IdTest : public DevWatchTest, public testing::WithParamInterface<Ids> {};

TEST_P(IdTest, DecideAboutTheTty) {
    start();
    CoverOptions options = support::withoutPanel();
    options.idVendorText = GetParam().vendor;
    options.idProductText = GetParam().product;
    phone.cover.attach(options);
    if (GetParam().accepted) {
        awaitAttached();
    } else {
        awaitMarker();
        EXPECT_FALSE(log.contains("========== ttyACM0 create"));
        EXPECT_THAT(commands(first), IsEmpty());
    }
    bool productRead = false;
    for (const std::string& text : log.texts()) {
        if (text.find("idProduct\":") != std::string::npos) productRead = true;
    }
    EXPECT_EQ(productRead, GetParam().productRead);
}

INSTANTIATE_TEST_SUITE_P(
        Files, IdTest,
        testing::Values(
                Ids{"TheCover", "3e91\n", "6a2f\n", true, true},
                Ids{"UpperCase", "3E91", "6A2F", true, true},
                Ids{"WithPrefix", "0x3e91\n", "0x6a2f\n", true, true},
                Ids{"LeadingBlanksAndZeros", "  00003e91\n", "\t6a2f\n", true, true},
                Ids{"TrailingText", "3e91 cover\n", "6a2f\n", true, true},
                Ids{"OtherVendor", "1d6b\n", "6a2f\n", false, false},
                Ids{"OtherProduct", "3e91\n", "6a2e\n", false, true},
                Ids{"DecimalProduct", "3e91\n", "27183\n", false, true},
                Ids{"EmptyVendor", "", "6a2f\n", false, false},
                Ids{"EmptyProduct", "3e91\n", "", false, true},
                Ids{"NotHexadecimal", "cover\n", "6a2f\n", false, false},
                Ids{"HugeNumber", std::string(500, 'f'), "6a2f\n", false, false},
                Ids{"HugeFile", std::string(100000, ' ') + "3e91\n", "6a2f\n", false, false},
                Ids{"BeyondTheCut", "3e91\n" + std::string(100000, 'x'), "6a2f\n", true, true},
                Ids{"Nul", std::string("\0003e91", 5), "6a2f\n", false, false}),
        [](const auto& info) { return info.param.name; });

TEST_F(DevWatchTest, ReportsAnIdFileThatIsMissing) {
    start();
    createNode("ttyACM3");
    log.waitFor(
            "usbNotifyThread: failed to open \"/sys/class/tty/ttyACM3/device/../idVendor\": No "
            "such file or directory");
}

TEST_F(DevWatchTest, ReportsAnIdFileThatCannotBeRead) {
    start();
    phone.files.set("/sys/class/tty/ttyACM3/device/uevent", "");
    phone.files.set("/sys/class/tty/ttyACM3/idVendor/folder", "");
    createNode("ttyACM3");
    log.waitFor(
            "usbNotifyThread: failed to read \"/sys/class/tty/ttyACM3/device/../idVendor\": Is "
            "a directory");
}

TEST_F(DevWatchTest, IgnoresOtherNames) {
    start();
    for (const char* name : {"ttyACM", "xttyACM0", "TTYACM0", "ttyUSB0", "hidra"}) {
        createNode(name);
    }
    awaitMarker();
    EXPECT_THAT(nodeWrites(first), IsEmpty());
    EXPECT_FALSE(log.contains("usbNotifyThread: mHidDisplayAttached:0"));
}

TEST_F(DevWatchTest, LooksAtTheIdsOfHidNodes) {
    start();
    support::createHidNode(phone, 5);
    log.waitFor(ANDROID_LOG_INFO, "========== hidraw5 create");
    // The vote is the tty's matter alone.
    EXPECT_THAT(nodeWrites(first), IsEmpty());
}

class HidIdTest : public DevWatchTest, public testing::WithParamInterface<Ids> {};

TEST_P(HidIdTest, IgnoreOtherHidNodes) {
    start();
    support::createHidNode(phone, 5, GetParam().vendor, GetParam().product);
    awaitMarker();
    EXPECT_TRUE(
            log.contains("usbNotifyThread: \"/sys/class/hidraw/hidraw5/device/../../idVendor\": " +
                         GetParam().vendor));
    EXPECT_EQ(
            log.contains("usbNotifyThread: \"/sys/class/hidraw/hidraw5/device/../../idProduct\": " +
                         GetParam().product),
            GetParam().productRead);
    EXPECT_FALSE(log.contains("========== hidraw5 create"));
    EXPECT_THAT(nodeWrites(first), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Files, HidIdTest,
                         testing::Values(Ids{"OtherVendor", "1d6b\n", "6a2f\n", false, false},
                                         Ids{"OtherProduct", "3e91\n", "6a2e\n", false, true}),
                         [](const auto& info) { return info.param.name; });

// More happens in /dev than the notify thread's queue holds, while that thread waits for a lock.
class OverflowTest : public DevWatchTest {
  protected:
    static void overflow() {
        for (int i = 0; i < 20000; ++i) {
            ASSERT_EQ(symlink("x", "/dev/overflow"), 0);
            ASSERT_EQ(unlink("/dev/overflow"), 0);
        }
    }
    // Holds the notify thread with a panel of this number in hand. What happens then is lost.
    void loseTheEventsOf(int panel, const std::function<void()>& happen) {
        const MutexLock lock(hid_lock, __func__);
        const size_t from = log.size();
        support::createHidNode(phone, panel);
        log.waitFor("========== hidraw" + std::to_string(panel) + " create", from);
        overflow();
        happen();
    }
    // As above, with a tty in hand.
    void loseTheEventsOf(const CoverOptions& cover, const std::function<void()>& happen) {
        const MutexLock lock(sUsbAutoSuspendMutex, __func__);
        const size_t from = log.size();
        phone.cover.attach(cover);
        log.waitFor("========== ttyACM" + std::to_string(cover.tty) + " create", from);
        overflow();
        happen();
    }
    // The line after the queue's last entry.
    size_t awaitOverflow() const {
        return log.waitUntil([](const support::LogLine& line) {
            return line.text.find("mask:0x00004000 name:") != std::string::npos;
        });
    }
    static CoverOptions withTty(int number) {
        CoverOptions options = support::withoutPanel();
        options.tty = number;
        return options;
    }
};

TEST_F(OverflowTest, LeavesAnAttachedTtyAttached) {
    start();
    loseTheEventsOf(support::withoutPanel(), [] {});
    awaitOverflow();
    awaitMarker();
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
    EXPECT_EQ(log.count("========== ttyACM0 create"), 1u);
    EXPECT_EQ(log.count("========== ttyACM0 delete"), 0u);
    EXPECT_FALSE(log.contains("usbNotifyThread: access \"/dev/ttyACM0\" OK"));
}

TEST_F(OverflowTest, AttachesATtyThatCameUnseen) {
    start();
    loseTheEventsOf(5, [this] { phone.cover.attach(support::withoutPanel()); });
    const size_t at = log.waitFor("usbNotifyThread: access \"/dev/ttyACM0\" OK", awaitOverflow());
    awaitAttached(at);
    awaitMarker();
    EXPECT_EQ(log.count("========== ttyACM0 create"), 1u);
    EXPECT_THAT(commands(first), testing::Contains("ATE0\r").Times(1));
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
    // The panel that was in hand stays.
    EXPECT_FALSE(log.contains("========== hidraw5 delete"));
    detach();
}

TEST_F(OverflowTest, AttachesAPanelThatCameUnseen) {
    start();
    loseTheEventsOf(withTty(0), [this] { support::createHidNode(phone, 0); });
    const size_t at = log.waitFor("usbNotifyThread: access \"/dev/hidraw0\" OK", awaitOverflow());
    log.waitFor(ANDROID_LOG_INFO, "========== hidraw0 create", at);
    awaitMarker();
    EXPECT_EQ(log.count("========== hidraw0 create"), 1u);
}

TEST_F(OverflowTest, DetachesATtyThatWentUnseen) {
    start();
    attach();
    loseTheEventsOf(5, [this] { phone.cover.detach(); });
    const size_t at = log.waitFor(ANDROID_LOG_INFO, "========== ttyACM0 delete", awaitOverflow());
    log.waitFor("serialDeviceRemoved: attached:1", at);
    awaitMarker();
    EXPECT_EQ(log.count("========== ttyACM0 delete"), 1u);
    EXPECT_EQ(send("AT%SWV\r").error, ENODEV);
    attach();
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

TEST_F(OverflowTest, DetachesAPanelThatWentUnseen) {
    start();
    support::createHidNode(phone, 3);
    log.waitFor("========== hidraw3 create");
    loseTheEventsOf(withTty(0), [] { ASSERT_EQ(unlink("/dev/hidraw3"), 0); });
    log.waitFor(ANDROID_LOG_INFO, "========== hidraw3 delete", awaitOverflow());
    awaitMarker();
    EXPECT_EQ(log.count("========== hidraw3 delete"), 1u);
    const size_t from = log.size();
    support::createHidNode(phone, 4);
    log.waitFor("========== hidraw4 create", from);
}

// The removal first: else the service would take itself for attached.
TEST_F(OverflowTest, AttachesWhatCameInThePlaceOfWhatWent) {
    start();
    attach(withTty(3));
    loseTheEventsOf(5, [this] {
        phone.cover.detach();
        phone.cover.attach(support::withoutPanel());
    });
    size_t at = log.waitFor("========== ttyACM3 delete", awaitOverflow());
    at = log.waitFor("========== ttyACM0 create", at);
    awaitAttached(at);
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

TEST_F(DevWatchTest, ManyAttachmentsLeaveNoDescriptorBehind) {
    start();
    attach();
    const auto descriptors = [] {
        // The log's thread, too, has what it needs.
        support::awaitWatch(phone::kWakeLock);
        size_t count = 0;
        for (int fd = 0; fd < 1024; ++fd) {
            if (fcntl(fd, F_GETFD) != -1) ++count;
        }
        return count;
    };
    const auto cycle = [&] {
        const size_t from = log.size();
        phone.cover.reattach();
        awaitAttached(from);
        EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
        log.clear();
    };
    // The first ones open what stays open, such as the kernel log.
    for (int i = 0; i < 5; ++i) cycle();
    const size_t before = descriptors();
    for (int i = 0; i < 100; ++i) cycle();
    // The last tty is put away after its removal; a leak would never come down again.
    while (descriptors() > before) usleep(1000);
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
