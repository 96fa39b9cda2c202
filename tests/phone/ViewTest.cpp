// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivista-emulator ctl view: pictures in a pipe and on a terminal.

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include <sys/ioctl.h>
#include <sys/wait.h>

#include "tests/phone/Program.h"
#include "tests/tools/Terminal.h"

namespace {

using program::linesOf;
using program::ProgramTest;
using support::Outcome;
using support::Process;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

constexpr char kEnter[] = "\033[?1049h\033[?25l";
constexpr char kLeave[] = "\033[?25h\033[?1049l";
constexpr char kEndOfPicture[] = "\033[J";

using ViewProgramTest = ProgramTest;

class ViewTest : public ProgramTest {
  protected:
    ViewTest() : mPhone(stayingUp()) {
        mPhone.waitFor("up\n");
        setenv("TERM", "xterm", 1);
        unsetenv("NO_COLOR");
        unsetenv("COLORTERM");
    }
    ~ViewTest() override { EXPECT_EQ(mPhone.wait(), 0); }

    // A view that draws on a terminal of this size.
    std::unique_ptr<Process> startOn(Terminal& terminal, unsigned short rows,
                                     unsigned short columns) {
        resize(terminal, rows, columns);
        return std::make_unique<Process>(
                emulator({"ctl", "view"}),
                support::ProcessOptions{.standardOutput = terminal.writer()});
    }
    static void resize(const Terminal& terminal, unsigned short rows, unsigned short columns) {
        const winsize size = {.ws_row = rows, .ws_col = columns};
        EXPECT_EQ(ioctl(terminal.writer(), TIOCSWINSZ, &size), 0);
    }

    Process mPhone;
};

TEST_F(ViewTest, IsOnePictureInCharactersInAPipe) {
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"view"}, {"view", "--once"}}) {
        const std::vector<std::string> shown = linesOf(ctl(words).out);
        ASSERT_THAT(shown, SizeIs(24));
        EXPECT_EQ(shown[19], "cover: attached, firmware BV330-V10k_20210312, loader absent");
        EXPECT_EQ(shown[20], "screen: off");
        EXPECT_EQ(shown[21], "sub display: off, 128 x 128, format 4, frames 0");
        EXPECT_EQ(shown[22], "upgrade: none");
        EXPECT_EQ(shown[23], "faults: none");
        // The frame of the cover, and of the sub display beside it.
        EXPECT_THAT(shown[9], StartsWith("-                -  -     "));
        for (size_t i = 0; i < 19; ++i) EXPECT_EQ(shown[i].size(), 80u);
    }
}

TEST_F(ViewTest, SaysWhatThereIs) {
    ctl({"fault", "on AT silent"});
    ctl({"subdisplay", "--width", "65535", "--height", "65535"});
    ctl({"detach"});
    const std::vector<std::string> shown = linesOf(ctl({"view", "--once"}).out);
    ASSERT_THAT(shown, SizeIs(24));
    EXPECT_THAT(shown[19], StartsWith("cover: detached"));
    EXPECT_EQ(shown[21], "sub display: absent");
    EXPECT_EQ(shown[23], "faults: on AT silent (met 0)");
    EXPECT_THAT(shown[9], Not(HasSubstr("-")));
}

TEST_F(ViewTest, HasTheColoursOfTheTerminal) {
    const std::string palette = ctl({"--color", "always", "view", "--once"}).out;
    EXPECT_THAT(palette, StartsWith("\033[38;5;102m\033[48;5;102m\u2580"));
    EXPECT_THAT(palette, Not(HasSubstr("\033[38;2;")));
    setenv("COLORTERM", "truecolor", 1);
    EXPECT_THAT(ctl({"--color", "always", "view", "--once"}).out,
                StartsWith("\033[38;2;90;96;110m\033[48;2;90;96;110m\u2580"));
    EXPECT_THAT(ctl({"view", "--once"}).out, Not(HasSubstr("\033")));
}

