// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Line settings of the cover's tty, which begin with echo, and what the echo does.

#include <gmock/gmock.h>

#include <termios.h>

#include "tests/phone/TtyTest.h"

namespace {

using android::base::unique_fd;
using phone::Kind;
using support::setLines;
using testing::IsEmpty;

class LineSettingsTest : public TtyTest {
  protected:
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
};

TEST_F(LineSettingsTest, BeginsWithTheSettingsOfTheKernelsDriver) {
    phone.cover.attach();
    expectDriversSettings(openTty());
}

TEST_F(LineSettingsTest, KeepsItsSettingsFromOpenToOpen) {
    phone.cover.attach();
    setLines(openTty());
    expectServicesSettings(openTty());
}

// The kernel forgets the settings of a number when a new device gets it.
TEST_F(LineSettingsTest, ANewDeviceBeginsWithTheDriversSettings) {
    phone.cover.attach();
    setLines(openTty());
    phone.cover.reattach();
    expectDriversSettings(openTty());
    setLines(openTty());
    phone.cover.detach();
    phone.foreignTtys.attach(0, "1d6b\n", "0001\n");
    expectDriversSettings(openTty());
}

TEST_F(LineSettingsTest, EchoesWhatCameBeforeTheFirstOpen) {
    phone.cover.attach();
    phone.cover.send("mcu up\r\n");
    const unique_fd tty = openTty();
    // A carriage return is a line end to it as well, and each goes out as two bytes.
    journal.waitFor(phone::is(Kind::TtyRx, "mcu up\r"), first);
    setLines(tty);
    EXPECT_EQ(readLine(tty), "mcu up\n");
}

TEST_F(LineSettingsTest, EchoesNothingOnceItIsSet) {
    phone.cover.attach();
    setLines(openTty());
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
    // After a replug too.
    for (const bool again : {false, true}) {
        if (again) phone.cover.reattach();
        const unique_fd tty = openTty();
        setLines(tty);
        EXPECT_EQ(readLine(tty), "mcu up\n");
        EXPECT_EQ(readLine(tty), "\n");
        // The cover's own echo of what it takes for a command, and its answer.
        EXPECT_EQ(readLine(tty), "mcu up\n");
        EXPECT_EQ(readLine(tty), "ERROR\n");
        EXPECT_EQ(phone.cover.state().refused, 1u);
    }
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

}  // namespace
