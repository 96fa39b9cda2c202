// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivista-emulator replay, with shell scripts for the program.

#include <csignal>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <unistd.h>

#include "tests/phone/Program.h"

namespace {

namespace fs = std::filesystem;

using program::kEmulator;
using program::ProgramTest;
using support::Outcome;
using support::Process;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// They wait for the device, and for a line of the answer.
constexpr char kAsk[] =
        "until [ -e /dev/ttyACM0 ]; do sleep 0.01; done; exec 3<>/dev/ttyACM0; stty -echo raw <&3;"
        " ask() { printf '%s\\r' $1 >&3; while read -r line <&3; do case $line in "
        "OK*|ERROR*) echo \"$line\"; return;; *) echo \"$line\";; esac; done; };";
constexpr char kNode[] = "/sys/class/bivista/bv2/bv2_pd";

class ReplayTest : public ProgramTest {
  protected:
    std::string file() const { return mFolder + "/recording.jsonl"; }
    std::string givenRecording(const std::string& text) const {
        std::ofstream(file()) << text;
        return file();
    }
    // What the emulated phone records of a shell script.
    std::string record(const std::string& script, std::vector<std::string> options = {}) const {
        std::vector<std::string> words = {"run", "--journal", file()};
        words.insert(words.end(), options.begin(), options.end());
        words.insert(words.end(), {"--", "/bin/sh", "-c", script});
        const Outcome outcome = invoke(words);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return file();
    }
    Outcome replay(const std::string& script, std::vector<std::string> options = {}) const {
        std::vector<std::string> words = {"replay", file(), "--fast", "--patience", "1"};
        words.insert(words.end(), options.begin(), options.end());
        words.insert(words.end(), {"--", "/bin/sh", "-c", script});
        return invoke(words);
    }
};

const std::string kWrite = "echo 1 > " + std::string(kNode) + ";";
const std::string kAsks = std::string(kAsk) + "ask AT%SWV; ask AT%BV=1;";

TEST_F(ReplayTest, FindsNoDifferenceInTheSameProgram) {
    record(kAsks + kWrite);
    const Outcome outcome = replay(kAsks + kWrite);
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("BV330-V10k_20210312"));
    EXPECT_THAT(outcome.out, HasSubstr("no difference; deeds compared: 6\n"));
}

TEST_F(ReplayTest, AnswersAsRecordedAndNotAsTheEmulatedCover) {
    givenRecording(R"({"seq":1,"time_us":1,"kind":"attach","path":"1-1","note":"3e91:6a2f T 1"}
{"seq":2,"time_us":10,"kind":"tty-rx","path":"/dev/ttyACM0","bytes":"AT%SWV\\r"}
{"seq":3,"time_us":20,"kind":"tty-tx","path":"/dev/ttyACM0","bytes":"\\r\\nanother\\r\\nOK\\r\\n"}
)");
    const Outcome outcome = replay(std::string(kAsk) + "ask AT%SWV; ask AT%HPD");
    EXPECT_THAT(outcome.out, HasSubstr("another"));
    EXPECT_THAT(outcome.out, HasSubstr("ERROR")) << "it was not asked that";
    EXPECT_EQ(outcome.status, 1) << outcome.out;
    EXPECT_THAT(outcome.out, HasSubstr("tty, deed 2"));
}

TEST_F(ReplayTest, ShowsWhatDiffers) {
    record(kWrite + "echo 2 > " + kNode);
    const Outcome outcome = replay(kWrite + "echo 3 > " + kNode);
    EXPECT_EQ(outcome.status, 1) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("node " + std::string(kNode) + ", deed 5"));
    EXPECT_THAT(outcome.out, HasSubstr("lanes that differ: 1; deeds compared: 6\n"));
}

TEST_F(ReplayTest, FindsACommandOfLaterWhenOneIsLeftOut) {
    record(kAsks);
    const Outcome outcome = replay(std::string(kAsk) + "ask AT%BV=1; ask AT%SWV;");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("OK"));
    EXPECT_THAT(outcome.out, HasSubstr("BV330-V10k_20210312"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("ERROR")));
}

TEST_F(ReplayTest, BringsAboutThePhoneOfTheRecording) {
    const std::string set =
            "$EMULATOR ctl property a.b c; $EMULATOR ctl firmware put x.dfu --size 10;"
            "$EMULATOR ctl node /sys/power/wake_lock none; $EMULATOR ctl fault "
            "'node /sys/class/bivista/bv2/bv2_recovery missing';";
    setenv("EMULATOR", kEmulator.c_str(), 1);
    const std::string look = "cat /sys/class/bivista/bv2/bv2_recovery 2>&1;";
    record(set + look + kWrite);
    const Outcome outcome =
            replay("cat /data/property/host.prop; wc -c < /system_ext/etc/dfu/x.dfu;"
                   "cat /sys/power/wake_lock;" +
                   look + kWrite);
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    EXPECT_THAT(outcome.out, StartsWith("a.b=c\n10\nnone"));
    EXPECT_THAT(outcome.out, HasSubstr("No such file or directory"));
}

