// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivista-emulator ctl journal, for people and for trace viewers.

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include <sys/ioctl.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "tests/phone/Program.h"
#include "tests/tools/Terminal.h"

namespace {

using program::kEmulator;
using program::linesOf;
using program::ProgramTest;
using support::Outcome;
using support::Process;
using testing::ContainsRegex;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

constexpr char kTime[] = "^[0-2][0-9]:[0-5][0-9]:[0-5][0-9]\\.[0-9]{3}  ";

std::string withoutTime(const std::string& line) {
    return line.substr(std::min(line.size(), sizeof("16:00:48.123  ") - 1));
}

using JournalProgramTest = ProgramTest;

// A phone on which a fault was set.
class JournalLinesTest : public ProgramTest {
  protected:
    JournalLinesTest() : mPhone(stayingUp()) {
        mPhone.waitFor("up\n");
        setenv("TERM", "xterm", 1);
        unsetenv("NO_COLOR");
        ctl({"fault", "on AT%NO answer \"\\r\\nERROR\\r\\n\" times 1"});
    }
    ~JournalLinesTest() override { EXPECT_EQ(mPhone.wait(), 0); }

    // The items as lines in a pipe.
    static std::vector<std::string> lines(std::vector<std::string> options) {
        options.insert(options.begin(), {"journal", "--format", "lines"});
        return linesOf(ctl(options).out);
    }

    // What a terminal of that many columns shows.
    static std::string onTerminal(const std::string& options, unsigned short columns = 0) {
        Terminal terminal;
        if (columns != 0) {
            const winsize size = {.ws_row = 24, .ws_col = columns};
            EXPECT_EQ(ioctl(terminal.writer(), TIOCSWINSZ, &size), 0);
        }
        Process child({"/bin/sh", "-c",
                       kEmulator + " ctl journal " + options + " > " + terminal.path() +
                               "; echo end > " + terminal.path()});
        std::string text = terminal.readUntil("end\n");
        EXPECT_EQ(child.wait(), 0);
        return text.substr(0, text.size() - 4);
    }

