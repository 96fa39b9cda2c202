// The cover's tty as the phone's software meets it.

#include <gmock/gmock.h>

#include <cerrno>

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

}  // namespace
