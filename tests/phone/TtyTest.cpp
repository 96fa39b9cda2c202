// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover's tty as the phone's software meets it: as the kernel's driver for ACM devices has it.

#include <gmock/gmock.h>

#include <thread>

#include <poll.h>
#include <sys/stat.h>

#include "tests/phone/TtyTest.h"

namespace {

using android::base::unique_fd;
using phone::Kind;
using phone::Unread;
using support::setLines;
using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(TtyTest, IsThereWhenTheCoverIs) {
    EXPECT_NE(access(kTty, F_OK), 0);
    phone.cover.attach();
    EXPECT_TRUE(phone.cover.isAttached());
    EXPECT_EQ(access(kTty, F_OK), 0);
    phone.cover.detach();
    EXPECT_FALSE(phone.cover.isAttached());
    EXPECT_NE(access(kTty, F_OK), 0);
}

TEST_F(TtyTest, LosesAtItsLastCloseWhatNobodyHasRead) {
    phone.cover.attach();
    {
        const unique_fd tty = openTty();
        setLines(tty);
        phone.cover.send("one\r\ntwo\r\npart of three");
        EXPECT_EQ(readLine(tty), "one\n");
    }
    const unique_fd tty = openNow();
    EXPECT_EQ(readLine(tty), "error");
    phone.cover.send("\r\n");
    EXPECT_EQ(readLine(tty), "\n");
}

TEST_F(TtyTest, KeepsUnreadLinesAsLongAsADescriptorIsLeft) {
    phone.cover.attach();
    unique_fd tty = openTty();
    setLines(tty);
    const unique_fd other = openTty();
    unique_fd copy(dup(tty.get()));
    phone.cover.send("one\r\ntwo\r\n");
    tty.reset();
    EXPECT_EQ(readLine(other), "one\n");
    EXPECT_EQ(readLine(openTty()), "two\n");
    phone.cover.send("three\r\n");
    EXPECT_EQ(readLine(copy), "three\n");
}

// The host does not ask the device for input then.
TEST_F(TtyTest, LinesThatComeWhileItIsClosedAreThereWithTheNextOpen) {
    phone.cover.attach();
    setLines(openTty());
    for (int i = 0; i < 100; ++i) {
        phone.cover.send("one\r\ntwo\r\n");
        const unique_fd tty = openNow();
        EXPECT_EQ(readLine(tty), "one\n");
        EXPECT_EQ(readLine(tty), "two\n");
        EXPECT_EQ(readLine(tty), "error");
        phone.cover.send("lost\r\n");
    }
}

// Also when two descriptors go one right after the other.
TEST_F(TtyTest, NoCloseIsMissed) {
    phone.cover.attach();
    setLines(openTty());
    for (int i = 0; i < 100; ++i) {
        {
            const unique_fd first = openTty();
            const unique_fd second = openTty();
            phone.cover.send("lost\r\n");
        }
        phone.cover.send("kept\r\n");
        const unique_fd tty = openNow();
        EXPECT_EQ(readLine(tty), "kept\n");
        EXPECT_EQ(readLine(tty), "error");
    }
}

TEST_F(TtyTest, TakesWhatWasWrittenRightBeforeTheLastClose) {
    phone.cover.attach();
    std::string sent;
    for (int i = 0; i < 100; ++i) {
        const unique_fd tty = openTty();
        setLines(tty);
        send(tty, "AT\r");
        sent += "AT\r";
    }
    EXPECT_EQ(journal.joined(Kind::TtyRx, first), sent);
}

TEST_F(TtyTest, AClosedTtyHoldsADepartureUpNoLongerThanItsOwnLines) {
    phone.cover.attach();
    {
        const unique_fd tty = openTty();
        setLines(tty);
        phone.cover.send("lost\r\n");
    }
    // Nobody can read that line any more: the departure does not wait for it.
    phone.cover.detach(Unread::Read);
    EXPECT_FALSE(phone.cover.isAttached());
}

TEST_F(TtyTest, IsOpenedWithTheFlagsOfTheCaller) {
    phone.cover.attach();
    setLines(openTty());
    const unique_fd reader(open(kTty, O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    EXPECT_EQ(fcntl(reader.get(), F_GETFL) & (O_ACCMODE | O_NONBLOCK), O_RDONLY | O_NONBLOCK);
    EXPECT_EQ(fcntl(reader.get(), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(write(reader.get(), "x", 1), -1);
    EXPECT_EQ(errno, EBADF);
    const unique_fd both = openTty();
    EXPECT_EQ(fcntl(both.get(), F_GETFL) & (O_ACCMODE | O_NONBLOCK), O_RDWR);
    EXPECT_EQ(fcntl(both.get(), F_GETFD), 0);
}

TEST_F(TtyTest, OpenThatTheKernelRefusesIsNone) {
    phone.cover.attach();
    EXPECT_EQ(open(kTty, O_RDWR | O_DIRECTORY), -1);
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_EQ(open(kTty, O_RDWR | O_CREAT | O_EXCL, 0600), -1);
    EXPECT_EQ(errno, EEXIST);
    const unique_fd name(open(kTty, O_PATH));
    EXPECT_TRUE(name.ok());
    EXPECT_THAT(journal.list(Kind::TtyOpen, first), IsEmpty());
    EXPECT_FALSE(phone.cover.state().dtr);
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
    setLines(tty);
    send(tty, "AT\rAT%HPD\rAT");
    EXPECT_THAT(journal.list(Kind::TtyRx, first), ElementsAre("AT\r", "AT%HPD\r", "AT"));
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
    setLines(tty);
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
    setLines(tty);
    std::string lines;
    while (lines.size() < 100000) lines += "x\n";
    phone.cover.send(lines);
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
    setLines(tty);
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
        setLines(tty);
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
