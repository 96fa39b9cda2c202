// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// AT exchanges with the cover over a real tty: results, errno, log lines, votes, and what is
// stored.
#include <cerrno>
#include <csignal>
#include <fstream>
#include <thread>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "kernel/base/Descriptor.h"

#include "tests/kernel/ServiceTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using phone::Kind;
using testing::ElementsAre;
using testing::IsEmpty;

class SerialAtTest : public AttachedTest {
  protected:
    // The first log line of an exchange.
    support::LogLine firstLine() const {
        const size_t next = log.waitForPrefix("serialAtCmd: ");
        return log.lines().at(next - 1);
    }
    // From here on no watch sees what happens to the nodes in /dev.
    static void stopWatching() { Bivista::sighandler(SIGUSR1); }
    // Waits until the service has read this many answer lines.
    void awaitLines(size_t lines) const {
        size_t at = 0;
        while (lines-- > 0) at = log.waitForPrefix("serialAtCmd: rd: [", at);
    }
};

TEST_F(SerialAtTest, StoresTheAnswerWithNulForItsLastNewline) {
    const Result result = send("AT%SWV\r");
    EXPECT_EQ(result.answer, "BV330-V10k_20210312");
    EXPECT_EQ(result.value, static_cast<int>(result.answer.size()) + 1);
    EXPECT_THAT(commands(from), ElementsAre("AT%SWV\r"));
    EXPECT_THAT(nodeWrites(from), ElementsAre("control=on", "control=auto"));
}

TEST_F(SerialAtTest, LogsTheExchange) {
    send("AT%SWV\r");
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "serialAtCmd: wr: [AT%SWV]"));
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "serialAtCmd: eh: []"));
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "serialAtCmd: rd: [BV330-V10k_20210312]"));
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "serialAtCmd: rd: [OK]"));
    EXPECT_THAT(
            firstLine().text,
            testing::MatchesRegex(
                    "serialAtCmd: resp:0x[0-9a-f]+ respCount:1024 cb:\\(nil\\) cmd:\\[AT%SWV\\]"));
    EXPECT_EQ(firstLine().priority, ANDROID_LOG_DEBUG);
}

TEST_F(SerialAtTest, LogsTheCallbackAndABufferThatIsNotThere) {
    service->serialAtCmd("AT%SWV\r", nullptr, 0, [](char* /*line*/, size_t /*len*/) {});
    EXPECT_THAT(firstLine().text,
                testing::MatchesRegex(
                        "serialAtCmd: resp:\\(nil\\) respCount:0 cb:0x[0-9a-f]+ cmd:\\[AT%SWV\\]"));
    EXPECT_EQ(firstLine().priority, ANDROID_LOG_DEBUG);
}

TEST_F(SerialAtTest, AcceptsLowerCase) {
    EXPECT_GT(send("at%SWV\r").value, 0);
}

TEST_F(SerialAtTest, ReturnsZeroWithoutBuffer) {
    EXPECT_EQ(service->serialAtCmd("AT%SWV\r", nullptr, 0, nullptr), 0);
    EXPECT_EQ(service->serialAtCmd("AT%SWV\r", nullptr, 1024, nullptr), 0);
}

TEST_F(SerialAtTest, RefusesAMalformedCommandAndSendsNothing) {
    for (const char* cmd : {"AT%SWV", "A\r", "XT%SWV\r", "\r", "", "AT", " AT\r"}) {
        const Result result = send(cmd);
        EXPECT_EQ(result.value, -1) << cmd;
        EXPECT_EQ(result.error, EINVAL) << cmd;
    }
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "serialAtCmd: Invalid argument"));
    EXPECT_THAT(commands(from), IsEmpty());
    EXPECT_THAT(nodeWrites(from), IsEmpty());
}

TEST_F(SerialAtTest, AsksForTheCoverBeforeItLooksAtTheCommand) {
    detach();
    log.clear();
    const Result result = send("no command");
    EXPECT_EQ(result.value, -1);
    EXPECT_EQ(result.error, ENODEV);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "serialAtCmd: No such device"));
}

