// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The panel's hidraw node as the phone's software meets it.

#include <gmock/gmock.h>

#include <cerrno>
#include <thread>

#include <fcntl.h>
#include <linux/hidraw.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <android-base/unique_fd.h>
#include "tests/support/PhoneTest.h"

namespace {

using namespace std::string_literals;

using android::base::unique_fd;
using phone::Entry;
using phone::Kind;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kNode[] = "/dev/hidraw0";
const std::string kOn = "\3\2\132";
const std::string kEnd("\2\0\0\0\0\0\0", 7);

// A report of pixels for the memory's begin.
std::string pixels(const std::string& bytes) {
    std::string report = kEnd + bytes;
    report[1] = static_cast<char>(bytes.size() & 0xff);
    report[2] = static_cast<char>(bytes.size() >> 8);
    return report;
}

// What a call gave: its result, or its error as a negative number.
int64_t resultOf(int64_t result) {
    return result < 0 ? -errno : result;
}

class HidrawTest : public support::PhoneTest {
  protected:
    static unique_fd openNode(int flags) { return unique_fd(open(kNode, flags)); }

    static int64_t writeTo(const unique_fd& node, const std::string& report) {
        return resultOf(write(node.get(), report.data(), report.size()));
    }
    static int64_t getFeature(const unique_fd& node, std::string& report) {
        return resultOf(ioctl(node.get(), HIDIOCGFEATURE(report.size()), report.data()));
    }
    static int64_t setFeature(const unique_fd& node, std::string report) {
        return resultOf(ioctl(node.get(), HIDIOCSFEATURE(report.size()), report.data()));
    }