TEST_F(ReplayTest, ReportsAProgramThatEndsTooEarly) {
    record(kWrite + kAsks);
    const Outcome outcome = replay(kWrite + "exit 7");
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(
            outcome.err,
            HasSubstr("bivista-emulator: the program ended before the recording, with status 7\n"));
    EXPECT_THAT(outcome.out, HasSubstr("tty, deed 1"));
}

TEST_F(ReplayTest, ReportsAProgramThatDoesNotServe) {
    givenRecording(
            R"({"seq":1,"time_us":1,"kind":"client-call","path":"IBivista.getBV2Connect","bytes":"[]","note":"[true]","duration_us":1}
)");
    const Outcome outcome = replay("sleep 60");
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, HasSubstr("bivista-emulator: the program did not serve\n"));
}

TEST_F(ReplayTest, WaitsForAProgramThatDoesNotServeNotAtEachStep) {
    std::string text =
            R"({"seq":1,"time_us":1,"kind":"client-call","path":"IBivista.getBV2Connect","bytes":"[]","note":"[true]","duration_us":1}
)";
    for (int i = 2; i < 2000; ++i) {
        const std::string kind = i % 2 == 0 ? "node-write" : "node-set";
        text += R"({"seq":)" + std::to_string(i) + R"(,"time_us":)" + std::to_string(i) +
                R"(,"kind":")" + kind + R"(","path":")" + kNode + "\"}\n";
    }
    givenRecording(text);
    EXPECT_EQ(replay("sleep 6000").status, 3);
}

TEST_F(ReplayTest, WaitsForADeedOnlyAsLongAsTheRecordingDid) {
    givenRecording(R"({"seq":1,"time_us":1,"kind":"node-write","path":"/sys/power/a","bytes":"1"}
{"seq":2,"time_us":86400000000,"kind":"node-set","path":"/sys/power/wake_lock","bytes":"x"}
)");
    EXPECT_EQ(replay("sleep 6000").status, 1);
}

TEST_F(ReplayTest, ReportsACrashAtTheEnd) {
    record(kWrite);
    const Outcome after = replay(kWrite + "kill -SEGV $$");
    EXPECT_EQ(after.status, 3);
    EXPECT_THAT(after.out, HasSubstr("no difference"));
    EXPECT_THAT(after.err, HasSubstr("bivista-emulator: the program did all, and crashed then, "
                                     "with status 139\n"));
    const Outcome whenEnded =
            replay("trap 'kill -SEGV $$' TERM;" + kWrite + "while :; do sleep 0.1; done");
    EXPECT_EQ(whenEnded.status, 3);
    EXPECT_THAT(whenEnded.err, HasSubstr("crashed then, with status 139\n"));
}

TEST_F(ReplayTest, EndsAProgramThatDoesFarTooMuch) {
    // The commands never come.
    record(kAsks + kWrite);
    const Outcome outcome = invoke({"replay", file(), "--fast", "--patience", "600", "--",
                                    "/bin/sh", "-c", "exec yes > " + std::string(kNode)});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err,
                HasSubstr("the program did far more than was recorded, and was ended"));
}

TEST_F(ReplayTest, RefusesAHeaderThatNoPhoneCanHave) {
    const auto replayWith = [this](const std::string& start) {
        givenRecording(R"({"recording":2,"program":"bivista-emulator","source":"phone","start":)" +
                       start + "}\n");
        return replay("true");
    };
    const Outcome large = replayWith(R"({"images":{"a.dfu":99999999999}})");
    EXPECT_EQ(large.status, 2);
    EXPECT_EQ(large.err,
              "bivista-emulator: " + file() + ":1: an image of 99999999999 bytes is too large\n");
    std::string images;
    for (int i = 0; i < 9; ++i) {
        images += (i == 0 ? "\"" : ",\"") + std::to_string(i) + "\":67108864";
    }
    const Outcome many = replayWith(R"({"images":{)" + images + "}}");
    EXPECT_EQ(many.status, 2);
    EXPECT_THAT(many.err, HasSubstr(":1: the images are too large together\n"));
    const Outcome outside = replayWith(R"({"files":{"/tmp/../etc/passwd":"x"}})");
    EXPECT_EQ(outside.status, 2);
    EXPECT_THAT(outside.err, HasSubstr("is not a file of the phone"));
}

TEST_F(ReplayTest, RefusesAJournalThatIsTheRecordingOrNoFile) {
    record(kWrite);
    const Outcome same = replay("true", {"--journal", file()});
    EXPECT_EQ(same.status, 2);
    EXPECT_EQ(same.err, "bivista-emulator: the journal " + file() + " is the recording\n");
    EXPECT_EQ(replay(kWrite).status, 0) << "it is there still";
    const Outcome folder = replay("true", {"--journal", mFolder});
    EXPECT_EQ(folder.status, 2);
    EXPECT_THAT(folder.err, HasSubstr(" is not a regular file\n"));
}