TEST_F(SerialAtTest, ReportsATtyThatCannotBeOpened) {
    stopWatching();
    ASSERT_EQ(unlink("/dev/ttyACM0"), 0);
    const Result result = send("AT%SWV\r");
    EXPECT_EQ(result.value, -1);
    EXPECT_EQ(result.error, ENOENT);
    EXPECT_TRUE(log.contains(
            ANDROID_LOG_ERROR,
            "serialAtCmd: failed to open \"/dev/ttyACM0\": No such file or directory"));
    EXPECT_THAT(nodeWrites(from), IsEmpty());
}

TEST_F(SerialAtTest, MapsRejectionToProtocolNotSupported) {
    const Result result = send("AT%NOSUCH\r");
    EXPECT_EQ(result.value, -1);
    EXPECT_EQ(result.error, EPROTONOSUPPORT);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "serialAtCmd: Command not supported"));
    EXPECT_THAT(nodeWrites(from), ElementsAre("control=on", "control=auto"));
}

TEST_F(SerialAtTest, TakesOkInAnyCaseAndWithoutABlankLine) {
    phone.faults.set(R"(on AT%SWV answer "one\r\ntwo\r\nok\r\n")");
    const Result result = send("AT%SWV\r");
    EXPECT_EQ(result.answer, "one\ntwo");
    EXPECT_EQ(result.value, 8);
    // Lines outside an answer go to both logs, and are not logged as read.
    EXPECT_TRUE(log.contains(ANDROID_LOG_INFO, "one\n"));
    EXPECT_TRUE(log.contains(ANDROID_LOG_INFO, "ok\n"));
    EXPECT_FALSE(log.contains("serialAtCmd: rd: [one]"));
    EXPECT_TRUE(log.contains("serialAtCmd: rd: [ok]"));
    journal.waitFor(phone::is(Kind::KernelLog, "<6>Bivista: one\n"), from);
}

TEST_F(SerialAtTest, DropsWhatCameBeforeTheAnswer) {
    phone.faults.set(R"(on AT%SWV before "boot: hello")");
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
    EXPECT_TRUE(log.contains(ANDROID_LOG_INFO, "boot: hello\n"));
}

TEST_F(SerialAtTest, TakesTheEchoForTheStart) {
    phone.faults.set(R"(on AT%SWV answer "log\r\nat%swv\r\nV2\r\nOK\r\n")");
    EXPECT_EQ(send("AT%SWV\r").answer, "V2");
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "serialAtCmd: eh: [at%swv]"));
}

TEST_F(SerialAtTest, CutsALongAnswer) {
    char answer[9] = "12345678";
    EXPECT_EQ(service->serialAtCmd("AT%SWV\r", answer, 8, nullptr), 8);
    EXPECT_STREQ(answer, "BV330-V");
}

TEST_F(SerialAtTest, LeavesTheBufferAloneWhenNothingIsStored) {
    phone.faults.set(R"(on AT%SWV answer "\r\nOK\r\n")");
    char answer[4] = {'a', 'b', 'c', 'd'};
    EXPECT_EQ(service->serialAtCmd("AT%SWV\r", answer, sizeof(answer), nullptr), 0);
    EXPECT_EQ(std::string(answer, 4), "abcd");
}

TEST_F(SerialAtTest, PassesOnlyLinesOfTheAnswerToTheCallback) {
    static std::vector<std::pair<std::string, size_t>> lines;
    phone.faults.set(R"(on AT%SWV answer "stray\r\n\r\none\r\n\r\ntwo\r\nOK\r\n")");
    service->serialAtCmd("AT%SWV\r", nullptr, 0,
                         [](char* line, size_t len) { lines.emplace_back(line, len); });
    EXPECT_THAT(lines,
                ElementsAre(std::pair("one\n", 4u), std::pair("\n", 1u), std::pair("two\n", 4u)));
}

TEST_F(SerialAtTest, AnswersAHangUpWithOne) {
    phone.faults.set("on AT%SWV hangup after 5");
    EXPECT_EQ(send("AT%SWV\r").value, 1);
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "serialAtCmd: POLLHUP"));
    log.waitFor("serialDeviceRemoved: attached:1");
}