    // What the journal holds of the node, as "kind note".
    std::vector<std::string> record() const {
        std::vector<std::string> lines;
        for (const Entry& entry : journal.since(first)) {
            const std::string kind(name(entry.kind));
            if (kind.rfind("hid-", 0) != 0) continue;
            EXPECT_EQ(entry.path, kNode);
            lines.push_back(entry.note.empty() ? kind : kind + " " + entry.note);
        }
        return lines;
    }
};

TEST_F(HidrawTest, IsThereWhenTheCoverIs) {
    EXPECT_NE(access(kNode, F_OK), 0);
    phone.cover.attach();
    EXPECT_EQ(access(kNode, F_OK), 0);
    EXPECT_TRUE(phone.panel.isAttached());
    phone.cover.detach();
    EXPECT_NE(access(kNode, F_OK), 0);
    EXPECT_FALSE(phone.panel.isAttached());
}

TEST_F(HidrawTest, ComesWithAnotherNumberOrNotAtAll) {
    phone::CoverOptions options;
    options.hid = 63;
    phone.cover.attach(options);
    EXPECT_EQ(access("/dev/hidraw63", F_OK), 0);
    EXPECT_EQ(phone.files.get("/sys/class/hidraw/hidraw63/device/../../idVendor"), "3e91\n");
    phone.cover.detach();
    options.withHid = false;
    phone.cover.attach(options);
    EXPECT_NE(access("/dev/hidraw63", F_OK), 0);
    EXPECT_NE(access("/sys/class/hidraw/hidraw63", F_OK), 0);
    EXPECT_FALSE(phone.panel.isAttached());
}

TEST_F(HidrawTest, NumberThatCannotBeIsRefused) {
    phone::CoverOptions options;
    for (const int number : {-1, 64}) {
        options.hid = number;
        EXPECT_THROW(phone.cover.attach(options), phone::Error);
    }
    phone.files.set(kNode, "");
    EXPECT_THROW(phone.cover.attach(), phone::Error);
    EXPECT_FALSE(phone.cover.isAttached());
    phone.files.remove(kNode);
}

TEST_F(HidrawTest, GivesItsInformation) {
    phone.panel.setOptions({320, 97, 9, 1});
    phone.cover.attach();
    const unique_fd node = openNode(O_RDONLY | O_NONBLOCK);
    std::string report = "\2------";
    EXPECT_EQ(getFeature(node, report), 7);
    EXPECT_EQ(report, "\2\x40\x01\x61\x00\x09\x01"s);
    EXPECT_THAT(journal.list(Kind::HidGet, first), ElementsAre(report));
}

TEST_F(HidrawTest, GivesNoMoreOfAReportThanWasAskedFor) {
    phone.cover.attach();
    const unique_fd node = openNode(O_RDONLY);
    std::string little = "\2--";
    EXPECT_EQ(getFeature(node, little), 3);
    EXPECT_EQ(little, "\2\x80\0"s);
    std::string much = "\2" + std::string(99, '-');
    EXPECT_EQ(getFeature(node, much), 7);
    EXPECT_EQ(much.substr(7), std::string(93, '-'));
}

TEST_F(HidrawTest, TakesAConfiguration) {
    phone.cover.attach();
    const unique_fd node = openNode(O_WRONLY | O_NONBLOCK);
    EXPECT_EQ(setFeature(node, kOn), 3);
    EXPECT_TRUE(phone.panel.state().on);
    EXPECT_EQ(phone.panel.state().brightness, 90);
    EXPECT_THAT(journal.list(Kind::HidSet, first), ElementsAre(kOn));
}

TEST_F(HidrawTest, ShowsAFrame) {
    phone.panel.setOptions({2, 2, 4, 1});
    phone.cover.attach();
    const unique_fd node = openNode(O_WRONLY | O_NONBLOCK);
    EXPECT_EQ(setFeature(node, kOn), 3);
    EXPECT_EQ(writeTo(node, pixels("\x34\x12")), 9);
    EXPECT_EQ(writeTo(node, kEnd), 7);
    EXPECT_EQ(phone.panel.state().frames, 1u);
    EXPECT_EQ(phone.panel.picture(), (cover::Picture{2, 2, {1, 2, 3, 4}}));
}

TEST_F(HidrawTest, JournalHoldsEveryCallInOrder) {
    phone.cover.attach();
    {
        const unique_fd node = openNode(O_RDWR | O_NONBLOCK | O_CLOEXEC);
        std::string report = "\2------";
        getFeature(node, report);
        setFeature(node, kOn);
        writeTo(node, pixels("ab"));
        writeTo(node, kEnd);
    }
    { const unique_fd again = openNode(O_RDONLY); }
    EXPECT_THAT(record(), ElementsAre("hid-open O_RDWR|O_NONBLOCK|O_CLOEXEC", "hid-get", "hid-set",
                                      "hid-write", "hid-write", "hid-close", "hid-open O_RDONLY",
                                      "hid-close"));
    EXPECT_THAT(journal.list(Kind::HidWrite, first), ElementsAre(pixels("ab"), kEnd));
}

TEST_F(HidrawTest, DescriptorHasTheFlagsThatWereAskedFor) {
    phone.cover.attach();
    const unique_fd keeps = openNode(O_WRONLY | O_NONBLOCK);
    EXPECT_EQ(fcntl(keeps.get(), F_GETFD), 0);
    EXPECT_NE(fcntl(keeps.get(), F_GETFL) & O_NONBLOCK, 0);
    const unique_fd closes = openNode(O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(fcntl(closes.get(), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(closes.get(), F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(HidrawTest, NonBlockingReadFindsNoInput) {
    phone.cover.attach();
    const unique_fd node = openNode(O_RDWR | O_NONBLOCK);
    char byte;
    EXPECT_EQ(resultOf(read(node.get(), &byte, 1)), -EAGAIN);
}

TEST_F(HidrawTest, WritesNeedADescriptorForWriting) {
    phone.cover.attach();
    const unique_fd node = openNode(O_RDONLY);
    EXPECT_EQ(writeTo(node, kEnd), -EBADF);
    // Feature reports do not.
    EXPECT_EQ(setFeature(node, kOn), 3);
}

TEST_F(HidrawTest, SizesThatTheKernelRefusesDoNotReachThePanel) {
    phone.cover.attach();
    const unique_fd node = openNode(O_RDWR);
    EXPECT_EQ(writeTo(node, ""), -EINVAL);
    EXPECT_EQ(writeTo(node, "\2"), -EINVAL);
    EXPECT_EQ(writeTo(node, std::string(16385, '\2')), -EINVAL);
    std::string one = "\2";
    EXPECT_EQ(getFeature(node, one), -EINVAL);
    EXPECT_EQ(setFeature(node, "\3"), -EINVAL);
    EXPECT_EQ(phone.panel.state().refused, 0u);
}

TEST_F(HidrawTest, ReportsThatThePanelRefusesStall) {
    phone.cover.attach();
    const unique_fd node = openNode(O_RDWR);
    EXPECT_EQ(writeTo(node, std::string(4097, '\2')), -EPIPE);
    EXPECT_EQ(writeTo(node, "\2\5\0\0\0\0\0x"s), -EPIPE);
    EXPECT_EQ(setFeature(node, "\3\2"), -EPIPE);
    std::string other = "\5------";
    EXPECT_EQ(getFeature(node, other), -EPIPE);
    EXPECT_EQ(phone.panel.state().refused, 4u);
}

TEST_F(HidrawTest, BadPointersAreRefused) {
    phone.cover.attach();
    const unique_fd node = openNode(O_RDWR);
    // Not by the C library's functions, whose arguments a sanitizer would look at.
    EXPECT_EQ(resultOf(syscall(SYS_write, node.get(), nullptr, 7)), -EFAULT);
    EXPECT_EQ(resultOf(syscall(SYS_ioctl, node.get(), HIDIOCGFEATURE(7), nullptr)), -EFAULT);
    EXPECT_EQ(resultOf(syscall(SYS_ioctl, node.get(), HIDIOCSFEATURE(3), nullptr)), -EFAULT);
    void* page = mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(page, MAP_FAILED);
    EXPECT_EQ(resultOf(syscall(SYS_ioctl, node.get(), HIDIOCGFEATURE(7), page)), -EPIPE);
    EXPECT_EQ(mprotect(page, 4096, PROT_READ | PROT_WRITE), 0);
    *static_cast<char*>(page) = 2;
    EXPECT_EQ(mprotect(page, 4096, PROT_READ), 0);
    EXPECT_EQ(resultOf(syscall(SYS_ioctl, node.get(), HIDIOCGFEATURE(7), page)), -EFAULT);
    munmap(page, 4096);
}

TEST_F(HidrawTest, RequestsOnOtherFilesAreTheKernelsToAnswer) {
    phone.cover.attach();
    const unique_fd null(open("/dev/null", O_RDWR));
    EXPECT_EQ(setFeature(null, kOn), -ENOTTY);
    EXPECT_EQ(setFeature(unique_fd(), kOn), -EBADF);
    const unique_fd high(fcntl(null.get(), F_DUPFD, 1000));
    ASSERT_GE(high.get(), 1000);
    EXPECT_EQ(writeTo(high, "abc"), 3);
    EXPECT_THAT(record(), IsEmpty());
}

TEST_F(HidrawTest, ManyAreOpenAtOnceAndEachIsItsOwn) {
    phone.cover.attach();
    std::vector<unique_fd> nodes;
    for (int i = 0; i < 20; ++i) nodes.push_back(openNode(O_WRONLY));
    for (const unique_fd& node : nodes) EXPECT_EQ(writeTo(node, kEnd), 7);
    nodes.clear();
    EXPECT_EQ(phone.panel.state().frames, 20u);
    const std::vector<std::string> lines = record();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "hid-close"), 20);
}

TEST_F(HidrawTest, MoreThanTheProcessCanHaveAreRefused) {
    phone.cover.attach();
    std::vector<unique_fd> nodes;
    for (;;) {
        nodes.push_back(openNode(O_WRONLY));
        if (!nodes.back().ok()) break;
    }
    EXPECT_EQ(errno, EMFILE);
    EXPECT_GT(nodes.size(), 1u);
}

TEST_F(HidrawTest, WhatIsOpenHasNoDeviceBehindADetachment) {
    phone.cover.attach();
    const unique_fd node = openNode(O_RDWR);
    phone.cover.reattach();
    EXPECT_EQ(writeTo(node, kEnd), -ENODEV);
    EXPECT_EQ(setFeature(node, kOn), -ENODEV);
    std::string report = "\2------";
    EXPECT_EQ(getFeature(node, report), -ENODEV);
    const unique_fd again = openNode(O_RDWR);
    EXPECT_EQ(writeTo(again, kEnd), 7);
    EXPECT_EQ(phone.panel.state().frames, 1u);
}

TEST_F(HidrawTest, PanelIsDarkAndEmptyAfterAnAttachment) {
    phone.cover.attach();
    {
        const unique_fd node = openNode(O_WRONLY);
        setFeature(node, kOn);
        writeTo(node, kEnd);
    }
    phone.cover.reattach();
    EXPECT_EQ(phone.panel.state(), cover::PanelState());
}

TEST_F(HidrawTest, ThreadsWriteAtOnceAndNoReportIsTorn) {
    phone.cover.attach();
    constexpr int kThreads = 4;
    constexpr int kWrites = 50;
    std::vector<std::thread> writers;
    writers.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i) {
        writers.emplace_back([i] {
            const std::string report = pixels(std::string(4089, static_cast<char>('a' + i)));
            for (int k = 0; k < kWrites; ++k) {
                const unique_fd node = openNode(O_WRONLY | O_NONBLOCK);
                ASSERT_EQ(writeTo(node, report), 4096);
            }
        });
    }
    for (std::thread& writer : writers) writer.join();
    const std::vector<std::string> reports = journal.list(Kind::HidWrite, first);
    EXPECT_EQ(reports.size(), size_t{kThreads * kWrites});
    for (const std::string& report : reports) {
        EXPECT_EQ(report.find_first_not_of(report[7], 7), std::string::npos);
    }
}

TEST_F(HidrawTest, ShortWriteTakesWhatItSays) {
    phone.panel.setOptions({4, 2, 4, 1});
    phone.cover.attach();
    phone.faults.set("hid write short 9 after 1 times 1");
    const unique_fd node = openNode(O_WRONLY);
    EXPECT_EQ(setFeature(node, kOn), 3);
    EXPECT_EQ(writeTo(node, pixels("\x11\x11\x11\x11")), 11);
    EXPECT_EQ(writeTo(node, pixels("\x22\x22\x22\x22")), 9);
    EXPECT_EQ(writeTo(node, kEnd), 7);
    EXPECT_EQ(phone.panel.picture()->levels, (std::vector<uint8_t>{1, 1, 1, 1, 2, 2, 2, 2}));
    EXPECT_THAT(record(), ElementsAre("hid-open O_WRONLY", "hid-set", "hid-write",
                                      "hid-write passed 9", "hid-write"));
}

TEST_F(HidrawTest, ErrorsAreGivenAsTheyWereAskedFor) {
    phone.cover.attach();
    phone.faults.set("hid open error ENOENT times 1");
    phone.faults.set("hid info error EPIPE");
    phone.faults.set("hid config error ETIMEDOUT");
    phone.faults.set("hid write error EIO");
    EXPECT_EQ(resultOf(open(kNode, O_RDWR)), -ENOENT);
    const unique_fd node = openNode(O_RDWR);
    std::string report = "\2------";
    EXPECT_EQ(getFeature(node, report), -EPIPE);
    EXPECT_EQ(setFeature(node, kOn), -ETIMEDOUT);
    EXPECT_EQ(writeTo(node, kEnd), -EIO);
    EXPECT_EQ(phone.panel.state(), cover::PanelState());
    EXPECT_THAT(record(), ElementsAre("hid-open O_RDWR ENOENT", "hid-open O_RDWR", "hid-get EPIPE",
                                      "hid-set ETIMEDOUT", "hid-write EIO"));
    phone.faults.clear();
    EXPECT_EQ(writeTo(node, kEnd), 7);
}

TEST_F(HidrawTest, InformationCanComeCutShort) {
    phone.cover.attach();
    phone.faults.set("hid info short 3");
    const unique_fd node = openNode(O_RDONLY);
    std::string report = "\2------";
    EXPECT_EQ(getFeature(node, report), 3);
    EXPECT_EQ(report, "\2\x80\0----"s);
}

TEST_F(HidrawTest, CoverIsPulledOffInMidFrame) {
    phone.cover.attach();
    phone.faults.set("hid write unplug after 1 times 1");
    const unique_fd node = openNode(O_WRONLY);
    EXPECT_EQ(writeTo(node, pixels("ab")), 9);
    EXPECT_EQ(writeTo(node, pixels("cd")), -ESHUTDOWN);
    EXPECT_FALSE(phone.cover.isAttached());
    EXPECT_NE(access(kNode, F_OK), 0);
    EXPECT_EQ(writeTo(node, kEnd), -ENODEV);
    EXPECT_EQ(resultOf(open(kNode, O_WRONLY)), -ENOENT);
    EXPECT_THAT(record(), ElementsAre("hid-open O_WRONLY", "hid-write", "hid-write ESHUTDOWN",
                                      "hid-write ENODEV"));
}

TEST_F(HidrawTest, CoverIsPulledOffDuringAFeatureReport) {
    for (const char* fault : {"hid info unplug times 1", "hid config unplug times 1"}) {
        phone.cover.attach();
        phone.faults.set(fault);
        const unique_fd node = openNode(O_RDWR);
        std::string report = "\2------";
        const bool reads = std::string(fault).starts_with("hid info");
        EXPECT_EQ(reads ? getFeature(node, report) : setFeature(node, kOn), -ESHUTDOWN);
        EXPECT_EQ(reads ? getFeature(node, report) : setFeature(node, kOn), -ENODEV);
    }
}

TEST_F(HidrawTest, CoverIsPulledOffDuringAnOpen) {
    phone.cover.attach();
    phone.faults.set("hid open unplug");
    EXPECT_EQ(resultOf(open(kNode, O_RDWR)), -ENODEV);
    EXPECT_FALSE(phone.cover.isAttached());
}

// What usbhid does at the first open of a device.
class OpenTimeTest : public HidrawTest {
  protected:
    static constexpr std::chrono::milliseconds kTime{5};
    static constexpr std::chrono::hours kForEver{1};

    OpenTimeTest() { phone.cover.attach(); }

    static void expectSlowOpen() {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(writeTo(openNode(O_WRONLY | O_NONBLOCK), kEnd), 7);
        EXPECT_GE(std::chrono::steady_clock::now() - begin, kTime);
    }
};

TEST_F(OpenTimeTest, IsTheKernelsWhereNobodySetsIt) {
    EXPECT_EQ(phone.panel.openTime(), cover::Time::zero()) << "the fixture's";
    phone.reset();
    EXPECT_EQ(phone.panel.openTime(), std::chrono::milliseconds(50));
}

TEST_F(OpenTimeTest, PassesAtEachOpenWhileNobodyHasTheNodeOpen) {
    phone.panel.setOpenTime(kTime);
    expectSlowOpen();
    expectSlowOpen();
    EXPECT_THAT(record(), ElementsAre("hid-open O_WRONLY|O_NONBLOCK", "hid-write", "hid-close",
                                      "hid-open O_WRONLY|O_NONBLOCK", "hid-write", "hid-close"));
}

// The begin is when the call came.
TEST_F(OpenTimeTest, StandsInTheJournalAsTheEntrysDuration) {
    phone.panel.setOpenTime(kTime);
    const uint64_t seq = phone.journal().next();
    phone.faults.set("hid write late 3ms times 1");
    writeTo(openNode(O_WRONLY), kEnd);
    const std::vector<Entry> entries = phone.journal().since(seq);
    ASSERT_EQ(entries.size(), 5u);
    EXPECT_EQ(entries[1].kind, Kind::HidOpen);
    EXPECT_GE(entries[1].duration, kTime);
    EXPECT_EQ(entries[2].kind, Kind::FaultMet);
    EXPECT_EQ(entries[3].kind, Kind::HidWrite);
    EXPECT_GE(entries[3].duration, std::chrono::milliseconds(3));
    // Met before the call was held.
    EXPECT_LE(entries[2].time, entries[3].time);
    EXPECT_GE(entries[2].time, entries[1].time + kTime);
    EXPECT_FALSE(entries[4].duration);
}

TEST_F(OpenTimeTest, IsSparedWhereAnotherDescriptorHasTheNodeOpen) {
    const unique_fd keeper = openNode(O_RDONLY);
    phone.panel.setOpenTime(kForEver);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(writeTo(openNode(O_WRONLY), kEnd), 7);
}

TEST_F(OpenTimeTest, PassesBesideADescriptorOfADeviceThatIsGone) {
    const unique_fd old = openNode(O_RDONLY);
    phone.cover.reattach();
    phone.panel.setOpenTime(kTime);
    expectSlowOpen();
    EXPECT_EQ(writeTo(openNode(O_WRONLY), kEnd), 7);
    EXPECT_EQ(setFeature(old, kOn), -ENODEV);
}

TEST_F(OpenTimeTest, ComesOnTopOfAFaults) {
    phone.panel.setOpenTime(kTime);
    phone.faults.set("hid open late 5ms times 1");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(openNode(O_WRONLY).ok());
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 2 * kTime);
}

TEST_F(OpenTimeTest, HoldsUpNoOtherCall) {
    phone.panel.setOpenTime(kForEver);
    phone.faults.set("hid open late 1us times 1");
    int64_t result = 0;
    std::thread opener([&result] { result = writeTo(openNode(O_WRONLY), kEnd); });
    // The fault is used up when the open waits.
    while (!phone.faults.list().empty()) {
    }
    EXPECT_EQ(access(phone::kHalReady, F_OK), 0);
    const unique_fd tty(open("/dev/ttyACM0", O_RDWR | O_NOCTTY));
    support::setLines(tty);
    EXPECT_EQ(write(tty.get(), "AT\r", 3), 3);
    EXPECT_THAT(journal.list(Kind::TtyRx, first), ElementsAre("AT\r"));
    const unique_fd node(open(phone::kHalReady, O_WRONLY));
    EXPECT_EQ(write(node.get(), "Y", 1), 1);
    EXPECT_THAT(journal.list(Kind::NodeWrite, first), ElementsAre("Y"));
    EXPECT_THAT(record(), IsEmpty());
    phone.cover.detach();
    opener.join();
    EXPECT_EQ(result, -ENODEV);
}

// As the kernel, whose unplugging waits for the open.
TEST_F(HidrawTest, OpenThatIsUnderWayAtADetachmentIsWithoutADevice) {
    phone.cover.attach();
    phone.faults.set("hid open late 3600s times 1");
    int64_t result = 0;
    std::thread opener([&result] {
        const unique_fd node = openNode(O_WRONLY);
        result = writeTo(node, kEnd);
    });
    while (!phone.faults.list().empty()) {
    }
    phone.cover.detach();
    opener.join();
    EXPECT_EQ(result, -ENODEV);
    EXPECT_THAT(record(), ElementsAre("hid-open O_WRONLY", "hid-write ENODEV", "hid-close"));
}

TEST_F(HidrawTest, SlowPanelAnswersInTheEnd) {
    phone.cover.attach();
    phone.faults.set("hid * late 2ms");
    const auto begin = std::chrono::steady_clock::now();
    const unique_fd node = openNode(O_WRONLY);
    EXPECT_EQ(writeTo(node, kEnd), 7);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(4));
    EXPECT_EQ(phone.panel.state().frames, 1u);
}

// A writer that a fault holds up, and the phone meanwhile.
class HeldUpTest : public HidrawTest {
  protected:
    HeldUpTest() {
        phone.cover.attach();
        phone.faults.set(kHold);
    }
    ~HeldUpTest() override {
        if (writer.joinable()) writer.join();
    }

