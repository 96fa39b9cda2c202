// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover's tty as the phone's software meets it: as the kernel's driver for ACM devices has it.

#include <gmock/gmock.h>

#include <cerrno>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <termios.h>
#include <unistd.h>

#include <android-base/unique_fd.h>
#include "tests/support/PhoneTest.h"

namespace {

using android::base::unique_fd;
using phone::Kind;
using phone::Unread;
using support::setLines;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kTty[] = "/dev/ttyACM0";

class TtyTest : public support::PhoneTest {
  protected:
    static unique_fd openTty(const char* node = kTty) {
        return unique_fd(open(node, O_RDWR | O_NOCTTY));
    }

    static unique_fd openNow() { return unique_fd(open(kTty, O_RDWR | O_NOCTTY | O_NONBLOCK)); }

    static void expectDriversSettings(const unique_fd& tty) {
        termios settings = {};
        ASSERT_EQ(tcgetattr(tty.get(), &settings), 0);
        EXPECT_EQ(settings.c_iflag, tcflag_t{ICRNL | IXON});
        EXPECT_EQ(settings.c_oflag, tcflag_t{OPOST | ONLCR});
        EXPECT_EQ(settings.c_cflag, tcflag_t{B9600 | CS8 | CREAD | HUPCL | CLOCAL});
        EXPECT_EQ(settings.c_lflag,
                  tcflag_t{ISIG | ICANON | ECHO | ECHOE | ECHOK | ECHOCTL | ECHOKE | IEXTEN});
        EXPECT_EQ(cfgetospeed(&settings), speed_t{B9600});
    }

    static void expectServicesSettings(const unique_fd& tty) {
        termios settings = {};
        ASSERT_EQ(tcgetattr(tty.get(), &settings), 0);
        EXPECT_EQ(settings.c_iflag, tcflag_t{IGNPAR | IGNCR});
        EXPECT_EQ(settings.c_oflag, 0u);
        EXPECT_EQ(settings.c_cflag, tcflag_t{B115200 | CS8 | CREAD | CLOCAL | CRTSCTS});
        EXPECT_EQ(settings.c_lflag, tcflag_t{ICANON});
    }