TEST_F(ViewTest, DrawsOnTheWholeTerminalAgainAndAgainUntilInterrupted) {
    Terminal terminal;
    const auto view = startOn(terminal, 12, 40);
    const std::string first = terminal.readUntil(kEndOfPicture);
    EXPECT_THAT(first, StartsWith(std::string(kEnter) + "\033[H"));
    EXPECT_THAT(first, HasSubstr("cover: attached"));
    EXPECT_EQ(std::count(first.begin(), first.end(), '\n'), 11);
    ctl({"detach"});
    EXPECT_THAT(terminal.readUntil("cover: detached"), EndsWith("cover: detached"));
    ctl({"attach"});
    EXPECT_THAT(terminal.readUntil("cover: attached"), EndsWith("cover: attached"));
    view->kill(SIGINT);
    EXPECT_EQ(view->wait(), 0);
    terminal.closeWriter();
    EXPECT_THAT(terminal.rest(), EndsWith(kLeave));
    EXPECT_EQ(view->err(), "");
}

// The phone may have changed before the view followed it.
TEST_F(ViewTest, DrawsOnceMoreWhenItFollowsThePhone) {
    Terminal terminal;
    const auto view = startOn(terminal, 12, 40);
    terminal.readUntil(kEndOfPicture);
    EXPECT_THAT(terminal.readUntil(kEndOfPicture), HasSubstr("cover: attached"));
    view->kill(SIGINT);
    EXPECT_EQ(view->wait(), 0);
}

TEST_F(ViewTest, GivesTheTerminalBackWhileItIsStopped) {
    Terminal terminal;
    const auto view = startOn(terminal, 12, 40);
    terminal.readUntil(kEndOfPicture);
    for (int times = 0; times < 2; ++times) {
        view->kill(SIGTSTP);
        terminal.readUntil(kLeave);
        int status = 0;
        ASSERT_EQ(waitpid(view->pid(), &status, WUNTRACED), view->pid());
        EXPECT_TRUE(WIFSTOPPED(status));
        view->kill(SIGCONT);
        terminal.readUntil(kEnter);
        EXPECT_THAT(terminal.readUntil(kEndOfPicture), HasSubstr("cover: attached"));
    }
    view->kill(SIGINT);
    EXPECT_EQ(view->wait(), 0);
    terminal.closeWriter();
    EXPECT_THAT(terminal.rest(), EndsWith(kLeave));
}

TEST_F(ViewTest, FitsTheTerminalsSize) {
    Terminal terminal;
    const auto view = startOn(terminal, 5, 20);
    // The first are too small for a picture.
    const std::string small = terminal.readUntil(kEndOfPicture);
    EXPECT_THAT(small, HasSubstr("cover: attached, fir\033[K\r\n"));
    EXPECT_THAT(small, Not(HasSubstr("\u2580")));
    for (const unsigned short rows : {1, 50, 7, 10}) {
        resize(terminal, rows, 30);
        view->kill(SIGWINCH);
        std::string picture;
        do picture = terminal.readUntil(kEndOfPicture);
        while (std::count(picture.begin(), picture.end(), '\n') != rows - 1);
    }
    view->kill(SIGTERM);
    EXPECT_EQ(view->wait(), 0);
}

TEST_F(ViewTest, LeavesTheTerminalBeforeItSaysThatTheEmulatorHasEnded) {
    Terminal terminal;
    const auto view = startOn(terminal, 12, 40);
    terminal.readUntil(kEndOfPicture);
    EXPECT_EQ(mPhone.wait(), 0);
    EXPECT_EQ(view->wait(), 3);
    EXPECT_THAT(view->err(), ContainsRegex("^bivista-emulator: [^\n]*\n$"));
    terminal.closeWriter();
    EXPECT_THAT(terminal.rest(), EndsWith(kLeave));
}

TEST_F(ViewTest, RefusesWrongArguments) {
    expectUsageErrors({{"ctl", "view", "twice"}, {"ctl", "view", "--often"}});
}

TEST_F(ViewProgramTest, ViewNeedsAnEmulator) {
    const Outcome outcome = invoke({"ctl", "view"});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, StartsWith("bivista-emulator: no emulator answers on "));
}

}  // namespace
