// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The capture of the cover's own log.
#include <filesystem>

#include <gmock/gmock.h>

#include "tests/kernel/ServiceTest.h"
#include "tests/support/Watch.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using phone::Kind;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kCapture[] = "persist.vendor.qmx.service.kernel.enable";
constexpr char kUart[] = "persist.vendor.qmx.dd.uart.enable";

class SerialLogTest : public ServiceTest {
  protected:
    // Attaches a cover whose log the service captures.
    void attachWithCapture(const phone::CoverOptions& options = support::withoutPanel()) {
        phone.properties.set(kCapture, "1");
        start();
        attach(options);
    }

    // Waits until the log thread has the tty open.
    size_t awaitResume(size_t from = 0) const {
        from = log.waitFor(ANDROID_LOG_INFO, "serialLogThread: resume", from);
        awaitDtr("raised");
        return from;
    }

    // The line is up when the cover's next line arrives.
    size_t awaitLine(size_t from) {
        while (!phone.cover.log("still here")) {
        }
        return log.waitFor("still here", from);
    }

    void awaitDtr(const std::string& note) const {
        journal.waitFor(
                [&](const phone::Entry& entry) {
                    return entry.kind == Kind::Dtr && entry.note == note;
                },
                first);
    }

    std::vector<std::string> dtrChanges(uint64_t from) const {
        std::vector<std::string> changes;
        for (const phone::Entry& entry : journal.since(from)) {
            if (entry.kind == Kind::Dtr) changes.push_back(entry.note);
        }
        return changes;
    }

    // How many descriptors of ttys this process has.
    static size_t openTtys() {
        size_t count = 0;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code error;
            count += std::filesystem::read_symlink(entry, error).string().starts_with("/dev/pts/");
        }
        return count;
    }

    // Puts another file in the place of the tty, which the watch of /dev does not notice.
    static void replaceTty(const std::string& target) {
        std::filesystem::create_symlink(target, "/dev/other");
        std::filesystem::rename("/dev/other", "/dev/ttyACM0");
    }
};

// Which command the properties choose.

struct Properties {
    const char* name;
    const char* capture;  // null: not set
    const char* uart;
    const char* command;
};

void PrintTo(const Properties& properties, std::ostream* out) {
    *out << properties.name;
}

class LogModeTest : public SerialLogTest, public testing::WithParamInterface<Properties> {};

TEST_P(LogModeTest, IsChosenByTheProperties) {
    const auto& [name, capture, uart, command] = GetParam();
    if (capture != nullptr) phone.properties.set(kCapture, capture);
    if (uart != nullptr) phone.properties.set(kUart, uart);
    EXPECT_STREQ(Bivista::getLogSaveAtCmd(), command);
}

// Meant: one character decides, so that letters count as "1" and "01" as "0".
INSTANTIATE_TEST_SUITE_P(Properties, LogModeTest,
                         testing::Values(Properties{"NotSet", nullptr, nullptr, "AT%LOGSAVE=3\r"},
                                         Properties{"Empty", "", "1", "AT%LOGSAVE=3\r"},
                                         Properties{"Zero", "0", "1", "AT%LOGSAVE=3\r"},
                                         Properties{"ZeroFirst", "01", nullptr, "AT%LOGSAVE=3\r"},
                                         Properties{"BelowOne", "/", nullptr, "AT%LOGSAVE=3\r"},
                                         Properties{"One", "1", nullptr, "AT%LOGSAVE=0\r"},
                                         Properties{"OneWithoutUart", "1", "0", "AT%LOGSAVE=0\r"},
                                         Properties{"OneWithEmptyUart", "1", "", "AT%LOGSAVE=0\r"},
                                         Properties{"OneWithUart", "1", "1", "AT%LOGSAVE=2\r"},
                                         Properties{"UartBeginsWithOne", "1", "10",
                                                    "AT%LOGSAVE=2\r"},
                                         Properties{"UartTwo", "1", "2", "AT%LOGSAVE=0\r"},
                                         Properties{"Two", "2", nullptr, "AT%LOGSAVE=0\r"},
                                         Properties{"Letter", "a", "1", "AT%LOGSAVE=2\r"},
                                         Properties{"Word", "true", nullptr, "AT%LOGSAVE=0\r"}),
                         [](const auto& info) { return info.param.name; });