// Callers take a hang-up for success, so it must not look like any failure.
TEST_F(SerialAtTest, AHangUpLeavesErrnoAndTheStoredLinesAlone) {
    phone.faults.set(R"(on AT%SWV answer "\r\none\r\ntwo\r\n" times 1)");
    std::thread unplug([&] {
        awaitLines(2);
        phone.cover.detach();
    });
    char answer[16] = {};
    errno = E2BIG;
    EXPECT_EQ(service->serialAtCmd("AT%SWV\r", answer, sizeof(answer), nullptr), 1);
    EXPECT_EQ(errno, E2BIG);
    EXPECT_STREQ(answer, "one\ntwo\n") << "the last newline is no NUL";
    unplug.join();
}

TEST_F(SerialAtTest, NextCommandWorksAfterAHangUpAndAReplug) {
    phone.faults.set("on AT%SWV hangup after 5 times 1");
    EXPECT_EQ(send("AT%SWV\r").value, 1);
    log.waitFor("serialDeviceRemoved: attached:1");
    attach();
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

TEST_F(SerialAtTest, TimesOutLeavesTheVoteAndAsksForRecovery) {
    phone.faults.set("on AT%SWV silent times 1");
    const Result result = send("AT%SWV\r");
    EXPECT_EQ(result.value, -1);
    EXPECT_EQ(result.error, ETIME);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "serialAtCmd: Timer expired"));
    std::vector<std::pair<int, std::string>> recovery;
    for (const support::LogLine& line : log.lines()) {
        if (line.text.find("!!!") == 0) recovery.emplace_back(line.priority, line.text);
    }
    const std::pair<int, std::string> rule(ANDROID_LOG_ERROR, std::string(41, '!'));
    const std::pair<int, std::string> title(ANDROID_LOG_ERROR,
                                            "!!!!!!!!!! Bivista Recovery !!!!!!!!!!");
    EXPECT_THAT(recovery, ElementsAre(rule, title, rule));

    // The recovery makes the cover come back, and the new attachment forgets the vote.
    awaitAttached();
    const std::vector<std::string> writes = nodeWrites(from);
    ASSERT_GE(writes.size(), 5u);
    EXPECT_THAT(std::vector(writes.begin(), writes.begin() + 5),
                ElementsAre("control=on", "bv2_recovery=Y", "virtual_mcu_firmware_write=0",
                            "control=auto", "control=on"));
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

TEST_F(SerialAtTest, HalfALineTimesOut) {
    phone.faults.set("on AT%SWV half times 1");
    const Result result = send("AT%SWV\r");
    EXPECT_EQ(result.value, -1);
    EXPECT_EQ(result.error, ETIME);
}

TEST_F(SerialAtTest, CountsTheTimeForEachLine) {
    // Each line comes 3 s after the one before: no wait lasts 5 s, the whole answer does.
    phone.faults.set(R"(on AT%SWV answer "" times 1)");
    std::thread cover([this] {
        journal.waitFor(phone::is(Kind::TtyRx, "AT%SWV\r"), from);
        for (const char* line : {"\r\n", "slow\r\n", "OK\r\n"}) {
            std::this_thread::sleep_for(std::chrono::seconds(3));
            phone.cover.send(line);
        }
    });
    EXPECT_EQ(send("AT%SWV\r").answer, "slow");
    cover.join();
}

struct Unlimited {
    const char* name;
    const char* cmd;
};
class UnlimitedTest : public SerialAtTest, public testing::WithParamInterface<Unlimited> {};

TEST_P(UnlimitedTest, WaitsLongerThanTheTimeLimit) {
    phone.faults.set("on AT late 5500ms times 1");
    EXPECT_GE(send(GetParam().cmd).value, 0);
    EXPECT_FALSE(log.contains("serialAtCmd: Timer expired"));
}

INSTANTIATE_TEST_SUITE_P(Commands, UnlimitedTest,
                         testing::Values(Unlimited{"SelfTest", "AT%TCHNOTIFY=SD\r"},
                                         Unlimited{"LpwgSelfTest", "at%tchnotify=lpwg_sd\r"},
                                         Unlimited{"Results", "AT%TCHNOTIFY=PULL_SD_RESULT\r"},
                                         Unlimited{"Upgrade", "AT%TCHNOTIFY=FW_UPGRADE\r"}),
                         [](const auto& info) { return info.param.name; });

// The table matches beginnings: a longer command that begins with an entry has no limit either.
TEST_F(SerialAtTest, WaitsWithoutLimitForALongerCommandToo) {
    phone.faults.set(R"(on AT late 5500ms times 1)");
    const Result result = send("AT%TCHNOTIFY=SDX\r");
    EXPECT_NE(result.error, ETIME);
    EXPECT_FALSE(log.contains("serialAtCmd: Timer expired"));
}

