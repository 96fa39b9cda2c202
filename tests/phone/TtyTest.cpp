// The cover's tty as the phone's software meets it.

#include <gmock/gmock.h>

#include <cerrno>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include "emulator/phone/Fd.h"
#include "tests/support/PhoneTest.h"

namespace {

using phone::Fd;
using phone::Kind;
using phone::Unread;
using testing::ElementsAre;

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

TEST_F(TtyTest, FirstOpenRaisesDtr) {
    phone.attachCover();
    EXPECT_FALSE(phone.coverState().dtr);
    const Fd tty = openTty();
    EXPECT_TRUE(phone.coverState().dtr);
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