TEST_F(SerialLogTest, LogsThePropertiesThatItReads) {
    phone.properties.set(kCapture, "1");
    Bivista::getLogSaveAtCmd();
    EXPECT_THAT(log.texts(),
                ElementsAre("getLogSaveAtCmd: persist.vendor.qmx.service.kernel.enable :1",
                            "getLogSaveAtCmd: persist.vendor.qmx.dd.uart.enable :0"));
    EXPECT_EQ(log.lines()[0].priority, ANDROID_LOG_DEBUG);
    log.clear();
    phone.properties.set(kCapture, "0");
    Bivista::getLogSaveAtCmd();
    EXPECT_THAT(log.texts(),
                ElementsAre("getLogSaveAtCmd: persist.vendor.qmx.service.kernel.enable :0"));
}

TEST_F(SerialLogTest, APropertyFileThatIsMissingOrMalformedMeansNoCapture) {
    phone.properties.clear();
    EXPECT_STREQ(Bivista::getLogSaveAtCmd(), "AT%LOGSAVE=3\r");
    phone.files.set(phone::kPropertyFile, std::string("\0\n=1\npersist.vendor\n\xff\xfe=", 23));
    EXPECT_STREQ(Bivista::getLogSaveAtCmd(), "AT%LOGSAVE=3\r");
}

// Start and end.

TEST_F(SerialLogTest, AttachSendsTheCommandAndDetachSendsNothing) {
    phone.properties.set(kUart, "1");
    attachWithCapture();
    EXPECT_THAT(commands(first), Contains("AT%LOGSAVE=2\r").Times(1));
    awaitResume();
    const uint64_t from = journal.next();
    detach();
    log.waitFor(ANDROID_LOG_DEBUG, "serialLogThread: exiting");
    EXPECT_THAT(commands(from), IsEmpty());
}

TEST_F(SerialLogTest, ARequestForWhatIsOnlyLogs) {
    start();
    log.clear();
    EXPECT_EQ(service->serialLogEnable(false), 0);
    EXPECT_EQ(log.lines(), (std::vector<support::LogLine>{
                                   {ANDROID_LOG_DEBUG, BIVISTA_LOG_TAG, "serialLogEnable: 0"}}));
    attach();
    const uint64_t from = journal.next();
    EXPECT_EQ(service->serialLogEnable(true), 0);
    EXPECT_THAT(commands(from), IsEmpty());
}

TEST_F(SerialLogTest, ACoverThatRejectsTheCommandIsCapturedAllTheSame) {
    phone.faults.set("on AT%LOGSAVE error");
    attachWithCapture();
    log.waitFor(ANDROID_LOG_ERROR, "serialLogEnable: failed to enable log: Protocol not supported");
    awaitResume();
    detach();
    log.waitFor(ANDROID_LOG_DEBUG, "serialLogThread: exiting");
}

TEST_F(SerialLogTest, WithoutACoverTheThreadEndsWithoutALine) {
    start();
    EXPECT_EQ(service->serialLogEnable(true), -1);
    log.waitFor(ANDROID_LOG_ERROR, "serialLogEnable: failed to enable log: No such device");
    // Joins the thread.
    EXPECT_EQ(service->serialLogEnable(false), 0);
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "serialLogThread: creating"));
    EXPECT_FALSE(log.contains("serialLogThread: exiting"));
}

TEST_F(SerialLogTest, EndsWhileTheCoverStaysOn) {
    attachWithCapture();
    awaitResume();
    const uint64_t from = journal.next();
    EXPECT_EQ(service->serialLogEnable(false), 0);
    EXPECT_THAT(commands(from), ElementsAre("AT%LOGSAVE=3\r"));
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "serialLogThread: exiting"));
    EXPECT_EQ(service->serialLogEnable(true), 0);
    log.waitFor("serialLogThread: resume", log.waitFor("serialLogThread: exiting"));
}