class LimitedTest : public SerialAtTest, public testing::WithParamInterface<Unlimited> {};

// Of the touch commands only the ones above may take their time.
TEST_P(LimitedTest, TimesOut) {
    phone.faults.set("on AT%TCHNOTIFY silent times 1");
    const Result result = send(GetParam().cmd);
    EXPECT_EQ(result.value, -1);
    EXPECT_EQ(result.error, ETIME);
}

INSTANTIATE_TEST_SUITE_P(Commands, LimitedTest,
                         testing::Values(Unlimited{"PenMode", "AT%TCHNOTIFY=SWTICH_AES,1\r"},
                                         Unlimited{"Lpwg", "AT%TCHNOTIFY=LPWG_NOTIFY,1,0\r"}),
                         [](const auto& info) { return info.param.name; });

TEST_F(SerialAtTest, PullingTheCoverEndsACommandWithoutLimit) {
    phone.faults.set("on AT%TCHNOTIFY silent times 1");
    std::thread unplug([&] {
        journal.waitFor(phone::is(Kind::TtyRx, "AT%TCHNOTIFY=SD\r"), from);
        phone.cover.detach();
    });
    EXPECT_EQ(send("AT%TCHNOTIFY=SD\r").value, 1);
    unplug.join();
}

TEST_F(SerialAtTest, PullingTheCoverEndsAFloodThatNeverEnds) {
    phone.faults.set("on AT%SWV flood times 1");
    std::thread unplug([&] {
        awaitLines(5000);
        phone.cover.detach();
    });
    EXPECT_EQ(send("AT%SWV\r").value, 1);
    unplug.join();
}

TEST_F(SerialAtTest, HandsAnAnswerOfBytesThroughUnchanged) {
    phone.faults.set(R"(on AT%SWV answer "\r\n\xff\x80\x04\x03\x11\x13\r\nOK\r\n")");
    EXPECT_EQ(send("AT%SWV\r").answer, "\xff\x80\x04\x03\x11\x13");
}

TEST_F(SerialAtTest, KeepsTheBytesBehindANul) {
    phone.faults.set(R"(on AT%SWV answer "\r\na\x00b\r\nOK\r\n")");
    char answer[16] = {};
    EXPECT_EQ(service->serialAtCmd("AT%SWV\r", answer, sizeof(answer), nullptr), 4);
    EXPECT_EQ(std::string(answer, 4), std::string("a\0b\0", 4));
}

TEST_F(SerialAtTest, TakesALineThatIsLongerThanItsBufferInPieces) {
    phone.faults.set("on AT%SWV answer \"\\r\\n" + std::string(2000, 'x') + "\\r\\nOK\\r\\n\"");
    EXPECT_EQ(send("AT%SWV\r").answer, std::string(1023, 'x'));
    EXPECT_TRUE(log.contains("serialAtCmd: rd: [OK]"));
}

// A line that fills the buffer exactly leaves its newline for the next read, which looks like the
// blank line that starts an answer.
TEST_F(SerialAtTest, TakesTheNewlineBehindAFullBufferForTheStart) {
    phone.faults.set("on AT%SWV answer \"" + std::string(1023, 'x') + "\\r\\nV3\\r\\nOK\\r\\n\"");
    EXPECT_EQ(send("AT%SWV\r").answer, "V3");
}