    void start() {
        writer = std::thread([this] {
            const unique_fd node = openNode(O_WRONLY);
            result = writeTo(node, kEnd);
        });
        awaitHeldUp();
    }
    void awaitHeldUp() {
        // The fault is used up when it holds the write up.
        while (!phone.faults.list().empty()) {
        }
    }

    static constexpr char kHold[] = "hid write late 3600s times 1";
    int64_t result = 0;
    std::thread writer;
};

TEST_F(HeldUpTest, SlowWriteHoldsUpNobodyElse) {
    start();
    EXPECT_EQ(access(phone::kHalReady, F_OK), 0);
    EXPECT_TRUE(phone.cover.isAttached());
    EXPECT_EQ(phone.panel.state().frames, 0u);
    phone.faults.clear();
    writer.join();
    EXPECT_EQ(result, 7);
    EXPECT_EQ(phone.panel.state().frames, 1u);
}

TEST_F(HeldUpTest, SlowWriteEndsWhenTheCoverIsPulledOff) {
    start();
    phone.cover.detach();
    writer.join();
    EXPECT_EQ(result, -ESHUTDOWN);
    EXPECT_THAT(record(), ElementsAre("hid-open O_WRONLY", "hid-write ESHUTDOWN", "hid-close"));
}

// One look in many may come too late.
TEST_F(HeldUpTest, NodeWithoutADeviceStaysForAMoment) {
    int error = 0;
    for (int i = 0; i < 100 && error != ENODEV; ++i) {
        writer = std::thread([&error] {
            const unique_fd node = openNode(O_WRONLY);
            EXPECT_EQ(writeTo(node, kEnd), -ESHUTDOWN);
            error = openNode(O_WRONLY).ok() ? 0 : errno;
        });
        awaitHeldUp();
        phone.cover.detach();
        writer.join();
        phone.cover.attach();
        phone.faults.set(kHold);
    }
    EXPECT_EQ(error, ENODEV);
}

TEST_F(HeldUpTest, ResetLetsItGo) {
    start();
    phone.reset();
    writer.join();
    EXPECT_EQ(result, -ESHUTDOWN);
}

TEST_F(HidrawTest, FaultsAreListedAndCleared) {
    phone.faults.set("hid write short 9 after 1 times 1");
    EXPECT_THAT(phone.faults.list(), ElementsAre("hid write short 9 after 1 times 1"));
    phone.faults.clear();
    EXPECT_THAT(phone.faults.list(), IsEmpty());
    EXPECT_THROW(phone.faults.set("hid write break"), phone::Error);
}

TEST_F(HidrawTest, FaultsOfFilesApplyToTheNodeToo) {
    phone.cover.attach();
    phone.faults.set("node /dev/hidraw0 unwritable");
    EXPECT_EQ(resultOf(open(kNode, O_WRONLY)), -EACCES);
    phone.faults.clear();
    phone.faults.set("node /dev/hidraw0 missing");
    EXPECT_EQ(resultOf(open(kNode, O_WRONLY)), -ENOENT);
}

TEST_F(HidrawTest, ResetMakesThePanelAsItWas) {
    phone.panel.setOptions({1, 1, 1, 0});
    phone.cover.attach();
    phone.reset();
    EXPECT_EQ(phone.panel.options(), cover::PanelOptions());
    EXPECT_EQ(phone.panel.picture(), std::nullopt);
}

TEST_F(HidrawTest, HundredFramesLeaveNoDescriptorBehind) {
    phone.cover.attach();
    const auto descriptors = [] {
        size_t count = 0;
        for (int fd = 0; fd < 1024; ++fd) {
            if (fcntl(fd, F_GETFD) != -1) ++count;
        }
        return count;
    };
    const size_t before = descriptors();
    for (int i = 0; i < 100; ++i) {
        const unique_fd node = openNode(O_WRONLY | O_NONBLOCK);
        ASSERT_EQ(writeTo(node, kEnd), 7);
    }
    journal.sync();
    EXPECT_EQ(descriptors(), before);
}

}  // namespace
