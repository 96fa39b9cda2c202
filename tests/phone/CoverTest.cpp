// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Putting the cover on and pulling it off: nodes, sysfs, USB presence and the cover's departures.

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <termios.h>
#include <unistd.h>

#include <android-base/unique_fd.h>
#include "tests/support/PhoneTest.h"
#include "tests/support/TheWorld.h"

namespace {

namespace fs = std::filesystem;

using android::base::unique_fd;
using phone::CoverOptions;
using phone::Entry;
using phone::Kind;
using phone::Unread;
using support::withoutPanel;
using testing::ElementsAre;
using testing::IsEmpty;

std::string contentOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> namesIn(const char* folder) {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> waysOfArrival(const phone::Phone& phone, uint64_t seq) {
    return phone.journal().list(Kind::Attach, seq);
}

struct Change {
    uint32_t mask;
    std::string name;

    bool operator==(const Change&) const = default;
};
void PrintTo(const Change& change, std::ostream* out) {
    *out << std::hex << change.mask << " " << change.name;
}

// Watches a folder as the service does.
class Watch {
  public:
    explicit Watch(const char* folder) : mFd(inotify_init1(IN_CLOEXEC)) {
        EXPECT_GE(inotify_add_watch(mFd.get(), folder, IN_CREATE | IN_DELETE), 0);
    }

    std::vector<Change> read() const {
        alignas(inotify_event) char buffer[4096];
        const ssize_t count = ::read(mFd.get(), buffer, sizeof(buffer));
        std::vector<Change> changes;
        for (ssize_t at = 0; at < count;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
            changes.push_back({event->mask, event->len > 0 ? event->name : ""});
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
        return changes;
    }

  private:
    const unique_fd mFd;
};

using CoverTest = support::PhoneTest;

TEST_F(CoverTest, IdsLieWhereTheTtyAndTheHidNodeAreLookedUp) {
    phone.cover.attach();
    EXPECT_EQ(contentOf("/sys/class/tty/ttyACM0/device/../idVendor"), "3e91\n");
    EXPECT_EQ(contentOf("/sys/class/tty/ttyACM0/device/../idProduct"), "6a2f\n");
    EXPECT_EQ(contentOf("/sys/class/tty/ttyACM0/device/../power/control"), "on\n");
    EXPECT_EQ(contentOf("/sys/class/hidraw/hidraw0/device/../../idVendor"), "3e91\n");
    EXPECT_EQ(contentOf("/sys/class/hidraw/hidraw0/device/../../idProduct"), "6a2f\n");
    phone.cover.detach();
    EXPECT_THAT(namesIn("/sys/class/tty"), IsEmpty());
    EXPECT_THAT(namesIn("/sys/class/hidraw"), IsEmpty());
    EXPECT_THAT(namesIn("/sys/bus/usb/devices"), IsEmpty());
}

// With the panel comes /dev/usb too, since the kernel makes /dev/usb/hiddev0 of it.
TEST_F(CoverTest, WatcherSeesOneCreationAndOneDeletionOfEachNode) {
    const Watch watch("/dev");
    phone.cover.attach();
    EXPECT_EQ(access("/dev/usb/hiddev0", F_OK), 0);
    EXPECT_THAT(watch.read(),
                ElementsAre(Change{IN_CREATE, "ttyACM0"}, Change{IN_CREATE | IN_ISDIR, "usb"},
                            Change{IN_CREATE, "hidraw0"}));
    phone.cover.detach();
    EXPECT_THAT(watch.read(),
                ElementsAre(Change{IN_DELETE, "ttyACM0"}, Change{IN_DELETE | IN_ISDIR, "usb"},
                            Change{IN_DELETE, "hidraw0"}));
}

TEST_F(CoverTest, WithoutItsPanelBringsNoFolderOfUsb) {
    phone.cover.attach(withoutPanel());
    EXPECT_NE(access("/dev/usb", F_OK), 0);
}

TEST_F(CoverTest, LeavesAFolderOfUsbThatIsInUse) {
    phone.files.set("/dev/usb/lp0", "");
    phone.cover.attach();
    phone.cover.detach();
    EXPECT_THAT(namesIn("/dev/usb"), ElementsAre("lp0"));
    fs::remove_all("/dev/usb");
}

TEST_F(CoverTest, IdsAreThereWhenTheNodeIsCreated) {
    for (int i = 0; i < 20; ++i) {
        const Watch watch("/dev");
        std::thread attacher([this] { phone.cover.attach(); });
        ASSERT_EQ(watch.read().at(0).name, "ttyACM0");
        EXPECT_EQ(contentOf("/sys/class/tty/ttyACM0/device/../idVendor"), "3e91\n");
        EXPECT_EQ(access("/dev/ttyACM0", R_OK | W_OK), 0);
        attacher.join();
        phone.cover.detach();
    }
}

TEST_F(CoverTest, ReattachmentCanBeSeenInOneRead) {
    phone.cover.attach(withoutPanel());
    const Watch watch("/dev");
    phone.cover.reattach();
    const std::vector<Change> changes = watch.read();
    ASSERT_EQ(changes.size(), 2u);
    EXPECT_EQ(changes[0].mask, uint32_t{IN_DELETE});
    EXPECT_EQ(changes[1].mask, uint32_t{IN_CREATE});
}

TEST_F(CoverTest, ComesWithOtherIdTextsAndAnotherNumber) {
    CoverOptions options;
    options.tty = 7;
    options.idVendorText = "";
    options.idProductText = std::string(5000, 'f');
    phone.cover.attach(options);
    EXPECT_EQ(contentOf("/sys/class/tty/ttyACM7/device/../idVendor"), "");
    EXPECT_EQ(contentOf("/sys/class/tty/ttyACM7/device/../idProduct"), std::string(5000, 'f'));
    EXPECT_EQ(access("/dev/ttyACM7", F_OK), 0);
    EXPECT_NE(access("/dev/ttyACM0", F_OK), 0);
}

TEST_F(CoverTest, ShowsOnTheUsbBusWithItsDescriptorAndStrings) {
    const Watch watch("/dev/bus/usb/001");
    phone.cover.attach();
    const std::vector<Change> changes = watch.read();
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0].mask, uint32_t{IN_CREATE});
    const std::string descriptor = contentOf("/dev/bus/usb/001/" + changes[0].name);
    ASSERT_EQ(descriptor.size(), 18u);
    EXPECT_EQ(descriptor.substr(0, 2), "\x12\x01");
    EXPECT_EQ(descriptor.substr(8, 4), "\x91\x3e\x2f\x6a");
    const std::string folder = "/sys/bus/usb/devices/1-1/";
    EXPECT_EQ(contentOf(folder + "busnum"), "1\n");
    EXPECT_EQ(std::stoi(contentOf(folder + "devnum")), std::stoi(changes[0].name));
    EXPECT_EQ(contentOf(folder + "serial"), phone.cover.options().usb.serial + "\n");
    EXPECT_EQ(contentOf(folder + "product"), phone.cover.options().usb.productName + "\n");
    EXPECT_NE(contentOf(folder + "manufacturer"), "");
    phone.cover.detach();
    EXPECT_EQ(watch.read().at(0).mask, uint32_t{IN_DELETE});
}

TEST_F(CoverTest, GetsANewUsbNumberEachTimeAndStartsAgainBehindTheLast) {
    int previous = 0;
    bool wrapped = false;
    for (int i = 0; i < 130; ++i) {
        phone.cover.attach();
        const std::vector<std::string> names = namesIn("/dev/bus/usb/001");
        ASSERT_EQ(names.size(), 1u);
        const int number = std::stoi(names[0]);
        if (number < previous) {
            EXPECT_EQ(previous, 127);
            EXPECT_EQ(number, 2);
            wrapped = true;
        } else if (previous != 0) {
            EXPECT_EQ(number, previous + 1);
        }
        previous = number;
        phone.cover.detach();
    }
    EXPECT_TRUE(wrapped);
}

TEST_F(CoverTest, TtyAndUsbDeviceCanComeAlone) {
    CoverOptions options;
    options.withTty = false;
    options.withHid = false;
    phone.cover.attach(options);
    EXPECT_NE(access("/dev/ttyACM0", F_OK), 0);
    EXPECT_NE(access("/dev/hidraw0", F_OK), 0);
    EXPECT_EQ(namesIn("/dev/bus/usb/001").size(), 1u);
    EXPECT_THROW(phone.cover.send("x"), phone::Error);
    phone.cover.detach();
    options = withoutPanel();
    options.withUsb = false;
    phone.cover.attach(options);
    EXPECT_EQ(access("/dev/ttyACM0", F_OK), 0);
    EXPECT_EQ(contentOf("/sys/class/tty/ttyACM0/device/../idVendor"), "3e91\n");
    EXPECT_THAT(namesIn("/dev/bus/usb/001"), IsEmpty());
    phone.cover.detach();
    options = {};
    options.withTty = false;
    phone.cover.attach(options);
    EXPECT_NE(access("/dev/ttyACM0", F_OK), 0);
    EXPECT_EQ(access("/dev/hidraw0", F_OK), 0);
    EXPECT_EQ(contentOf("/sys/class/hidraw/hidraw0/device/../../idVendor"), "3e91\n");
}

TEST_F(CoverTest, WrongStatesAreRefused) {
    EXPECT_THROW(phone.cover.detach(), phone::Error);
    EXPECT_THROW(phone.cover.detach(Unread::Read), phone::Error);
    EXPECT_THROW(phone.cover.reattach(), phone::Error);
    EXPECT_THROW(phone.loader.detach(), phone::Error);
    EXPECT_THROW(phone.foreignTtys.detach(1), phone::Error);
    CoverOptions options;
    options.tty = -1;
    EXPECT_THROW(phone.cover.attach(options), phone::Error);
    EXPECT_FALSE(phone.cover.isAttached());
    phone.cover.attach();
    EXPECT_THROW(phone.cover.attach(), phone::Error);
    EXPECT_THROW(phone.foreignTtys.attach(0, "1d6b\n", "0001\n"), phone::Error);
}

TEST_F(CoverTest, ForeignTtyStandsBesideIt) {
    phone.foreignTtys.attach(1, "1d6b\n", "0001\n");
    phone.cover.attach();
    EXPECT_EQ(contentOf("/sys/class/tty/ttyACM1/device/../idVendor"), "1d6b\n");
    EXPECT_EQ(contentOf("/sys/class/tty/ttyACM0/device/../idVendor"), "3e91\n");
    {
        const unique_fd tty(open("/dev/ttyACM1", O_RDWR | O_NOCTTY));
        ASSERT_EQ(write(tty.get(), "AT\r", 3), 3);
        EXPECT_THAT(journal.list(Kind::TtyRx, first), ElementsAre("AT\r"));
        pollfd state = {tty.get(), POLLIN, 0};
        EXPECT_EQ(poll(&state, 1, 0), 0);
    }
    phone.foreignTtys.detach(1);
    EXPECT_NE(access("/dev/ttyACM1", F_OK), 0);
    EXPECT_EQ(access("/dev/ttyACM0", F_OK), 0);
}

TEST_F(CoverTest, LoaderShowsWithItsSerialAndProduct) {
    phone.loader.attach("00000000001B", "TQA110R");
    const std::vector<std::string> names = namesIn("/dev/bus/usb/001");
    ASSERT_EQ(names.size(), 1u);
    EXPECT_EQ(contentOf("/dev/bus/usb/001/" + names[0]).substr(8, 4), "\x83\x04\x11\xdf");
    EXPECT_EQ(contentOf("/sys/bus/usb/devices/1-1/serial"), "00000000001B\n");
    EXPECT_EQ(contentOf("/sys/bus/usb/devices/1-1/product"), "TQA110R\n");
    EXPECT_EQ(phone.cover.state().power, cover::Power::Loader);
    EXPECT_THROW(phone.loader.attach(), phone::Error);
    phone.loader.detach();
    EXPECT_THAT(namesIn("/dev/bus/usb/001"), IsEmpty());
    EXPECT_EQ(phone.cover.state().power, cover::Power::Off);
}

TEST_F(CoverTest, LoaderWithoutStringsHasNoneInSysfsNorInItsDescriptor) {
    phone.loader.attach("", "");
    EXPECT_NE(access("/sys/bus/usb/devices/1-1/serial", F_OK), 0);
    EXPECT_NE(access("/sys/bus/usb/devices/1-1/product", F_OK), 0);
    const std::string node = "/dev/bus/usb/001/" + namesIn("/dev/bus/usb/001").at(0);
    EXPECT_EQ(contentOf(node).substr(15, 2), std::string(2, '\0'));
}

TEST_F(CoverTest, CoverAndLoaderCanBeThereAtOnce) {
    phone.cover.attach();
    phone.loader.attach();
    EXPECT_EQ(namesIn("/dev/bus/usb/001").size(), 2u);
    EXPECT_EQ(phone.cover.state().power, cover::Power::Running);
    phone.loader.detach();
    EXPECT_EQ(phone.cover.state().power, cover::Power::Running);
}

TEST_F(CoverTest, YesToTheRecoveryNodeMakesItComeBackFresh) {
    phone.cover.attach(withoutPanel());
    const Watch watch("/dev");
    {
        const unique_fd tty(open("/dev/ttyACM0", O_RDWR | O_NOCTTY));
        support::setLines(tty);
        ASSERT_EQ(write(tty.get(), "ATE0\r", 5), 5);
        journal.waitFor(phone::is(Kind::TtyTx, "ATE0\r\r\nOK\r\n"), first);
        EXPECT_FALSE(phone.cover.state().echo);
    }
    const unique_fd node(open(phone::kRecovery, O_WRONLY));
    ASSERT_EQ(write(node.get(), "Y", 1), 1);
    EXPECT_EQ(watch.read().at(0).mask, uint32_t{IN_DELETE});
    EXPECT_EQ(watch.read().at(0).mask, uint32_t{IN_CREATE});
    EXPECT_TRUE(phone.cover.state().echo);
    EXPECT_TRUE(phone.cover.isAttached());
}

TEST_F(CoverTest, AnythingElseToTheRecoveryNodeDoesNothing) {
    phone.cover.attach();
    const unique_fd node(open(phone::kRecovery, O_WRONLY));
    ASSERT_EQ(write(node.get(), "N", 1), 1);
    ASSERT_EQ(write(node.get(), "y", 1), 1);
    ASSERT_EQ(write(node.get(), "", 0), 0);
    EXPECT_THAT(journal.list(Kind::NodeWrite, first), ElementsAre("N", "y", ""));
    EXPECT_EQ(phone.cover.state().power, cover::Power::Running);
    EXPECT_EQ(access("/dev/ttyACM0", F_OK), 0);
}

TEST_F(CoverTest, RecoveryWithoutACoverDoesNothing) {
    const unique_fd node(open(phone::kRecovery, O_WRONLY));
    ASSERT_EQ(write(node.get(), "Y", 1), 1);
    EXPECT_THAT(journal.list(Kind::NodeWrite, first), ElementsAre("Y"));
    EXPECT_FALSE(phone.cover.isAttached());
}

TEST_F(CoverTest, CommandTakesItToItsLoaderAndAnAttachmentBack) {
    phone.cover.attach();
    const Watch bus("/dev/bus/usb/001");
    {
        const unique_fd tty(open("/dev/ttyACM0", O_RDWR | O_NOCTTY));
        support::setLines(tty);
        ASSERT_EQ(write(tty.get(), "AT%GODLOAD\r", 11), 11);
        char answer[64];
        // The answer is read before the tty goes.
        EXPECT_GT(read(tty.get(), answer, sizeof(answer)), 0);
    }
    EXPECT_EQ(bus.read().at(0).mask, uint32_t{IN_DELETE});
    EXPECT_EQ(bus.read().at(0).mask, uint32_t{IN_CREATE});
    EXPECT_FALSE(phone.cover.isAttached());
    EXPECT_EQ(contentOf("/sys/bus/usb/devices/1-1/serial"), "00000000001A\n");
    EXPECT_NE(access("/dev/ttyACM0", F_OK), 0);
    phone.cover.attach();
    EXPECT_EQ(namesIn("/dev/bus/usb/001").size(), 1u);
    EXPECT_EQ(contentOf("/sys/bus/usb/devices/1-1/idVendor"), "3e91\n");
}

TEST_F(CoverTest, DetachingWhileItIsAwayKeepsItAway) {
    phone.cover.attach();
    const unique_fd node(open(phone::kRecovery, O_WRONLY));
    ASSERT_EQ(write(node.get(), "Y", 1), 1);
    const Entry gone =
            journal.waitFor([](const Entry& e) { return e.kind == Kind::Detach; }, first);
    phone.reset();
    EXPECT_FALSE(phone.cover.isAttached());
    EXPECT_EQ(gone.path, "1-1");
}

// A file where the next USB device's node would be.
class Occupied {
  public:
    Occupied() {
        phone::Phone& phone = support::thePhone();
        phone.cover.attach(withoutPanel());
        const int last = std::stoi(namesIn(kBus).at(0));
        char name[32];
        snprintf(name, sizeof(name), "%s/%03d", kBus, last + 1);
        mPath = name;
        std::ofstream(mPath) << "occupied";
    }
    ~Occupied() { unlink(mPath.c_str()); }
    Occupied(const Occupied&) = delete;
    Occupied& operator=(const Occupied&) = delete;