// Meant: a cover on the bus that does not fall silent leaves its thread to end by itself.
TEST_F(SerialLogTest, AFailedEndLeavesTheThreadToTheNextStart) {
    attachWithCapture();
    awaitResume();
    while (!service->getBV2Connect()) {
    }
    phone.faults.set("on AT%LOGSAVE error times 1");
    EXPECT_EQ(service->serialLogEnable(false), -1);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR,
                             "serialLogEnable: failed to disable log: Protocol not supported"));
    EXPECT_EQ(service->serialLogEnable(true), 0);
    awaitResume(log.waitFor("serialLogThread: exiting"));
}

TEST_F(SerialLogTest, AFailedEndWithoutTheUsbDeviceWaitsForTheThread) {
    phone::CoverOptions options = support::withoutPanel();
    options.withUsb = false;
    attachWithCapture(options);
    awaitResume();
    phone.faults.set("on AT%LOGSAVE error times 1");
    EXPECT_EQ(service->serialLogEnable(false), -1);
    EXPECT_TRUE(log.contains("serialLogThread: exiting"));
    EXPECT_FALSE(log.contains("serialLogEnable: failed to disable log: Protocol not supported"));
}

// Lines.

TEST_F(SerialLogTest, CopiesLinesToBothLogs) {
    attachWithCapture();
    awaitResume();
    ASSERT_TRUE(phone.cover.log("mcu: link up"));
    log.waitFor(ANDROID_LOG_INFO, "mcu: link up");
    journal.waitFor(phone::is(Kind::KernelLog, "<6>Bivista: mcu: link up"), first);
}

// Meant: the last byte read gives way to the NUL, also when it is a character of the line.
TEST_F(SerialLogTest, ALongLineLosesTheLastCharacterOfEachPiece) {
    attachWithCapture();
    awaitResume();
    ASSERT_TRUE(phone.cover.log(std::string(1024, 'a') + std::string(10, 'b')));
    log.waitFor(ANDROID_LOG_INFO, std::string(1023, 'a'));
    log.waitFor(ANDROID_LOG_INFO, std::string(10, 'b'));
}

TEST_F(SerialLogTest, ALineEndsAtItsNul) {
    attachWithCapture();
    awaitResume();
    phone.cover.send(std::string("one\0two\r\n", 9));
    log.waitFor(ANDROID_LOG_INFO, "one");
}

// The display.

TEST_F(SerialLogTest, FollowsTheDisplay) {
    attachWithCapture();
    size_t line = awaitLine(awaitResume());
    const size_t ttys = openTtys();
    const uint64_t from = journal.next();
    for (int i = 0; i < 3; ++i) {
        phone.files.setWakeLock(false);
        line = log.waitFor(ANDROID_LOG_INFO, "serialLogThread: suspend", line);
        phone.files.setWakeLock(true);
        line = log.waitFor(ANDROID_LOG_INFO, "serialLogThread: resume", line);
    }
    awaitLine(line);
    EXPECT_THAT(dtrChanges(from),
                ElementsAre("lowered", "raised", "lowered", "raised", "lowered", "raised"));
    EXPECT_EQ(openTtys(), ttys);
}

TEST_F(SerialLogTest, WaitsForADisplayThatIsOffAtTheStart) {
    phone.files.setWakeLock(false);
    attachWithCapture();
    // A write that leaves it off is seen, and changes nothing.
    phone.files.setWakeLock(false);
    EXPECT_FALSE(log.contains("serialLogThread: resume"));
    phone.files.setWakeLock(true);
    awaitResume();
}