    static void send(const unique_fd& tty, const std::string& text) {
        ASSERT_EQ(write(tty.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    // Result of a modem line request, with errno.
    static int changeLines(const unique_fd& tty, unsigned long request, int lines) {
        return ioctl(tty.get(), request, &lines);
    }

    static int modemLines(const unique_fd& tty) {
        int lines = -1;
        return ioctl(tty.get(), TIOCMGET, &lines) == 0 ? lines : -errno;
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

TEST_F(TtyTest, BeginsWithTheSettingsOfTheKernelsDriver) {
    phone.cover.attach();
    expectDriversSettings(openTty());
}

TEST_F(TtyTest, KeepsItsSettingsFromOpenToOpen) {
    phone.cover.attach();
    setLines(openTty());
    expectServicesSettings(openTty());
}

// The kernel's driver keeps them by number, whatever device comes next.
TEST_F(TtyTest, ANumberKeepsItsSettingsOverAReplugUntilTheReset) {
    phone.cover.attach();
    setLines(openTty());
    phone.cover.reattach();
    expectServicesSettings(openTty());
    phone.cover.detach();
    phone.foreignTtys.attach(0, "1d6b\n", "0001\n");
    expectServicesSettings(openTty());
    phone.cover.attach({.tty = 1});
    expectDriversSettings(openTty("/dev/ttyACM1"));
    phone.reset();
    phone.cover.attach();
    expectDriversSettings(openTty());
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

TEST_F(TtyTest, EchoesWhatCameBeforeTheFirstOpen) {
    phone.cover.attach();
    phone.cover.send("mcu up\r\n");
    const unique_fd tty = openTty();
    // A carriage return is a line end to it as well, and each goes out as two bytes.
    journal.waitFor(phone::is(Kind::TtyRx, "mcu up\r"), first);
    setLines(tty);
    EXPECT_EQ(readLine(tty), "mcu up\n");
}

TEST_F(TtyTest, EchoesNothingOnceItIsSet) {
    phone.cover.attach();
    setLines(openTty());
    phone.cover.send("mcu up\r\n");
    EXPECT_EQ(readLine(openTty()), "mcu up\n");
    phone.cover.reattach();
    phone.cover.send("mcu up\r\n");
    EXPECT_EQ(readLine(openTty()), "mcu up\n");
    EXPECT_THAT(journal.list(Kind::TtyRx, first), IsEmpty());
}

class BannerTest : public TtyTest {
  protected:
    void SetUp() override {
        cover::Options options;
        options.banner = "mcu up";
        phone.cover.setOptions(options);
    }
};

TEST_F(BannerTest, ComesBackToTheCoverWhichRefusesIt) {
    phone.cover.attach();
    EXPECT_EQ(journal.joined(Kind::TtyTx, first), "mcu up\r\n");
    const unique_fd tty = openTty();
    setLines(tty);
    EXPECT_EQ(readLine(tty), "mcu up\n");
    EXPECT_EQ(readLine(tty), "\n");
    // The cover's own echo of what it takes for a command, and its answer.
    EXPECT_EQ(readLine(tty), "mcu up\n");
    EXPECT_EQ(readLine(tty), "ERROR\n");
    EXPECT_EQ(phone.cover.state().refused, 1u);
}

TEST_F(BannerTest, IsALineLikeAnyOtherAfterAReplug) {
    phone.cover.attach();
    setLines(openTty());
    phone.cover.reattach();
    const unique_fd tty = openTty();
    EXPECT_EQ(readLine(tty), "mcu up\n");
    send(tty, "ATE0\r");
    EXPECT_EQ(readLine(tty), "ATE0\n");
    EXPECT_EQ(readLine(tty), "OK\n");
    EXPECT_EQ(phone.cover.state().refused, 0u);
}

TEST_F(BannerTest, NeedsATtyAndIsOneLine) {
    phone::CoverOptions options;
    options.withTty = false;
    phone.cover.attach(options);
    EXPECT_THAT(journal.list(Kind::TtyTx, first), IsEmpty());
    for (const char* text : {"a\r", "a\nb"}) {
        cover::Options wrong;
        wrong.banner = text;
        EXPECT_THROW(phone.cover.setOptions(wrong), phone::Error);
    }
    EXPECT_EQ(phone.cover.options().banner, "mcu up");
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

TEST_F(TtyTest, FirstOpenRaisesDtrAndTheLastCloseLeavesItRaised) {
    phone.cover.attach();
    EXPECT_FALSE(phone.cover.state().dtr);
    setLines(openTty());
    journal.sync();
    EXPECT_TRUE(phone.cover.state().dtr);
    EXPECT_THAT(dtrChanges(), ElementsAre("raised"));
}

// As long as nobody has set it otherwise (HUPCL).
TEST_F(TtyTest, TheLastCloseLowersDtrBeforeTheFirstSettings) {
    phone.cover.attach();
    {
        const unique_fd tty = openTty();
        openTty();
        journal.sync();
        EXPECT_TRUE(phone.cover.state().dtr);
    }
    journal.sync();
    EXPECT_FALSE(phone.cover.state().dtr);
    const unique_fd tty = openTty();
    EXPECT_EQ(modemLines(tty), TIOCM_DTR | TIOCM_RTS | TIOCM_CTS);
    EXPECT_THAT(dtrChanges(), ElementsAre("raised", "lowered", "raised"));
}

TEST_F(TtyTest, TellsItsModemLines) {
    phone.cover.attach();
    const unique_fd tty = openTty();
    EXPECT_EQ(modemLines(tty), TIOCM_DTR | TIOCM_RTS | TIOCM_CTS);
    EXPECT_EQ(changeLines(tty, TIOCMBIC, TIOCM_RTS), 0);
    EXPECT_EQ(modemLines(tty), TIOCM_DTR | TIOCM_CTS);
    EXPECT_EQ(changeLines(tty, TIOCMSET, TIOCM_RTS | TIOCM_CD), 0);
    EXPECT_EQ(modemLines(tty), TIOCM_RTS | TIOCM_CTS);
    EXPECT_FALSE(phone.cover.state().dtr);
    const unique_fd other = openTty();
    EXPECT_EQ(modemLines(tty), TIOCM_DTR | TIOCM_RTS | TIOCM_CTS);
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
    setLines(tty);
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
    for (const unsigned long request : {TIOCMBIC, TIOCMGET}) {
        EXPECT_EQ(syscall(SYS_ioctl, tty.get(), request, nullptr), -1);
        EXPECT_EQ(errno, EFAULT);
    }
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
