// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// DTR and the other modem lines of the cover's tty.

#include <gmock/gmock.h>

#include <sys/syscall.h>

#include "tests/phone/TtyTest.h"

namespace {

using android::base::unique_fd;
using phone::Kind;
using support::setLines;
using testing::ElementsAre;
using testing::IsEmpty;

class ModemLinesTest : public TtyTest {};

TEST_F(ModemLinesTest, FirstOpenRaisesDtrAndTheLastCloseLeavesItRaised) {
    phone.cover.attach();
    EXPECT_FALSE(phone.cover.state().dtr);
    setLines(openTty());
    journal.sync();
    EXPECT_TRUE(phone.cover.state().dtr);
    EXPECT_THAT(dtrChanges(), ElementsAre("raised"));
}

// As long as nobody has set it otherwise (HUPCL).
TEST_F(ModemLinesTest, TheLastCloseLowersDtrBeforeTheFirstSettings) {
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

TEST_F(ModemLinesTest, TellsItsModemLines) {
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

TEST_F(ModemLinesTest, DtrFollowsTheModemLineRequests) {
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

TEST_F(ModemLinesTest, NextOpenRaisesDtrThatWasLowered) {
    phone.cover.attach();
    {
        const unique_fd tty = openTty();
        ASSERT_EQ(changeLines(tty, TIOCMBIC, TIOCM_DTR), 0);
    }
    EXPECT_FALSE(phone.cover.state().dtr);
    const unique_fd tty = openTty();
    EXPECT_TRUE(phone.cover.state().dtr);
}

TEST_F(ModemLinesTest, DtrIsDownAtEachAttachment) {
    phone.cover.attach();
    const unique_fd gone = openTty();
    phone.cover.reattach();
    EXPECT_FALSE(phone.cover.state().dtr);
    // A descriptor of the tty that hung up reaches nobody, even if the new pty has the same name.
    EXPECT_EQ(changeLines(gone, TIOCMBIS, TIOCM_DTR), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_FALSE(phone.cover.state().dtr);
}

TEST_F(ModemLinesTest, DtrComesBehindWhatWasWrittenBefore) {
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

TEST_F(ModemLinesTest, ModemLineRequestsWithABadPointerAreRefused) {
    phone.cover.attach();
    const unique_fd tty = openTty();
    // Not by the C library's function, whose argument a sanitizer would look at.
    for (const unsigned long request : {TIOCMBIC, TIOCMGET}) {
        EXPECT_EQ(syscall(SYS_ioctl, tty.get(), request, nullptr), -1);
        EXPECT_EQ(errno, EFAULT);
    }
    EXPECT_TRUE(phone.cover.state().dtr);
}

TEST_F(ModemLinesTest, ModemLineRequestsOnOtherFilesAreTheKernelsToAnswer) {
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

TEST_F(ModemLinesTest, ForeignTtyHasModemLinesThatTheCoverDoesNotSee) {
    phone.foreignTtys.attach(1, "1d6b\n", "0001\n");
    phone.cover.attach();
    const unique_fd tty = openTty("/dev/ttyACM1");
    EXPECT_EQ(changeLines(tty, TIOCMBIC, TIOCM_DTR), 0);
    EXPECT_EQ(changeLines(tty, TIOCMBIS, TIOCM_DTR), 0);
    EXPECT_FALSE(phone.cover.state().dtr);
    EXPECT_THAT(dtrChanges(), IsEmpty());
}

TEST_F(ModemLinesTest, ModemLinesOfATtyThatHasHungUpAreOutOfReach) {
    phone.cover.attach();
    const unique_fd tty = openTty();
    phone.cover.detach();
    EXPECT_EQ(changeLines(tty, TIOCMBIC, TIOCM_DTR), -1);
    EXPECT_EQ(errno, EIO);
}

}  // namespace
