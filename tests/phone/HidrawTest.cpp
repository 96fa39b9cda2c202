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

#include "emulator/phone/Fd.h"
#include "tests/support/PhoneTest.h"

namespace {

using namespace std::string_literals;

using phone::Entry;
using phone::Fd;
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
    static Fd openNode(int flags) { return Fd(open(kNode, flags)); }

    static int64_t writeTo(const Fd& node, const std::string& report) {
        return resultOf(write(node.get(), report.data(), report.size()));
    }
    static int64_t getFeature(const Fd& node, std::string& report) {
        return resultOf(ioctl(node.get(), HIDIOCGFEATURE(report.size()), report.data()));
    }
    static int64_t setFeature(const Fd& node, std::string report) {
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
    phone.attachCover();
    EXPECT_EQ(access(kNode, F_OK), 0);
    EXPECT_TRUE(phone.isPanelAttached());
    phone.detachCover();
    EXPECT_NE(access(kNode, F_OK), 0);
    EXPECT_FALSE(phone.isPanelAttached());
}

TEST_F(HidrawTest, ComesWithAnotherNumberOrNotAtAll) {
    phone::CoverOptions options;
    options.hid = 63;
    phone.attachCover(options);
    EXPECT_EQ(access("/dev/hidraw63", F_OK), 0);
    EXPECT_EQ(phone.node("/sys/class/hidraw/hidraw63/device/../../idVendor"), "3e91\n");
    phone.detachCover();
    options.withHid = false;
    phone.attachCover(options);
    EXPECT_NE(access("/dev/hidraw63", F_OK), 0);
    EXPECT_NE(access("/sys/class/hidraw/hidraw63", F_OK), 0);
    EXPECT_FALSE(phone.isPanelAttached());
}

TEST_F(HidrawTest, NumberThatCannotBeIsRefused) {
    phone::CoverOptions options;
    for (const int number : {-1, 64}) {
        options.hid = number;
        EXPECT_THROW(phone.attachCover(options), phone::Error);
    }
    phone.setNode(kNode, "");
    EXPECT_THROW(phone.attachCover(), phone::Error);
    EXPECT_FALSE(phone.isCoverAttached());
    phone.removeNode(kNode);
}

TEST_F(HidrawTest, GivesItsInformation) {
    phone.setPanelOptions({320, 97, 9, 1});
    phone.attachCover();
    const Fd node = openNode(O_RDONLY | O_NONBLOCK);
    std::string report = "\2------";
    EXPECT_EQ(getFeature(node, report), 7);
    EXPECT_EQ(report, "\2\x40\x01\x61\x00\x09\x01"s);
    EXPECT_THAT(journal.list(Kind::HidGet, first), ElementsAre(report));
}

TEST_F(HidrawTest, GivesNoMoreOfAReportThanWasAskedFor) {
    phone.attachCover();
    const Fd node = openNode(O_RDONLY);
    std::string little = "\2--";
    EXPECT_EQ(getFeature(node, little), 3);
    EXPECT_EQ(little, "\2\x80\0"s);
    std::string much = "\2" + std::string(99, '-');
    EXPECT_EQ(getFeature(node, much), 7);
    EXPECT_EQ(much.substr(7), std::string(93, '-'));
}

TEST_F(HidrawTest, TakesAConfiguration) {
    phone.attachCover();
    const Fd node = openNode(O_WRONLY | O_NONBLOCK);
    EXPECT_EQ(setFeature(node, kOn), 3);
    EXPECT_TRUE(phone.panelState().on);
    EXPECT_EQ(phone.panelState().brightness, 90);
    EXPECT_THAT(journal.list(Kind::HidSet, first), ElementsAre(kOn));
}

TEST_F(HidrawTest, ShowsAFrame) {
    phone.setPanelOptions({2, 2, 4, 1});
    phone.attachCover();
    const Fd node = openNode(O_WRONLY | O_NONBLOCK);
    EXPECT_EQ(setFeature(node, kOn), 3);
    EXPECT_EQ(writeTo(node, pixels("\x34\x12")), 9);
    EXPECT_EQ(writeTo(node, kEnd), 7);
    EXPECT_EQ(phone.panelState().frames, 1u);
    EXPECT_EQ(phone.panelPicture(), (cover::Picture{2, 2, {1, 2, 3, 4}}));
}

TEST_F(HidrawTest, JournalHoldsEveryCallInOrder) {
    phone.attachCover();
    {
        const Fd node = openNode(O_RDWR | O_NONBLOCK | O_CLOEXEC);
        std::string report = "\2------";
        getFeature(node, report);
        setFeature(node, kOn);
        writeTo(node, pixels("ab"));
        writeTo(node, kEnd);
    }
    { const Fd again = openNode(O_RDONLY); }
    EXPECT_THAT(record(), ElementsAre("hid-open O_RDWR|O_NONBLOCK|O_CLOEXEC", "hid-get", "hid-set",
                                      "hid-write", "hid-write", "hid-close", "hid-open O_RDONLY",
                                      "hid-close"));
    EXPECT_THAT(journal.list(Kind::HidWrite, first), ElementsAre(pixels("ab"), kEnd));
}

TEST_F(HidrawTest, DescriptorHasTheFlagsThatWereAskedFor) {
    phone.attachCover();
    const Fd keeps = openNode(O_WRONLY | O_NONBLOCK);
    EXPECT_EQ(fcntl(keeps.get(), F_GETFD), 0);
    EXPECT_NE(fcntl(keeps.get(), F_GETFL) & O_NONBLOCK, 0);
    const Fd closes = openNode(O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(fcntl(closes.get(), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(closes.get(), F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(HidrawTest, NonBlockingReadFindsNoInput) {
    phone.attachCover();
    const Fd node = openNode(O_RDWR | O_NONBLOCK);
    char byte;
    EXPECT_EQ(resultOf(read(node.get(), &byte, 1)), -EAGAIN);
}

TEST_F(HidrawTest, WritesNeedADescriptorForWriting) {
    phone.attachCover();
    const Fd node = openNode(O_RDONLY);
    EXPECT_EQ(writeTo(node, kEnd), -EBADF);
    // Feature reports do not.
    EXPECT_EQ(setFeature(node, kOn), 3);
}

TEST_F(HidrawTest, SizesThatTheKernelRefusesDoNotReachThePanel) {
    phone.attachCover();
    const Fd node = openNode(O_RDWR);
    EXPECT_EQ(writeTo(node, ""), -EINVAL);
    EXPECT_EQ(writeTo(node, "\2"), -EINVAL);
    EXPECT_EQ(writeTo(node, std::string(16385, '\2')), -EINVAL);
    std::string one = "\2";
    EXPECT_EQ(getFeature(node, one), -EINVAL);
    EXPECT_EQ(setFeature(node, "\3"), -EINVAL);
    EXPECT_EQ(phone.panelState().refused, 0u);
}

TEST_F(HidrawTest, ReportsThatThePanelRefusesStall) {
    phone.attachCover();
    const Fd node = openNode(O_RDWR);
    EXPECT_EQ(writeTo(node, std::string(4097, '\2')), -EPIPE);
    EXPECT_EQ(writeTo(node, "\2\5\0\0\0\0\0x"s), -EPIPE);
    EXPECT_EQ(setFeature(node, "\3\2"), -EPIPE);
    std::string other = "\5------";
    EXPECT_EQ(getFeature(node, other), -EPIPE);
    EXPECT_EQ(phone.panelState().refused, 4u);
}

TEST_F(HidrawTest, BadPointersAreRefused) {
    phone.attachCover();
    const Fd node = openNode(O_RDWR);
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
    phone.attachCover();
    const Fd null(open("/dev/null", O_RDWR));
    EXPECT_EQ(setFeature(null, kOn), -ENOTTY);
    EXPECT_EQ(setFeature(Fd(), kOn), -EBADF);
    const Fd high(fcntl(null.get(), F_DUPFD, 1000));
    ASSERT_GE(high.get(), 1000);
    EXPECT_EQ(writeTo(high, "abc"), 3);
    EXPECT_THAT(record(), IsEmpty());
}

TEST_F(HidrawTest, ManyAreOpenAtOnceAndEachIsItsOwn) {
    phone.attachCover();
    std::vector<Fd> nodes;
    for (int i = 0; i < 20; ++i) nodes.push_back(openNode(O_WRONLY));
    for (const Fd& node : nodes) EXPECT_EQ(writeTo(node, kEnd), 7);
    nodes.clear();
    EXPECT_EQ(phone.panelState().frames, 20u);
    const std::vector<std::string> lines = record();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "hid-close"), 20);
}

TEST_F(HidrawTest, MoreThanTheProcessCanHaveAreRefused) {
    phone.attachCover();
    std::vector<Fd> nodes;
    for (;;) {
        nodes.push_back(openNode(O_WRONLY));
        if (!nodes.back()) break;
    }
    EXPECT_EQ(errno, EMFILE);
    EXPECT_GT(nodes.size(), 1u);
}

TEST_F(HidrawTest, WhatIsOpenHasNoDeviceBehindADetachment) {
    phone.attachCover();
    const Fd node = openNode(O_RDWR);
    phone.reattachCover();
    EXPECT_EQ(writeTo(node, kEnd), -ENODEV);
    EXPECT_EQ(setFeature(node, kOn), -ENODEV);
    std::string report = "\2------";
    EXPECT_EQ(getFeature(node, report), -ENODEV);
    const Fd again = openNode(O_RDWR);
    EXPECT_EQ(writeTo(again, kEnd), 7);
    EXPECT_EQ(phone.panelState().frames, 1u);
}

TEST_F(HidrawTest, PanelIsDarkAndEmptyAfterAnAttachment) {
    phone.attachCover();
    {
        const Fd node = openNode(O_WRONLY);
        setFeature(node, kOn);
        writeTo(node, kEnd);
    }
    phone.reattachCover();
    EXPECT_EQ(phone.panelState(), cover::PanelState());
}

TEST_F(HidrawTest, ThreadsWriteAtOnceAndNoReportIsTorn) {
    phone.attachCover();
    constexpr int kThreads = 4;
    constexpr int kWrites = 50;
    std::vector<std::thread> writers;
    writers.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i) {
        writers.emplace_back([i] {
            const std::string report = pixels(std::string(4089, static_cast<char>('a' + i)));
            for (int k = 0; k < kWrites; ++k) {
                const Fd node = openNode(O_WRONLY | O_NONBLOCK);
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
    phone.setPanelOptions({4, 2, 4, 1});
    phone.attachCover();
    phone.setFault("hid write short 9 after 1 times 1");
    const Fd node = openNode(O_WRONLY);
    EXPECT_EQ(setFeature(node, kOn), 3);
    EXPECT_EQ(writeTo(node, pixels("\x11\x11\x11\x11")), 11);
    EXPECT_EQ(writeTo(node, pixels("\x22\x22\x22\x22")), 9);
    EXPECT_EQ(writeTo(node, kEnd), 7);
    EXPECT_EQ(phone.panelPicture()->levels, (std::vector<uint8_t>{1, 1, 1, 1, 2, 2, 2, 2}));
    EXPECT_THAT(record(), ElementsAre("hid-open O_WRONLY", "hid-set", "hid-write",
                                      "hid-write passed 9", "hid-write"));
}

TEST_F(HidrawTest, ErrorsAreGivenAsTheyWereAskedFor) {
    phone.attachCover();
    phone.setFault("hid open error ENOENT times 1");
    phone.setFault("hid info error EPIPE");
    phone.setFault("hid config error ETIMEDOUT");
    phone.setFault("hid write error EIO");
    EXPECT_EQ(resultOf(open(kNode, O_RDWR)), -ENOENT);
    const Fd node = openNode(O_RDWR);
    std::string report = "\2------";
    EXPECT_EQ(getFeature(node, report), -EPIPE);
    EXPECT_EQ(setFeature(node, kOn), -ETIMEDOUT);
    EXPECT_EQ(writeTo(node, kEnd), -EIO);
    EXPECT_EQ(phone.panelState(), cover::PanelState());
    EXPECT_THAT(record(), ElementsAre("hid-open O_RDWR ENOENT", "hid-open O_RDWR", "hid-get EPIPE",
                                      "hid-set ETIMEDOUT", "hid-write EIO"));
    phone.clearFaults();
    EXPECT_EQ(writeTo(node, kEnd), 7);
}

TEST_F(HidrawTest, InformationCanComeCutShort) {
    phone.attachCover();
    phone.setFault("hid info short 3");
    const Fd node = openNode(O_RDONLY);
    std::string report = "\2------";
    EXPECT_EQ(getFeature(node, report), 3);
    EXPECT_EQ(report, "\2\x80\0----"s);
}

TEST_F(HidrawTest, CoverIsPulledOffInMidFrame) {
    phone.attachCover();
    phone.setFault("hid write unplug after 1 times 1");
    const Fd node = openNode(O_WRONLY);
    EXPECT_EQ(writeTo(node, pixels("ab")), 9);
    EXPECT_EQ(writeTo(node, pixels("cd")), -ENODEV);
    EXPECT_FALSE(phone.isCoverAttached());
    EXPECT_NE(access(kNode, F_OK), 0);
    EXPECT_EQ(writeTo(node, kEnd), -ENODEV);
}

TEST_F(HidrawTest, CoverIsPulledOffDuringAnOpen) {
    phone.attachCover();
    phone.setFault("hid open unplug");
    EXPECT_EQ(resultOf(open(kNode, O_RDWR)), -ENODEV);
    EXPECT_FALSE(phone.isCoverAttached());
}

TEST_F(HidrawTest, SlowPanelAnswersInTheEnd) {
    phone.attachCover();
    phone.setFault("hid * late 2ms");
    const auto begin = std::chrono::steady_clock::now();
    const Fd node = openNode(O_WRONLY);
    EXPECT_EQ(writeTo(node, kEnd), 7);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(4));
    EXPECT_EQ(phone.panelState().frames, 1u);
}

// A writer that a fault holds up, and the phone meanwhile.
class HeldUpTest : public HidrawTest {
  protected:
    HeldUpTest() {
        phone.attachCover();
        phone.setFault("hid write late 3600s times 1");
    }
    ~HeldUpTest() override {
        if (writer.joinable()) writer.join();
    }

    void start() {
        writer = std::thread([this] {
            const Fd node = openNode(O_WRONLY);
            result = writeTo(node, kEnd);
        });
        // The fault is used up when it holds the write up.
        while (!phone.faults().empty()) {
        }
    }

    int64_t result = 0;
    std::thread writer;
};

TEST_F(HeldUpTest, SlowWriteHoldsUpNobodyElse) {
    start();
    EXPECT_EQ(access(phone::kHalReady, F_OK), 0);
    EXPECT_TRUE(phone.isCoverAttached());
    EXPECT_EQ(phone.panelState().frames, 0u);
    phone.clearFaults();
    writer.join();
    EXPECT_EQ(result, 7);
    EXPECT_EQ(phone.panelState().frames, 1u);
}

TEST_F(HeldUpTest, SlowWriteEndsWhenTheCoverIsPulledOff) {
    start();
    phone.detachCover();
    writer.join();
    EXPECT_EQ(result, -ENODEV);
}

TEST_F(HeldUpTest, ResetLetsItGo) {
    start();
    phone.reset();
    writer.join();
    EXPECT_EQ(result, -ENODEV);
}

TEST_F(HidrawTest, FaultsAreListedAndCleared) {
    phone.setFault("hid write short 9 after 1 times 1");
    EXPECT_THAT(phone.faults(), ElementsAre("hid write short 9 after 1 times 1"));
    phone.clearFaults();
    EXPECT_THAT(phone.faults(), IsEmpty());
    EXPECT_THROW(phone.setFault("hid write break"), phone::Error);
}

TEST_F(HidrawTest, FaultsOfFilesApplyToTheNodeToo) {
    phone.attachCover();
    phone.setFault("node /dev/hidraw0 unwritable");
    EXPECT_EQ(resultOf(open(kNode, O_WRONLY)), -EACCES);
    phone.clearFaults();
    phone.setFault("node /dev/hidraw0 missing");
    EXPECT_EQ(resultOf(open(kNode, O_WRONLY)), -ENOENT);
}

TEST_F(HidrawTest, ResetMakesThePanelAsItWas) {
    phone.setPanelOptions({1, 1, 1, 0});
    phone.attachCover();
    phone.reset();
    EXPECT_EQ(phone.panelOptions(), cover::PanelOptions());
    EXPECT_EQ(phone.panelPicture(), std::nullopt);
}

TEST_F(HidrawTest, HundredFramesLeaveNoDescriptorBehind) {
    phone.attachCover();
    const auto descriptors = [] {
        size_t count = 0;
        for (int fd = 0; fd < 1024; ++fd) {
            if (fcntl(fd, F_GETFD) != -1) ++count;
        }
        return count;
    };
    const size_t before = descriptors();
    for (int i = 0; i < 100; ++i) {
        const Fd node = openNode(O_WRONLY | O_NONBLOCK);
        ASSERT_EQ(writeTo(node, kEnd), 7);
    }
    journal.sync();
    EXPECT_EQ(descriptors(), before);
}

}  // namespace