    Process mPhone;
};

TEST_F(JournalLinesTest, HasALineForEachItemOnATerminal) {
    const std::vector<std::string> shown = linesOf(onTerminal("", 120));
    ASSERT_GE(shown.size(), 2u);
    EXPECT_THAT(shown, Each(ContainsRegex(kTime)));
    EXPECT_THAT(withoutTime(shown[0]), StartsWith("usb       attach 1-1  "));
    EXPECT_THAT(shown, Contains(HasSubstr("emulator  fault on AT%NO answer")));
}

TEST_F(JournalLinesTest, KeepsToTheTerminalsWidth) {
    for (const unsigned short columns : {20, 60, 80, 200}) {
        const std::vector<std::string> shown = linesOf(onTerminal("--color never", columns));
        ASSERT_GE(shown.size(), 2u);
        for (const std::string& line : shown) EXPECT_LE(line.size(), columns) << line;
    }
}

// Byte for byte what the control interface gives.
TEST_F(JournalLinesTest, IsAsBeforeInAPipeAndRaw) {
    const std::string piped = ctl({"journal"}).out;
    for (const std::string& line : linesOf(piped)) {
        EXPECT_EQ(nlohmann::ordered_json::parse(line).dump(), line);
    }
    EXPECT_THAT(piped, StartsWith(R"({"seq":1,"time_us":)"));
    EXPECT_EQ(onTerminal("--raw"), piped);
    EXPECT_EQ(onTerminal("--format json"), piped);
    EXPECT_EQ(ctl({"journal", "--raw"}).out, piped);
    EXPECT_EQ(ctl({"journal", "--raw", "--since", "1"}).out, piped);
}

TEST_F(JournalLinesTest, FiltersLinesAndJson) {
    EXPECT_THAT(lines({"--kind", "fault"}), ElementsAre(HasSubstr("fault on AT%NO answer")));
    EXPECT_THAT(lines({"--kind", "usb,fault"}), SizeIs(2));
    EXPECT_THAT(lines({"--grep", "TQC330R"}), ElementsAre(HasSubstr("attach 1-1")));
    EXPECT_THAT(lines({"--kind", "emulator", "--grep", "no such text"}), IsEmpty());
    EXPECT_THAT(linesOf(ctl({"journal", "--kind", "fault"}).out),
                ElementsAre(HasSubstr(R"("kind":"fault")")));
    EXPECT_THAT(linesOf(ctl({"journal", "--grep", "at%no", "--kind", "fault,usb"}).out),
                ElementsAre(HasSubstr(R"("kind":"fault")")));
}

TEST_F(JournalLinesTest, BeginsAtANumberOrATime) {
    const size_t all = lines({}).size();
    EXPECT_THAT(lines({"--since", "0"}), SizeIs(all));
    EXPECT_THAT(lines({"--since", "2"}), Each(Not(HasSubstr("attach 1-1"))));
    EXPECT_THAT(lines({"--since", "1000000"}), IsEmpty());
    EXPECT_THAT(lines({"--since", "86400s"}), SizeIs(all));
    EXPECT_THAT(lines({"--since", "0s"}), IsEmpty());
    const std::string first = lines({}).front().substr(0, sizeof("16:00:48") - 1);
    EXPECT_THAT(lines({"--since", first}), SizeIs(all));
    EXPECT_THAT(ctl({"journal", "--since", "0s"}).out, IsEmpty());
}

TEST_F(JournalLinesTest, RefusesWrongArgumentsInOneLine) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> wrong = {
            {{"--kind", "exchnge"},
             "journal: --kind: \"exchnge\" is no kind: did you mean exchange?"},
            {{"--kind", "fault,"}, "journal: --kind: \"\" is no kind."},
            {{"--kind", "a\nb"}, "journal: --kind: \"a\\nb\" is no kind."},
            {{"--format", "xml"}, "--format: must be \"json\", \"lines\" or \"perfetto\"."},
            {{"--raw", "--format", "lines"}, "journal: --raw does not go with --format."},
            {{"--format", "perfetto", "--follow"},
             "journal: --follow does not go with --format perfetto."},
    };
    for (const auto& [options, message] : wrong) {
        std::vector<std::string> words = {"journal"};
        words.insert(words.end(), options.begin(), options.end());
        const Outcome outcome = ctl(words);
        EXPECT_EQ(outcome.status, 2) << message;
        EXPECT_EQ(outcome.out, "") << message;
        EXPECT_EQ(outcome.err, "bivista-emulator: " + message +
                                       " \"bivista-emulator ctl journal --help\" tells more.\n");
    }
    for (const char* const time : {"x", "", "10", "24:00:00", "16:00", "16:00:480", " 1:00:00",
                                   "10h", "1000000000000000000", "99999999999999999999"}) {
        const Outcome outcome = ctl({"journal", "--since", time});
        if (std::string(time) == "10") {
            EXPECT_EQ(outcome.status, 0);
            continue;
        }
        EXPECT_EQ(outcome.status, 2) << time;
        EXPECT_EQ(outcome.err,
                  "bivista-emulator: journal: --since: must be an entry's number, a time ago such "
                  "as 10s, or a time of day such as 16:00:48. \"bivista-emulator ctl journal "
                  "--help\" tells more.\n");
    }
}

TEST_F(JournalLinesTest, FollowsUntilTheEmulatorEnds) {
    Process reader(emulator({"ctl", "journal", "--format", "lines", "--follow"}));
    reader.waitFor("fault on AT%NO");
    ctl({"property", "some.key", "some value"});
    reader.waitFor("some.key = some value\n");
    EXPECT_EQ(mPhone.wait(), 0);
    const Outcome outcome = reader.outcome();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, StartsWith("bivista-emulator: "));
    EXPECT_EQ(std::ranges::count(outcome.err, '\n'), 1);
}