TEST_F(SerialAtTest, SurvivesAFlood) {
    phone.faults.set("on AT%SWV flood 20000 times 1");
    EXPECT_EQ(send("AT%SWV\r").value, 1024);
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

TEST_F(SerialAtTest, SendsACommandLongerThanTheTtyTakesAtOnce) {
    const std::string cmd = "AT%" + std::string(100000, 'x') + "\r";
    const Result result = send(cmd.c_str());
    EXPECT_EQ(result.value, -1);
    EXPECT_EQ(result.error, EPROTONOSUPPORT);
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

// In place of the cover's tty a raw one whose other end takes nothing: the cover has stopped
// draining its port.
class StuckPortTest : public SerialAtTest {
  protected:
    void SetUp() override {
        SerialAtTest::SetUp();
        stopWatching();
        mMaster = open("/dev/ptmx", O_RDWR | O_NOCTTY | O_CLOEXEC);
        ASSERT_GE(mMaster, 0);
        int unlocked = 0;
        ASSERT_EQ(ioctl(mMaster, TIOCSPTLCK, &unlocked), 0);
        ASSERT_EQ(ptsname_r(mMaster, mName, sizeof(mName)), 0);
        ASSERT_EQ(unlink("/dev/ttyACM0"), 0);
        ASSERT_EQ(symlink(mName, "/dev/ttyACM0"), 0);
    }

    // Takes all the room that the port has. The kernel moves bytes to the other end behind a write,
    // which makes room again until that end is full too.
    void fill() const {
        constexpr int kFullEnd = 4095;
        const Descriptor port(open(mName, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
        ASSERT_TRUE(port.isOpen());
        int refusals = 0;
        while (refusals < 20) {
            int arrived = 0;
            ASSERT_EQ(ioctl(mMaster, FIONREAD, &arrived), 0);
            const bool refused = write(port.get(), "x", 1) < 0;
            refusals = refused && arrived >= kFullEnd ? refusals + 1 : 0;
            if (refused) usleep(1000);
        }
    }

    // Sends a command, and unplugs once its thread is inside write().
    Result sendAndUnplug(const std::string& cmd) {
        std::atomic<pid_t> thread = 0;
        Result result;
        std::thread client([&] {
            thread = gettid();
            result = send(cmd.c_str());
        });
        const std::string inWrite = std::to_string(SYS_write) + " ";
        std::string call;
        while (call.find(inWrite) != 0 || nodeWrites(from).empty()) {
            std::ifstream state("/proc/self/task/" + std::to_string(thread) + "/syscall");
            std::getline(state, call);
        }
        close(mMaster);
        client.join();
        return result;
    }

  private:
    int mMaster = -1;
    char mName[64] = {};
};

TEST_F(StuckPortTest, UnplugEndsAWriteThatGetsNowhere) {
    fill();
    const Result result = sendAndUnplug("AT%SWV\r");
    EXPECT_EQ(result.value, -1);
    EXPECT_EQ(result.error, EIO);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "serialAtCmd: failed to write [AT%SWV]"));
    EXPECT_FALSE(log.contains("serialAtCmd: wr: [AT%SWV]"));
    EXPECT_THAT(nodeWrites(from), ElementsAre("control=on", "control=auto"));
}

// What was written in part counts as written; the hang-up is seen by the wait for the answer.
TEST_F(StuckPortTest, UnplugEndsAWriteThatIsHalfDone) {
    const Result result = sendAndUnplug("AT%" + std::string(400000, 'x') + "\r");
    EXPECT_EQ(result.value, 1);
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "serialAtCmd: POLLHUP"));
    EXPECT_THAT(nodeWrites(from), ElementsAre("control=on", "control=auto"));
}

// The kernel drops what is left unread when the port is closed.
TEST_F(SerialAtTest, NeverSeesALineThatComesBetweenTheOkAndTheClose) {
    phone.faults.set(R"(on AT%SWV after "late line" times 5)");
    for (int i = 0; i < 5; ++i) EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
    EXPECT_EQ(send("AT%GETBVCUTOUT\r").answer, "M 0,0 H -36 V 60 H 36 V 0 H 0 Z");
    EXPECT_FALSE(log.contains("late line\n"));
}

// It waits in the cover, and comes before the next answer: the service flushes nothing at an open.
TEST_F(SerialAtTest, TakesALineThatCameWhileThePortWasClosedForAStrayLine) {
    phone.cover.send("late line\r\n");
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
    EXPECT_TRUE(log.contains(ANDROID_LOG_INFO, "late line\n"));
}

TEST_F(SerialAtTest, RunsOneCommandAtATime) {
    std::vector<std::thread> threads;
    std::atomic<int> answered = 0;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int k = 0; k < 25; ++k) {
                if (send("AT%SWV\r").answer == "BV330-V10k_20210312") ++answered;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(answered, 100);
    EXPECT_EQ(commands(from).size(), 100u);
    // Votes never overlap either, since each is cast and withdrawn inside its exchange.
    EXPECT_EQ(nodeWrites(from).size(), 200u);
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
