// The cover's tty as the phone's software meets it.

#include <gmock/gmock.h>

#include <cerrno>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <termios.h>
#include <unistd.h>

#include "emulator/phone/Fd.h"
#include "tests/support/PhoneTest.h"

namespace {

using phone::Fd;
using phone::Kind;
using phone::Unread;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kTty[] = "/dev/ttyACM0";

class TtyTest : public support::PhoneTest {
  protected:
    static Fd openTty(const char* node = kTty) { return Fd(open(node, O_RDWR | O_NOCTTY)); }

    // The line settings with which each read returns one line.
    static void setLines(const Fd& tty) {
        termios settings = {};
        settings.c_iflag = IGNPAR | IGNCR;
        settings.c_cflag = B115200 | CS8 | CREAD | CLOCAL | CRTSCTS;
        settings.c_lflag = ICANON;
        ASSERT_EQ(tcsetattr(tty.get(), TCSANOW, &settings), 0);
    }

    static void send(const Fd& tty, const std::string& text) {
        ASSERT_EQ(write(tty.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    // Result of a modem line request, with errno.
    static int changeLines(const Fd& tty, unsigned long request, int lines) {
        return ioctl(tty.get(), request, &lines);
    }

    std::vector<std::string> dtrChanges() const {
        std::vector<std::string> changes;
        for (const phone::Entry& entry : journal.since(first)) {
            if (entry.kind == Kind::Dtr) changes.push_back(entry.note);
        }
        return changes;
    }

    static std::string readLine(const Fd& tty) {
        char line[1024];
        const ssize_t count = read(tty.get(), line, sizeof(line));
        return count < 0 ? "error" : std::string(line, static_cast<size_t>(count));
    }
};

TEST_F(TtyTest, IsThereWhenTheCoverIs) {
    EXPECT_NE(access(kTty, F_OK), 0);
    phone.attachCover();
    EXPECT_TRUE(phone.isCoverAttached());
    EXPECT_EQ(access(kTty, F_OK), 0);
    phone.detachCover();
    EXPECT_FALSE(phone.isCoverAttached());
    EXPECT_NE(access(kTty, F_OK), 0);
}

TEST_F(TtyTest, IsRawAndWithoutEchoFromTheStart) {
    phone.attachCover();
    const Fd tty = openTty();
    termios settings;
    ASSERT_EQ(tcgetattr(tty.get(), &settings), 0);
    EXPECT_EQ(settings.c_lflag & (ICANON | ECHO | ISIG), 0u);
    EXPECT_EQ(settings.c_oflag & OPOST, 0u);
}

TEST_F(TtyTest, CarriesACommandAndItsAnswer) {
    phone.attachCover();
    const Fd tty = openTty();
    setLines(tty);
    send(tty, "ATE0\r");
    // The cover echoes until it is told not to.
    EXPECT_EQ(readLine(tty), "ATE0\n");
    EXPECT_EQ(readLine(tty), "OK\n");
}

TEST_F(TtyTest, JournalHoldsEveryByteInOrder) {
    phone.attachCover();
    const Fd tty = openTty();
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
    phone.attachCover();
    const Fd tty = openTty();
    send(tty, "AT\rAT%HPD\rAT");
    EXPECT_THAT(journal.list(Kind::TtyRx, first), ElementsAre("AT\r", "AT%HPD\r", "AT"));
}

TEST_F(TtyTest, FirstOpenRaisesDtrAndTheLastCloseLeavesItRaised) {
    phone.attachCover();
    EXPECT_FALSE(phone.coverState().dtr);
    { const Fd tty = openTty(); }
    EXPECT_TRUE(phone.coverState().dtr);
    EXPECT_THAT(dtrChanges(), ElementsAre("raised"));
}

TEST_F(TtyTest, DtrFollowsTheModemLineRequests) {
    phone.attachCover();
    const Fd tty = openTty();
    EXPECT_EQ(changeLines(tty, TIOCMBIC, TIOCM_DTR), 0);
    EXPECT_FALSE(phone.coverState().dtr);
    EXPECT_EQ(changeLines(tty, TIOCMBIS, TIOCM_DTR | TIOCM_RTS), 0);
    EXPECT_TRUE(phone.coverState().dtr);
    EXPECT_EQ(changeLines(tty, TIOCMBIS, TIOCM_DTR), 0);
    EXPECT_EQ(changeLines(tty, TIOCMBIC, TIOCM_RTS), 0);
    EXPECT_TRUE(phone.coverState().dtr);
    // Only changes are told.
    EXPECT_THAT(dtrChanges(), ElementsAre("raised", "lowered", "raised"));
}

TEST_F(TtyTest, NextOpenRaisesDtrThatWasLowered) {
    phone.attachCover();
    {
        const Fd tty = openTty();
        ASSERT_EQ(changeLines(tty, TIOCMBIC, TIOCM_DTR), 0);
    }
    EXPECT_FALSE(phone.coverState().dtr);
    const Fd tty = openTty();
    EXPECT_TRUE(phone.coverState().dtr);
}

TEST_F(TtyTest, DtrIsDownAtEachAttachment) {
    phone.attachCover();
    const Fd gone = openTty();
    phone.reattachCover();
    EXPECT_FALSE(phone.coverState().dtr);
    // A descriptor of the tty that hung up reaches nobody, even if the new pty has the same name.
    EXPECT_EQ(changeLines(gone, TIOCMBIS, TIOCM_DTR), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_FALSE(phone.coverState().dtr);
}

TEST_F(TtyTest, DtrComesBehindWhatWasWrittenBefore) {
    phone.attachCover();
    const Fd tty = openTty();
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
    phone.attachCover();
    const Fd tty = openTty();
    // Not by the C library's function, whose argument a sanitizer would look at.
    EXPECT_EQ(syscall(SYS_ioctl, tty.get(), TIOCMBIC, nullptr), -1);
    EXPECT_EQ(errno, EFAULT);
    EXPECT_TRUE(phone.coverState().dtr);
}

TEST_F(TtyTest, ModemLineRequestsOnOtherFilesAreTheKernelsToAnswer) {
    phone.attachCover();
    const Fd null(open("/dev/null", O_RDWR));
    EXPECT_EQ(changeLines(null, TIOCMBIS, TIOCM_DTR), -1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(changeLines(Fd(), TIOCMBIS, TIOCM_DTR), -1);
    EXPECT_EQ(errno, EBADF);
    // Other requests on the tty too.
    const Fd tty = openTty();
    int lines = 0;
    EXPECT_EQ(ioctl(tty.get(), FIONREAD, &lines), 0);
}

TEST_F(TtyTest, ForeignTtyHasModemLinesThatTheCoverDoesNotSee) {
    phone.attachForeignTty(1, "1d6b\n", "0001\n");
    phone.attachCover();
    const Fd tty = openTty("/dev/ttyACM1");
    EXPECT_EQ(changeLines(tty, TIOCMBIC, TIOCM_DTR), 0);
    EXPECT_EQ(changeLines(tty, TIOCMBIS, TIOCM_DTR), 0);
    EXPECT_FALSE(phone.coverState().dtr);
    EXPECT_THAT(dtrChanges(), IsEmpty());
}

TEST_F(TtyTest, LogFlowsOnlyWhileDtrIsRaised) {
    phone.attachCover();
    const Fd tty = openTty();
    setLines(tty);
    send(tty, "ATE0\rAT%LOGSAVE=2\r");
    while (readLine(tty) != "OK\n") {
    }
    while (readLine(tty) != "OK\n") {
    }
    EXPECT_TRUE(phone.logFromCover("one"));
    EXPECT_EQ(readLine(tty), "one\n");
    ASSERT_EQ(changeLines(tty, TIOCMBIC, TIOCM_DTR), 0);
    EXPECT_FALSE(phone.logFromCover("two"));
    ASSERT_EQ(changeLines(tty, TIOCMBIS, TIOCM_DTR), 0);
    EXPECT_TRUE(phone.logFromCover("three"));
    EXPECT_EQ(readLine(tty), "three\n");
}

// Each answer is whole, whatever the cover says before and after it.
TEST_F(TtyTest, ChatterAtFullSpeedLeavesAnswersWhole) {
    phone.attachCover();
    const Fd tty = openTty();
    setLines(tty);
    send(tty, "ATE0\rAT%LOGSAVE=0\r");
    while (readLine(tty) != "OK\n") {
    }
    while (readLine(tty) != "OK\n") {
    }
    phone.setChatter(cover::Chatter{});
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
    phone.attachCover();
    const Fd tty = openTty();
    send(tty, "AT%LOGSAVE=0\r");
    phone.setChatter(cover::Chatter{"chatter"});
    journal.waitFor([](const phone::Entry& e) { return e.bytes.starts_with("chatter 1\r\n"); },
                    first);
    uint64_t last = 0;
    while (last != journal.next()) {
        last = journal.next();
        for (int turn = 0; turn < 20; ++turn) phone.coverState();
    }
    EXPECT_LT(journal.joined(Kind::TtyTx, first).size(), 1u << 20);
    phone.detachCover();
    EXPECT_FALSE(phone.isCoverAttached());
}

TEST_F(TtyTest, LinesOfTheLogThatAreNoLinesAreRefused) {
    phone.attachCover();
    for (const char* text : {"a\nb", "\r"}) {
        EXPECT_THROW(phone.logFromCover(text), phone::Error);
        EXPECT_THROW(phone.setChatter(cover::Chatter{text}), phone::Error);
    }
    EXPECT_THROW(phone.setChatter(cover::Chatter{"x", std::chrono::seconds(-1)}), phone::Error);
    EXPECT_EQ(phone.chatter(), std::nullopt);
}

TEST_F(TtyTest, UnreadLinesDieWhenTheCoverIsPulledOff) {
    phone.attachCover();
    const Fd tty = openTty();
    setLines(tty);
    phone.sendFromCover("hello\r\n");
    phone.detachCover(Unread::Lost);
    pollfd state = {tty.get(), POLLIN, 0};
    EXPECT_EQ(poll(&state, 1, -1), 1);
    EXPECT_NE(state.revents & POLLHUP, 0);
    EXPECT_EQ(readLine(tty), "");
}

TEST_F(TtyTest, UnreadLinesAreReadBeforeADepartureThatWaitsForThem) {
    for (int i = 0; i < 20; ++i) {
        phone.attachCover();
        const Fd tty = openTty();
        setLines(tty);
        phone.sendFromCover("one\r\ntwo\r\n");
        std::thread leaver([this] { phone.detachCover(Unread::Read); });
        EXPECT_EQ(readLine(tty), "one\n");
        EXPECT_EQ(readLine(tty), "two\n");
        leaver.join();
        EXPECT_FALSE(phone.isCoverAttached());
    }
}

TEST_F(TtyTest, DepartureGivesUpOnAPhoneThatNeverReads) {
    phone.attachCover();
    const Fd tty = openTty();
    phone.sendFromCover(std::string(100000, 'x'));
    phone.detachCover(Unread::Read);
    EXPECT_FALSE(phone.isCoverAttached());
}

TEST_F(TtyTest, HangUpFaultTakesTheCoverAwayAfterWhatWasSent) {
    phone.setFault("on AT%SWV hangup after 9");
    phone.attachCover();
    const Fd tty = openTty();
    setLines(tty);
    send(tty, "AT%SWV\r");
    std::string all;
    for (std::string line = readLine(tty); !line.empty() && line != "error"; line = readLine(tty)) {
        all += line;
    }
    EXPECT_EQ(all, "AT%SWV\n");
    journal.waitFor([](const phone::Entry& e) { return e.kind == Kind::Detach; }, first);
    EXPECT_FALSE(phone.isCoverAttached());
    EXPECT_NE(access(kTty, F_OK), 0);
}

TEST_F(TtyTest, MoreThanThePtyHoldsArrivesWhole) {
    phone.attachCover();
    const Fd tty = openTty();
    std::string sent;
    for (int i = 0; sent.size() < 300000; ++i) sent += std::to_string(i) + "\n";
    phone.sendFromCover(sent);
    std::string got;
    while (got.size() < sent.size()) got += readLine(tty);
    EXPECT_EQ(got, sent);
}

TEST_F(TtyTest, FloodWithoutAReaderLeavesTheEmulatorAlive) {
    phone.setFault("on AT%SWV flood");
    phone.attachCover();
    {
        const Fd tty = openTty();
        send(tty, "AT%SWV\r");
        journal.waitFor([](const phone::Entry& e) { return e.kind == Kind::TtyTx; }, first);
        EXPECT_EQ(phone.node("/sys/class/tty/ttyACM0/device/../idVendor"), "3e91\n");
    }
    phone.detachCover();
    EXPECT_FALSE(phone.isCoverAttached());
}

TEST_F(TtyTest, ReplyByteByByteComesWhole) {
    phone.setFault("on AT split 1ms");
    phone.attachCover();
    const Fd tty = openTty();
    setLines(tty);
    send(tty, "AT\r");
    EXPECT_EQ(readLine(tty), "AT\n");
    EXPECT_EQ(readLine(tty), "OK\n");
    EXPECT_GT(journal.list(Kind::TtyTx, first).size(), 4u);
}

}  // namespace