TEST_F(JournalLinesTest, WritesATraceForViewers) {
    const auto trace =
            nlohmann::json::parse(ctl({"journal", "--format", "perfetto"}).out, nullptr, false);
    ASSERT_TRUE(trace.is_object());
    std::vector<std::string> names;
    for (const auto& event : trace["traceEvents"]) names.push_back(event["name"]);
    EXPECT_THAT(names, testing::IsSupersetOf({"process_name", "thread_name", "attach 1-1"}));
    EXPECT_TRUE(trace["otherData"]["start_wall_us"].is_number());
    const auto later = nlohmann::json::parse(
            ctl({"journal", "--format", "perfetto", "--since", "0s"}).out, nullptr, false);
    for (const auto& event : later["traceEvents"]) EXPECT_EQ(event["ph"], "M");
    const std::string faults = ctl({"journal", "--format", "perfetto", "--kind", "fault"}).out;
    EXPECT_THAT(faults, HasSubstr("fault on AT%NO"));
    EXPECT_THAT(faults, Not(HasSubstr("attach 1-1")));
}

// In an emulator of its own: programs on the phone speak to the cover.
TEST_F(JournalProgramTest, JournalHasAnExchangeAsALineWhenItIsOver) {
    const Outcome outcome = runShell(
            "ctl='" + kEmulator + " ctl'; $ctl fault 'on AT%SWV late 200ms times 1'; " +
            "exec 3<>/dev/ttyACM0; stty -F /dev/ttyACM0 raw -echo; printf 'AT%%SWV\\r' >&3; "
            "until $ctl journal | grep -q 'tty-tx'; do :; done; printf 'AT' >&3; "
            "until $ctl journal | grep -q '\"AT\"'; do :; done; "
            "$ctl journal --format lines --kind exchange");
    const std::vector<std::string> shown = linesOf(outcome.out);
    ASSERT_THAT(shown, SizeIs(2)) << outcome.out << outcome.err;
    EXPECT_THAT(withoutTime(shown[0]),
                MatchesRegex("at        AT%SWV +BV330-V10k_20210312 +2[0-9][0-9]\\.[0-9] ms  "
                             "OK( !)?"));
    EXPECT_THAT(withoutTime(shown[1]), MatchesRegex("at        AT +open"));
}

TEST_F(JournalProgramTest, JournalColoursVerdictsOnTerminalsThatWantIt) {
    setenv("TERM", "xterm", 1);
    unsetenv("NO_COLOR");
    const std::string journal = "$ctl journal --kind exchange --format lines ";
    const Outcome outcome = runShell("ctl='" + kEmulator + " ctl'; exec 3<>/dev/ttyACM0; " +
                                     "stty -F /dev/ttyACM0 raw -echo; printf 'AT%%NO\\r' >&3; "
                                     "until $ctl journal | grep -q ERROR; do :; done; " +
                                     journal + "; NO_COLOR=1 " + journal + "--color always");
    const std::vector<std::string> shown = linesOf(outcome.out);
    ASSERT_THAT(shown, SizeIs(2)) << outcome.out << outcome.err;
    EXPECT_THAT(shown[0], EndsWith(" ms  ERROR"));
    EXPECT_THAT(shown[1], EndsWith(" ms  \033[1;31mERROR\033[0m"));
}

// The journal's own limit; more came before.
TEST_F(JournalProgramTest, JournalOfTwoHundredThousandEntriesBecomesLinesAndATrace) {
    // A sanitizer alone takes more address space.
    const std::string limit = LIMITS_RESOURCES ? "ulimit -v 1000000; " : "";
    const Outcome outcome =
            runShell("ctl='" + kEmulator +
                     " ctl'; for i in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 "
                     "19 20 21; do $ctl uevent a --burst 10000; done; "
                     "$ctl journal | wc -l; $ctl journal --format lines | wc -l; "
                     "$ctl journal --format perfetto | grep -c '\"ph\":\"i\"'; " +
                     limit + "$ctl journal --format lines | tail -n 1 | cut -c 15-");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, "200000\n200000\n200000\nuevents   a\n");
}

}  // namespace
