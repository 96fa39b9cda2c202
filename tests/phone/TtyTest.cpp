// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover's tty as the phone's software meets it.

#include <gmock/gmock.h>

#include <cerrno>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <termios.h>
#include <unistd.h>

#include <android-base/unique_fd.h>
#include "tests/support/PhoneTest.h"

namespace {

using android::base::unique_fd;
using phone::Kind;
using phone::Unread;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kTty[] = "/dev/ttyACM0";

class TtyTest : public support::PhoneTest {
  protected:
    static unique_fd openTty(const char* node = kTty) {
        return unique_fd(open(node, O_RDWR | O_NOCTTY));
    }

    // The line settings with which each read returns one line.
    static void setLines(const unique_fd& tty) {
        termios settings = {};
        settings.c_iflag = IGNPAR | IGNCR;
        settings.c_cflag = B115200 | CS8 | CREAD | CLOCAL | CRTSCTS;
        settings.c_lflag = ICANON;
        ASSERT_EQ(tcsetattr(tty.get(), TCSANOW, &settings), 0);
    }

    static void send(const unique_fd& tty, const std::string& text) {
        ASSERT_EQ(write(tty.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    // Result of a modem line request, with errno.
    static int changeLines(const unique_fd& tty, unsigned long request, int lines) {
        return ioctl(tty.get(), request, &lines);
    }

    std::vector<std::string> dtrChanges() const {
        std::vector<std::string> changes;
        for (const phone::Entry& entry : journal.since(first)) {
            if (entry.kind == Kind::Dtr) changes.push_back(entry.note);
        }
        return changes;
    }

    static std::string readLine(const unique_fd& tty) {
        char line[1024];
        const ssize_t count = read(tty.get(), line, sizeof(line));
        return count < 0 ? "error" : std::string(line, static_cast<size_t>(count));
    }
};

TEST_F(TtyTest, IsThereWhenTheCoverIs) {
    EXPECT_NE(access(kTty, F_OK), 0);
    phone.cover.attach();
    EXPECT_TRUE(phone.cover.isAttached());
    EXPECT_EQ(access(kTty, F_OK), 0);
    phone.cover.detach();
    EXPECT_FALSE(phone.cover.isAttached());
    EXPECT_NE(access(kTty, F_OK), 0);
}

TEST_F(TtyTest, IsRawAndWithoutEchoFromTheStart) {
    phone.cover.attach();
    const unique_fd tty = openTty();
    termios settings;
    ASSERT_EQ(tcgetattr(tty.get(), &settings), 0);
    EXPECT_EQ(settings.c_lflag & (ICANON | ECHO | ISIG), 0u);
    EXPECT_EQ(settings.c_oflag & OPOST, 0u);
}

TEST_F(TtyTest, CarriesACommandAndItsAnswer) {
    phone.cover.attach();
    const unique_fd tty = openTty();
    setLines(tty);
    send(tty, "ATE0\r");
    // The cover echoes until a command ends that.
    EXPECT_EQ(readLine(tty), "ATE0\n");
    EXPECT_EQ(readLine(tty), "OK\n");
}

TEST_F(TtyTest, JournalHoldsEveryByteInOrder) {
    phone.cover.attach();
    const unique_fd tty = openTty();
    setLines(tty);
    send(tty, "ATE0\r");
    while (readLine(tty) != "OK\n") {
    }
    send(tty, "AT%HPD\r");
    while (readLine(tty) != "OK\n") {
    }
    EXPECT_THAT(journal.list(Kind::TtyRx, first), ElementsAre("ATE0\r", "AT%HPD\r"));
    EXPECT_EQ(journal.joined(Kind::TtyTx, first), "ATE0\r\r\nOK\r\n\r\nOff\r\nOK\r\n");
}

TEST_F(TtyTest, TwoCommandsInOneWriteAreTwoEntries) {
    phone.cover.attach();
    const unique_fd tty = openTty();
    send(tty, "AT\rAT%HPD\rAT");
    EXPECT_THAT(journal.list(Kind::TtyRx, first), ElementsAre("AT\r", "AT%HPD\r", "AT"));
}

TEST_F(TtyTest, FirstOpenRaisesDtrAndTheLastCloseLeavesItRaised) {
    phone.cover.attach();
    EXPECT_FALSE(phone.cover.state().dtr);
    { const unique_fd tty = openTty(); }
    EXPECT_TRUE(phone.cover.state().dtr);
    EXPECT_THAT(dtrChanges(), ElementsAre("raised"));
}

TEST_F(TtyTest, DtrFollowsTheModemLineRequests) {
    phone.cover.attach();
    const unique_fd tty = openTty();
    EXPECT_EQ(changeLines(tty, TIOCMBIC, TIOCM_DTR), 0);
    EXPECT_FALSE(phone.cover.state().dtr);
    EXPECT_EQ(changeLines(tty, TIOCMBIS, TIOCM_DTR | TIOCM_RTS), 0);
    EXPECT_TRUE(phone.cover.state().dtr);
    EXPECT_EQ(changeLines(tty, TIOCMBIS, TIOCM_DTR), 0);
    EXPECT_EQ(changeLines(tty, TIOCMBIC, TIOCM_RTS), 0);
    EXPECT_TRUE(phone.cover.state().dtr);
    // Only changes are reported.
    EXPECT_THAT(dtrChanges(), ElementsAre("raised", "lowered", "raised"));
}

TEST_F(TtyTest, NextOpenRaisesDtrThatWasLowered) {
    phone.cover.attach();
    {
        const unique_fd tty = openTty();
        ASSERT_EQ(changeLines(tty, TIOCMBIC, TIOCM_DTR), 0);
    }
    EXPECT_FALSE(phone.cover.state().dtr);
    const unique_fd tty = openTty();
    EXPECT_TRUE(phone.cover.state().dtr);
}

TEST_F(TtyTest, DtrIsDownAtEachAttachment) {
    phone.cover.attach();
    const unique_fd gone = openTty();
    phone.cover.reattach();
    EXPECT_FALSE(phone.cover.state().dtr);
    // A descriptor of the tty that hung up reaches nobody, even if the new pty has the same name.
    EXPECT_EQ(changeLines(gone, TIOCMBIS, TIOCM_DTR), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_FALSE(phone.cover.state().dtr);
}

TEST_F(TtyTest, DtrComesBehindWhatWasWrittenBefore) {
    phone.cover.attach();
    const unique_fd tty = openTty();
    send(tty, "AT\r");
    ASSERT_EQ(changeLines(tty, TIOCMBIC, TIOCM_DTR), 0);
    send(tty, "ATE0\r");
    std::vector<std::string> order;
    for (const phone::Entry& entry : journal.since(first)) {
        if (entry.kind == Kind::TtyRx) order.push_back(entry.bytes);
        if (entry.kind == Kind::Dtr) order.push_back(entry.note);
    }
    EXPECT_THAT(order, ElementsAre("raised", "AT\r", "lowered", "ATE0\r"));
}

TEST_F(TtyTest, ModemLineRequestsWithABadPointerAreRefused) {
    phone.cover.attach();
    const unique_fd tty = openTty();
    // Not by the C library's function, whose argument a sanitizer would look at.
    EXPECT_EQ(syscall(SYS_ioctl, tty.get(), TIOCMBIC, nullptr), -1);
    EXPECT_EQ(errno, EFAULT);
    EXPECT_TRUE(phone.cover.state().dtr);
}

TEST_F(TtyTest, ModemLineRequestsOnOtherFilesAreTheKernelsToAnswer) {
    phone.cover.attach();
    const unique_fd null(open("/dev/null", O_RDWR));
    EXPECT_EQ(changeLines(null, TIOCMBIS, TIOCM_DTR), -1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(changeLines(unique_fd(), TIOCMBIS, TIOCM_DTR), -1);
    EXPECT_EQ(errno, EBADF);
    // Other requests on the tty too.
    const unique_fd tty = openTty();
    int lines = 0;
    EXPECT_EQ(ioctl(tty.get(), FIONREAD, &lines), 0);
}

TEST_F(TtyTest, ForeignTtyHasModemLinesThatTheCoverDoesNotSee) {
    phone.foreignTtys.attach(1, "1d6b\n", "0001\n");
    phone.cover.attach();
    const unique_fd tty = openTty("/dev/ttyACM1");
    EXPECT_EQ(changeLines(tty, TIOCMBIC, TIOCM_DTR), 0);
    EXPECT_EQ(changeLines(tty, TIOCMBIS, TIOCM_DTR), 0);
    EXPECT_FALSE(phone.cover.state().dtr);
    EXPECT_THAT(dtrChanges(), IsEmpty());
}

TEST_F(TtyTest, LogFlowsOnlyWhileDtrIsRaised) {
    phone.cover.attach();
    const unique_fd tty = openTty();
    setLines(tty);
    send(tty, "ATE0\rAT%LOGSAVE=2\r");
    while (readLine(tty) != "OK\n") {
    }
    while (readLine(tty) != "OK\n") {
    }
    EXPECT_TRUE(phone.cover.log("one"));
    EXPECT_EQ(readLine(tty), "one\n");
    ASSERT_EQ(changeLines(tty, TIOCMBIC, TIOCM_DTR), 0);
    EXPECT_FALSE(phone.cover.log("two"));
    ASSERT_EQ(changeLines(tty, TIOCMBIS, TIOCM_DTR), 0);
    EXPECT_TRUE(phone.cover.log("three"));
    EXPECT_EQ(readLine(tty), "three\n");
}

// Each answer is whole, whatever the cover sends before and after it.
TEST_F(TtyTest, ChatterAtFullSpeedLeavesAnswersWhole) {
    phone.cover.attach();
    const unique_fd tty = openTty();
    setLines(tty);
    send(tty, "ATE0\rAT%LOGSAVE=0\r");
    while (readLine(tty) != "OK\n") {
    }
    while (readLine(tty) != "OK\n") {
    }
    phone.cover.setChatter(cover::Chatter{});
    for (int i = 0; i < 200; ++i) {
        send(tty, "AT%SWV\r");
        int stray = 0;
        while (readLine(tty) != "\n") ++stray;
        EXPECT_GT(stray, 0);
        ASSERT_EQ(readLine(tty), "BV330-V10k_20210312\n");
        ASSERT_EQ(readLine(tty), "OK\n");
    }
}

TEST_F(TtyTest, ChatterThatNobodyReadsStopsWhenThePtyIsFull) {
    phone.cover.attach();
    const unique_fd tty = openTty();
    send(tty, "AT%LOGSAVE=0\r");
    phone.cover.setChatter(cover::Chatter{"chatter"});
    journal.waitFor([](const phone::Entry& e) { return e.bytes.starts_with("chatter 1\r\n"); },
                    first);
    uint64_t last = 0;
    while (last != journal.next()) {
        last = journal.next();
        for (int turn = 0; turn < 20; ++turn) phone.cover.state();
    }
    EXPECT_LT(journal.joined(Kind::TtyTx, first).size(), 1u << 20);
    phone.cover.detach();
    EXPECT_FALSE(phone.cover.isAttached());
}

TEST_F(TtyTest, LinesOfTheLogThatAreNoLinesAreRefused) {
    phone.cover.attach();
    for (const char* text : {"a\nb", "\r"}) {
        EXPECT_THROW(phone.cover.log(text), phone::Error);
        EXPECT_THROW(phone.cover.setChatter(cover::Chatter{text}), phone::Error);
    }
    EXPECT_THROW(phone.cover.setChatter(cover::Chatter{"x", std::chrono::seconds(-1)}),
                 phone::Error);
    EXPECT_EQ(phone.cover.chatter(), std::nullopt);
}

TEST_F(TtyTest, UnreadLinesDieWhenTheCoverIsPulledOff) {
    phone.cover.attach();
    const unique_fd tty = openTty();
    setLines(tty);
    phone.cover.send("hello\r\n");
    phone.cover.detach(Unread::Lost);
    pollfd state = {tty.get(), POLLIN, 0};
    EXPECT_EQ(poll(&state, 1, -1), 1);
    EXPECT_NE(state.revents & POLLHUP, 0);
    EXPECT_EQ(readLine(tty), "");
}

// As the kernel's ACM driver, which takes node and folder away after it has hung the tty up. They
// stay for a moment only, so one look in many may come too late.
TEST_F(TtyTest, HangUpComesWhileNodeAndFolderAreStillThere) {
    bool seen = false;
    for (int i = 0; i < 100 && !seen; ++i) {
        phone.cover.attach();
        std::thread reader([&seen, tty = openTty()] {
            pollfd state = {tty.get(), 0, 0};
            poll(&state, 1, -1);
            struct stat status;
            seen = lstat(kTty, &status) == 0 &&
                   access("/sys/class/tty/ttyACM0/device/../power/control", F_OK) == 0 &&
                   access("/sys/bus/usb/devices/1-1", F_OK) == 0 &&
                   open(kTty, O_RDWR | O_NOCTTY) == -1 && errno == ENODEV;
        });
        phone.cover.detach();
        reader.join();
        EXPECT_NE(access("/sys/class/tty/ttyACM0", F_OK), 0);
        EXPECT_NE(access("/sys/bus/usb/devices/1-1", F_OK), 0);
        EXPECT_EQ(openTty().get(), -1);
        EXPECT_EQ(errno, ENOENT);
    }
    EXPECT_TRUE(seen);
}

TEST_F(TtyTest, NothingOfATtyGoesBeforeItsHangUp) {
    for (int i = 0; i < 50; ++i) {
        phone.cover.attach();
        std::thread watcher([tty = openTty()] {
            struct stat status;
            while (lstat(kTty, &status) == 0) continue;
            pollfd state = {tty.get(), 0, 0};
            EXPECT_EQ(poll(&state, 1, 0), 1);
        });
        phone.cover.detach();
        watcher.join();
    }
}

TEST_F(TtyTest, ModemLinesOfATtyThatHasHungUpAreOutOfReach) {
    phone.cover.attach();
    const unique_fd tty = openTty();
    phone.cover.detach();
    EXPECT_EQ(changeLines(tty, TIOCMBIC, TIOCM_DTR), -1);
    EXPECT_EQ(errno, EIO);
}

TEST_F(TtyTest, UnreadLinesAreReadBeforeADepartureThatWaitsForThem) {
    for (int i = 0; i < 20; ++i) {
        phone.cover.attach();
        const unique_fd tty = openTty();
        setLines(tty);
        phone.cover.send("one\r\ntwo\r\n");
        std::thread leaver([this] { phone.cover.detach(Unread::Read); });
        EXPECT_EQ(readLine(tty), "one\n");
        EXPECT_EQ(readLine(tty), "two\n");
        leaver.join();
        EXPECT_FALSE(phone.cover.isAttached());
    }
}

TEST_F(TtyTest, DepartureGivesUpOnAPhoneThatNeverReads) {
    phone.cover.attach();
    const unique_fd tty = openTty();
    phone.cover.send(std::string(100000, 'x'));
    phone.cover.detach(Unread::Read);
    EXPECT_FALSE(phone.cover.isAttached());
}

TEST_F(TtyTest, HangUpFaultTakesTheCoverAwayAfterWhatWasSent) {
    phone.faults.set("on AT%SWV hangup after 9");
    phone.cover.attach();
    const unique_fd tty = openTty();
    setLines(tty);
    send(tty, "AT%SWV\r");
    std::string all;
    for (std::string line = readLine(tty); !line.empty() && line != "error"; line = readLine(tty)) {
        all += line;
    }
    EXPECT_EQ(all, "AT%SWV\n");
    journal.waitFor([](const phone::Entry& e) { return e.kind == Kind::Detach; }, first);
    EXPECT_FALSE(phone.cover.isAttached());
    EXPECT_NE(access(kTty, F_OK), 0);
}

TEST_F(TtyTest, MoreThanThePtyHoldsArrivesWhole) {
    phone.cover.attach();
    const unique_fd tty = openTty();
    std::string sent;
    for (int i = 0; sent.size() < 300000; ++i) sent += std::to_string(i) + "\n";
    phone.cover.send(sent);
    std::string got;
    while (got.size() < sent.size()) got += readLine(tty);
    EXPECT_EQ(got, sent);
}

TEST_F(TtyTest, FloodWithoutAReaderLeavesTheEmulatorAlive) {
    phone.faults.set("on AT%SWV flood");
    phone.cover.attach();
    {
        const unique_fd tty = openTty();
        send(tty, "AT%SWV\r");
        journal.waitFor([](const phone::Entry& e) { return e.kind == Kind::TtyTx; }, first);
        EXPECT_EQ(phone.files.get("/sys/class/tty/ttyACM0/device/../idVendor"), "3e91\n");
    }
    phone.cover.detach();
    EXPECT_FALSE(phone.cover.isAttached());
}

TEST_F(TtyTest, ReplyByteByByteComesWhole) {
    phone.faults.set("on AT split 1ms");
    phone.cover.attach();
    const unique_fd tty = openTty();
    setLines(tty);
    send(tty, "AT\r");
    EXPECT_EQ(readLine(tty), "AT\n");
    EXPECT_EQ(readLine(tty), "OK\n");
    EXPECT_GT(journal.list(Kind::TtyTx, first).size(), 4u);
}

}  // namespace