    // Nothing but the file is there.
    void expectAlone() const {
        EXPECT_EQ(contentOf(mPath), "occupied");
        EXPECT_EQ(namesIn(kBus).size(), 1u);
        EXPECT_THAT(namesIn("/sys/bus/usb/devices"), IsEmpty());
        EXPECT_NE(access("/dev/ttyACM0", F_OK), 0);
        EXPECT_NE(access("/dev/hidraw0", F_OK), 0);
        EXPECT_THAT(namesIn("/sys/class/tty"), IsEmpty());
    }

  private:
    static constexpr char kBus[] = "/dev/bus/usb/001";
    std::string mPath;
};

TEST_F(CoverTest, ACoverThatCannotComeBackStaysAway) {
    const Occupied occupied;
    const unique_fd node(open(phone::kRecovery, O_WRONLY));
    ASSERT_EQ(write(node.get(), "Y", 1), 1);
    journal.waitFor([](const Entry& e) { return e.note.starts_with("does not come back: "); },
                    first);
    EXPECT_FALSE(phone.cover.isAttached());
    EXPECT_EQ(phone.cover.state().power, cover::Power::Off);
    occupied.expectAlone();
    // The next number is free.
    phone.cover.attach();
    EXPECT_EQ(access("/dev/ttyACM0", F_OK), 0);
}

TEST_F(CoverTest, AnAttachmentThatFailsLeavesNothingBehind) {
    const Occupied occupied;
    phone.cover.detach();
    EXPECT_THROW(phone.cover.attach(), phone::Error);
    EXPECT_FALSE(phone.cover.isAttached());
    EXPECT_EQ(phone.cover.state().power, cover::Power::Off);
    occupied.expectAlone();
}

TEST_F(CoverTest, ALoaderThatCannotBeAttachedLeavesNothingBehind) {
    const Occupied occupied;
    phone.cover.detach();
    EXPECT_THROW(phone.loader.attach(), phone::Error);
    occupied.expectAlone();
    phone.loader.attach();
    phone.loader.detach();
}

TEST_F(CoverTest, ANodeThatIsTakenKeepsATtyAway) {
    std::ofstream("/dev/ttyACM0") << "occupied";
    std::ofstream("/dev/ttyACM1") << "occupied";
    EXPECT_THROW(phone.cover.attach(), phone::Error);
    EXPECT_FALSE(phone.cover.isAttached());
    EXPECT_THROW(phone.foreignTtys.attach(1, "1d6b\n", "0001\n"), phone::Error);
    EXPECT_THAT(namesIn("/sys/class/tty"), IsEmpty());
    EXPECT_EQ(contentOf("/dev/ttyACM0"), "occupied");
    EXPECT_EQ(contentOf("/dev/ttyACM1"), "occupied");
    unlink("/dev/ttyACM0");
    unlink("/dev/ttyACM1");
    phone.cover.attach();
    phone.foreignTtys.attach(1, "1d6b\n", "0001\n");
}

TEST_F(CoverTest, HundredCyclesLeaveDescriptorsAndThreadsWhereTheyWere) {
    const auto cycle = [this] {
        phone.cover.attach();
        const unique_fd tty(open("/dev/ttyACM0", O_RDWR | O_NOCTTY));
        support::setLines(tty);
        ASSERT_EQ(write(tty.get(), "AT%SWV\r", 7), 7);
        const unique_fd node(open(phone::kHalReady, O_WRONLY));
        ASSERT_EQ(write(node.get(), "Y", 1), 1);
        phone.cover.detach();
    };
    const auto settle = [this] { journal.next(); };
    cycle();
    settle();
    const size_t descriptors = namesIn("/proc/self/fd").size();
    const size_t threads = namesIn("/proc/self/task").size();
    const size_t ptys = namesIn("/dev/pts").size();
    for (int i = 0; i < 100; ++i) cycle();
    settle();
    EXPECT_EQ(namesIn("/proc/self/fd").size(), descriptors);
    EXPECT_EQ(namesIn("/proc/self/task").size(), threads);
    EXPECT_EQ(namesIn("/dev/pts").size(), ptys);
}

// A replay needs more than the identity.
TEST_F(CoverTest, AnAttachTellsHowTheDeviceCame) {
    const uint64_t seq = phone.journal().next();
    phone.cover.attach({.tty = 3, .hid = 2, .idVendorText = "12\xff\n"});
    phone.cover.detach();
    phone.cover.attach({.withTty = false, .withHid = false, .withUsb = false});
    phone.cover.detach();
    phone.loader.attach("00000000001A", "TQC330R");
    phone.foreignTtys.attach(7, "1234\n", "");
    EXPECT_THAT(waysOfArrival(phone, seq),
                ElementsAre(R"({"tty":3,"hid":2,"usb":true,"idVendor":"12\\xff\\n",)"
                            R"("product":"TQC330R","serial":"BV33021030001"})",
                            R"({"usb":false,"product":"TQC330R","serial":"BV33021030001"})",
                            R"({"usb":true,"product":"TQC330R","serial":"00000000001A"})",
                            R"({"tty":7,"usb":false,"idVendor":"1234\\n","idProduct":""})"));
}

}  // namespace