TEST_F(ReplayTest, NamesACallWhoseArgumentsAreNotInTheRecording) {
    givenRecording(
            R"({"seq":1,"time_us":1,"kind":"client-call","path":"IBivista.drawSubDisplay","bytes":"[{\\\"length\\\":9,\\\"crc32\\\":\\\"00000000\\\"}]","note":"[\\\"OK\\\"]","duration_us":1}
)");
    const Outcome outcome = replay("sleep 60");
    EXPECT_THAT(outcome.err, HasSubstr("the call of entry 1 cannot be made: drawSubDisplay: "));
    EXPECT_EQ(outcome.status, 1) << "the call is missing";
}

TEST_F(ReplayTest, EndsAProgramThatHangs) {
    record(kWrite);
    const Outcome outcome = replay("trap '' TERM; while :; do sleep 0.1; done");
    EXPECT_EQ(outcome.status, 1) << outcome.err;
}

TEST_F(ReplayTest, EndsAProgramThatNeverIsSilent) {
    record(kAsks + kWrite);
    const Outcome outcome = replay("while :; do " + kWrite + " done");
    EXPECT_EQ(outcome.status, 1) << outcome.err;
}

TEST_F(ReplayTest, LeavesNothingRunningWhenItIsKilled) {
    record(kAsks);
    Process replaying({kEmulator, "replay", file(), "--patience", "600", "--", "/bin/sh", "-c",
                       "echo $$; exec sleep 600"});
    const std::string line = replaying.line();
    ASSERT_FALSE(line.empty());
    replaying.kill(SIGKILL);
    // Its output ends when no process holds it any more.
    EXPECT_EQ(replaying.wait(), 128 + SIGKILL);
}

TEST_F(ReplayTest, WritesARecordingItself) {
    record(kAsks + kWrite);
    const std::string journal = mFolder + "/replayed.jsonl";
    EXPECT_EQ(replay(kAsks + kWrite, {"--journal", journal}).status, 0);
    fs::rename(journal, file());
    const Outcome again = replay(kAsks + kWrite);
    EXPECT_EQ(again.status, 0) << again.out << again.err;
}

TEST_F(ReplayTest, RefusesWhatIsNoRecording) {
    const Outcome absent = replay("true");
    EXPECT_EQ(absent.status, 2);
    EXPECT_THAT(absent.err, StartsWith("bivista-emulator: " + file() + ": "));
    givenRecording("no JSON\n");
    const Outcome wrong = replay("true");
    EXPECT_EQ(wrong.status, 2);
    EXPECT_THAT(wrong.err, StartsWith("bivista-emulator: " + file() + ":1: "));
    givenRecording("{\"recording\":99,\"program\":\"x\",\"source\":\"phone\"}\n");
    const Outcome later = replay("true");
    EXPECT_EQ(later.status, 2);
    EXPECT_THAT(later.err, StartsWith("bivista-emulator: " + file() + ":1: "));
}

TEST_F(ReplayTest, GoesOnAfterAnEntryThatCannotBePlayed) {
    givenRecording(
            R"({"seq":1,"time_us":1,"kind":"attach","path":"1-1","bytes":"{\\\"tty\\\":999,\\\"usb\\\":3}","note":"3e91:6a2f T 1"}
{"seq":2,"time_us":2,"kind":"property","path":"a.b","bytes":"c"}
)");
    const Outcome outcome = replay("cat /data/property/host.prop");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "a.b=c\nno difference; deeds compared: 0\n");
    EXPECT_EQ(outcome.err,
              "bivista-emulator: entry 1 cannot be played: a tty's number is 0 to 255\n");
}

TEST_F(ReplayTest, RefusesWrongArguments) {
    givenRecording("");
    EXPECT_EQ(invoke({"replay", file(), "--fast"}).status, 2) << "no program";
    EXPECT_EQ(invoke({"replay", file(), "--patience", "0", "--", "true"}).status, 2);
    EXPECT_EQ(invoke({"replay", file(), "--patience", "x", "--", "true"}).status, 2);
    EXPECT_EQ(invoke({"replay"}).status, 2);
}

TEST_F(ReplayTest, ReportsAProgramThatCannotBeStarted) {
    record(kWrite);
    const Outcome outcome = invoke({"replay", file(), "--", "/nowhere/program"});
    EXPECT_EQ(outcome.status, 127) << outcome.err;
    EXPECT_EQ(outcome.out, "");
}

TEST_F(ReplayTest, RefusesAJournalThatThePhoneHides) {
    record(kWrite);
    const Outcome outcome = replay("true", {"--journal", "/data/journal.jsonl"});
    EXPECT_EQ(outcome.status, 125);
    EXPECT_THAT(outcome.err, HasSubstr("the journal /data/journal.jsonl lies in a folder"));
}

}  // namespace