TEST_F(SerialLogTest, ADetachDoesNotWaitForADisplayThatIsOff) {
    attachWithCapture();
    awaitResume();
    phone.files.setWakeLock(false);
    log.waitFor("serialLogThread: suspend");
    detach();
    log.waitFor(ANDROID_LOG_DEBUG, "serialLogThread: exiting");
    attach();
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

// Meant: the port is opened for every value but "0" itself, and stays closed for that one.
TEST_F(SerialLogTest, WithoutCaptureThePortStaysClosed) {
    phone.properties.set(kCapture, "0");
    start();
    attach();
    EXPECT_THAT(commands(first), Contains("AT%LOGSAVE=3\r").Times(1));
    // Of a detach that comes before this, the thread says nothing.
    support::awaitWatch(phone::kWakeLock);
    phone.files.setWakeLock(false);
    phone.files.setWakeLock(true);
    detach();
    log.waitFor("serialLogThread: exiting");
    EXPECT_FALSE(log.contains("serialLogThread: resume"));
    EXPECT_FALSE(log.contains("serialLogThread: suspend"));
}

TEST_F(SerialLogTest, OpensThePortForAValueThatOnlyBeginsWithZero) {
    phone.properties.set(kCapture, "01");
    start();
    attach();
    EXPECT_THAT(commands(first), Contains("AT%LOGSAVE=3\r").Times(1));
    awaitResume();
}

TEST_F(SerialLogTest, APropertyThatChangesTakesEffectWithTheDisplay) {
    attachWithCapture();
    size_t line = awaitResume();
    phone.properties.set(kCapture, "0");
    phone.files.setWakeLock(false);
    line = log.waitFor("serialLogThread: suspend", line);
    phone.files.setWakeLock(true);
    phone.files.setWakeLock(false);
    phone.properties.set(kCapture, "1");
    phone.files.setWakeLock(true);
    log.waitFor("serialLogThread: resume", line);
}

TEST_F(SerialLogTest, AnMtkPhonePollsWithATimeout) {
    phone.properties.set("ro.vendor.qmx.chip.vendor", "mtk");
    attachWithCapture();
    log.waitFor(ANDROID_LOG_DEBUG, "serialLogThread MTK model");
    awaitResume();
    ASSERT_TRUE(phone.cover.log("mcu: link up"));
    log.waitFor(ANDROID_LOG_INFO, "mcu: link up");
}

TEST_F(SerialLogTest, OnlyTheExactNameIsAnMtkPhone) {
    phone.properties.set("ro.vendor.qmx.chip.vendor", "mtk6");
    attachWithCapture();
    awaitResume();
    EXPECT_FALSE(log.contains("serialLogThread MTK model"));
}

// What can fail. The service goes on, and the next attach starts anew.

struct Failure {
    const char* name;
    const char* fault;
    const char* line;
};

void PrintTo(const Failure& failure, std::ostream* out) {
    *out << failure.name;
}

class WakeLockFailureTest : public SerialLogTest, public testing::WithParamInterface<Failure> {};

TEST_P(WakeLockFailureTest, EndsTheCapture) {
    phone.faults.set(std::string("node ") + phone::kWakeLock + GetParam().fault);
    attachWithCapture();
    const size_t line = log.waitFor(ANDROID_LOG_ERROR, GetParam().line);
    log.waitFor(ANDROID_LOG_DEBUG, "serialLogThread: exiting", line);
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
    phone.faults.clear();
    detach();
    attach();
    awaitResume();
}

INSTANTIATE_TEST_SUITE_P(
        WakeLock, WakeLockFailureTest,
        testing::Values(Failure{"Open", " unreadable",
                                "serialLogThread: failed to open wake_lock: Permission denied"},
                        Failure{"Read", " read-eio",
                                "serialLogThread: failed to read wake_lock: Input/output error"}),
        [](const auto& info) { return info.param.name; });

TEST_F(SerialLogTest, EndsWithoutAWakeLockToWatch) {
    phone.files.remove(phone::kWakeLock);
    attachWithCapture();
    const size_t line = log.waitFor(
            ANDROID_LOG_ERROR, "serialLogThread: failed to add watch: No such file or directory");
    log.waitFor(ANDROID_LOG_DEBUG, "serialLogThread: exiting", line);
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

TEST_F(SerialLogTest, EndsWhenTheWakeLockVanishes) {
    attachWithCapture();
    awaitResume();
    phone.files.remove(phone::kWakeLock);
    const size_t line =
            log.waitFor(ANDROID_LOG_ERROR,
                        "serialLogThread: failed to open wake_lock: No such file or directory");
    log.waitFor(ANDROID_LOG_DEBUG, "serialLogThread: exiting", line);
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

TEST_F(SerialLogTest, EndsWhenThePortCannotBeOpened) {
    phone.files.setWakeLock(false);
    attachWithCapture();
    replaceTty("/nowhere");
    phone.files.setWakeLock(true);
    const size_t line = log.waitFor(
            ANDROID_LOG_ERROR,
            "serialLogThread: failed to open \"/dev/ttyACM0\": No such file or directory");
    log.waitFor(ANDROID_LOG_DEBUG, "serialLogThread: exiting", line);
}

TEST_F(SerialLogTest, EndsWhenThePortHasNoModemLines) {
    phone.files.setWakeLock(false);
    attachWithCapture();
    phone.files.set("/data/plain", "");
    replaceTty("/data/plain");
    phone.files.setWakeLock(true);
    const size_t line =
            log.waitFor(ANDROID_LOG_ERROR,
                        "serialLogThread: failed to set DTR: Inappropriate ioctl for device");
    log.waitFor(ANDROID_LOG_DEBUG, "serialLogThread: exiting", line);
}

TEST_F(SerialLogTest, EndsWithTheTtysHangUp) {
    attachWithCapture();
    awaitResume();
    phone.cover.detach();
    // Either it sees the hang-up or it is woken first.
    log.waitFor(ANDROID_LOG_DEBUG, "serialLogThread: exiting");
}

// With AT commands between the lines.

// An answer is whole, whatever the cover sends before and after it, and has no line of the log.
TEST_F(SerialLogTest, NeverTakesALineOfAnAnswer) {
    const char* text = getenv("CHATTER_COMMANDS");
    const int count = text != nullptr ? atoi(text) : 200;
    attachWithCapture();
    awaitResume();
    phone.cover.setChatter(cover::Chatter{"chatter"});
    for (int i = 0; i < count; ++i) {
        ASSERT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312") << i;
        if (i % 100 == 0) log.clear();
    }
    phone.cover.setChatter(std::nullopt);
    EXPECT_EQ(send("AT%GETBVCUTOUT\r").value,
              static_cast<int>(phone.cover.options().cutout.size()) + 1);
}

// Meant: between the blank line and the end every line is the answer's.
TEST_F(SerialLogTest, ALineInsideAnAnswerIsPartOfIt) {
    attachWithCapture();
    awaitResume();
    phone.faults.set("on AT%SWV inside \"mcu: link up\" times 1");
    EXPECT_EQ(send("AT%SWV\r").answer, "mcu: link up\nBV330-V10k_20210312");
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

// Meant: a line of the log that reads "OK" ends the command.
TEST_F(SerialLogTest, ALineThatReadsLikeTheEndEndsTheCommand) {
    attachWithCapture();
    awaitResume();
    phone.faults.set("on AT%SWV before \"OK\" times 1");
    EXPECT_EQ(send("AT%SWV\r").value, 0);
}

// Cover lines that come while the display is off wait for the next command, which logs them.
// The capture reads between commands: what it has read no later command meets.
TEST_F(SerialLogTest, AnExtraOkIsALineOfTheLogAndShiftsNothing) {
    attachWithCapture();
    awaitResume();
    phone.faults.set(R"(on AT%SWV after "OK" times 1)");
    const size_t line = log.lines().size();
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
    log.waitFor(ANDROID_LOG_INFO, "OK", line);
    journal.waitFor(phone::is(Kind::KernelLog, "<6>Bivista: OK"), first);
    EXPECT_EQ(send("AT%GETBVCUTOUT\r").answer, phone.cover.options().cutout);
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

TEST_F(SerialLogTest, ACommandRaisesDtrWithTheDisplayOff) {
    attachWithCapture();
    awaitResume();
    phone.files.setWakeLock(false);
    // The line falls behind the log's word.
    awaitDtr("lowered");
    EXPECT_FALSE(phone.cover.state().dtr);
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
    EXPECT_TRUE(phone.cover.state().dtr);
    ASSERT_TRUE(phone.cover.log("in the dark"));
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
    EXPECT_TRUE(log.contains(ANDROID_LOG_INFO, "in the dark\n"));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
