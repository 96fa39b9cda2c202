// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The debug dump against states that were made, and what it does with the descriptor it is given.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <map>
#include <thread>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "diagnostics/DumpOutput.h"

#include <nlohmann/json.hpp>
#include "tests/kernel/DumpReader.h"
#include "tests/kernel/ServiceTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::StartsWith;

class DumpTest : public ServiceTest {
  protected:
    std::string dump(const hidl_vec<hidl_string>& options = {}) {
        return dumpOf(*service, options);
    }
    nlohmann::json dumpJson() { return dumpJsonOf(*service); }
    // Of a command; null when there is none.
    nlohmann::json row(const std::string& name) {
        const nlohmann::json dump = dumpJson();
        for (const nlohmann::json& row : dump["commands"]) {
            if (row["name"] == name) return row;
        }
        ADD_FAILURE() << "no row of " << name;
        return nullptr;
    }
    static std::string orderOf(const nlohmann::json& dump) {
        return std::to_string(dump["upgrade"]["orders"].get<int>()) + " " +
               dump["upgrade"]["order"].get<std::string>() + " " +
               dump["upgrade"]["status"].get<std::string>();
    }
    static std::string failureOf(const nlohmann::json& dump) {
        return dump["lastFailure"]["command"].get<std::string>() + ": " +
               dump["lastFailure"]["cause"].get<std::string>();
    }
};

TEST_F(DumpTest, TellsOfAPhoneWithoutACover) {
    start();
    const nlohmann::json dump = dumpJson();
    EXPECT_EQ(dump["usb"],
              nlohmann::json(
                      {{"attached", false}, {"loader", false}, {"watched", true}, {"votes", 0}}));
    EXPECT_EQ(dump["upgrade"], nlohmann::json({{"orders", 0},
                                               {"order", nullptr},
                                               {"status", nullptr},
                                               {"secondsAgo", nullptr}}));
    EXPECT_EQ(dump["serial"], nlohmann::json({{"attached", false},
                                              {"path", ""},
                                              {"logAsked", false},
                                              {"logRunning", false}}));
    EXPECT_EQ(dump["display"], nlohmann::json({{"initialized", false}, {"screenOn", false}}));
    EXPECT_EQ(dump["subDisplay"], nlohmann::json({{"attached", false},
                                                  {"path", ""},
                                                  {"state", "UNINITIALIZED"},
                                                  {"width", 0},
                                                  {"height", 0},
                                                  {"format", 0},
                                                  {"lastDrawn", 0}}));
    EXPECT_EQ(dump["at"], nlohmann::json({{"exchanges", 0},
                                          {"failures", 0},
                                          {"timeouts", 0},
                                          {"refused", 0},
                                          {"recoveries", 0}}));
    EXPECT_EQ(dump["lastFailure"],
              nlohmann::json({{"command", nullptr}, {"cause", nullptr}, {"secondsAgo", nullptr}}));
    EXPECT_EQ(dump["commands"], nlohmann::json::array());
    // The queue begins with zeros that are never sent.
    EXPECT_EQ(dump["brightness"]["queued"], 20);
    EXPECT_EQ(dump["brightness"]["highWater"], 20);
}

TEST_F(DumpTest, TellsOfACover) {
    start();
    attach();
    const nlohmann::json dump = dumpJson();
    EXPECT_EQ(dump["serial"], nlohmann::json({{"attached", true},
                                              {"path", "/dev/ttyACM0"},
                                              {"logAsked", true},
                                              {"logRunning", false}}))
            << "no property asks for the cover's log";
    EXPECT_EQ(dump["display"]["initialized"], true);
    detach();
    EXPECT_EQ(dumpJson()["serial"]["attached"], false);
    EXPECT_EQ(dumpJson()["display"]["initialized"], false);
}

TEST_F(DumpTest, TellsWhetherTheCoversLogIsCapturedAtTheMoment) {
    const auto isRunning = [&] { return dumpJson()["serial"]["logRunning"] == true; };
    phone.properties.set("persist.vendor.qmx.service.kernel.enable", "1");
    phone.files.setWakeLock(false);
    start();
    attach();
    EXPECT_EQ(dumpJson()["serial"]["logAsked"], true);
    EXPECT_FALSE(isRunning()) << "with the display off nothing is read";
    phone.files.setWakeLock(true);
    while (!isRunning()) {
    }
    phone.files.setWakeLock(false);
    while (isRunning()) {
    }
    phone.files.setWakeLock(true);
    while (!isRunning()) {
    }
    detach();
    while (isRunning()) {
    }
    while (dumpJson()["serial"]["logAsked"] == true) {
    }
}

TEST_F(DumpTest, CountsVotes) {
    start();
    attach();
    service->usbAutoSuspend(false, true);
    service->usbAutoSuspend(false, true);
    EXPECT_EQ(dumpJson()["usb"]["votes"], 2);
}

TEST_F(DumpTest, TellsOfALoader) {
    const auto isThere = [&] { return dumpJson()["usb"]["loader"] == true; };
    start();
    attach();
    EXPECT_FALSE(isThere());
    phone.loader.attach();
    while (!isThere()) {
    }
    phone.cover.detach();
    while (dumpJson()["usb"]["attached"] == true) {
    }
    EXPECT_TRUE(isThere()) << "the cover went, and not the loader";
    phone.loader.detach();
    while (isThere()) {
    }
}

TEST_F(DumpTest, TellsTheLastUpgradeOrder) {
    start();
    service->doFirmwareUpgrade();
    EXPECT_EQ(orderOf(dumpJson()), "1 UPGRADE OK");
    service->cancelFirmwareUpgrade();
    EXPECT_EQ(orderOf(dumpJson()), "2 CANCEL OK");
    service->doRecoveryUpgrade();
    EXPECT_EQ(orderOf(dumpJson()), "3 RECOVERY OK");
    phone.files.remove(phone::kFirmwareWrite);
    service->doFirmwareUpgrade();
    EXPECT_EQ(orderOf(nlohmann::json::parse(dump({"--json", "--reset"}))), "4 UPGRADE FAIL");
    EXPECT_EQ(orderOf(dumpJson()), "4 UPGRADE FAIL") << "a reset leaves it";
    EXPECT_GE(dumpJson()["upgrade"]["secondsAgo"], 0);
}

TEST_F(DumpTest, KeepsTheOrderWhenADetachCancels) {
    start();
    attach();
    service->doFirmwareUpgrade();
    detach();
    EXPECT_THAT(nodeWrites(first), Contains("virtual_mcu_firmware_write=0"));
    EXPECT_EQ(orderOf(dumpJson()), "1 UPGRADE OK");
    service->cancelFirmwareUpgrade();
    EXPECT_EQ(orderOf(dumpJson()), "2 CANCEL OK") << "a client's is an order";
}

TEST_F(DumpTest, TellsTheLastCommandThatFailed) {
    start();
    send("AT%SWV\r");
    EXPECT_EQ(failureOf(dumpJson()), "AT%SWV: No such device");
    attach();
    send("at%\x1B=1");
    EXPECT_EQ(failureOf(dumpJson()), "AT%<0x1B>: Invalid argument");
    send("AT%NONSENSE=1\r");
    EXPECT_EQ(failureOf(dumpJson()), "AT%NONSENSE: Command not supported");
    phone.faults.set("on AT%HPD silent times 1");
    send("AT%HPD\r");
    EXPECT_EQ(failureOf(dumpJson()), "AT%HPD: Timer expired");
    EXPECT_GE(dumpJson()["lastFailure"]["secondsAgo"], 0);
}

TEST_F(DumpTest, KeepsTheFailureWhenCommandsSucceedAndForgetsItOnAReset) {
    start();
    attach();
    send("AT%NONSENSE\r");
    send("AT%SWV\r");
    EXPECT_EQ(failureOf(nlohmann::json::parse(dump({"--json", "--reset"}))),
              "AT%NONSENSE: Command not supported");
    EXPECT_EQ(dumpJson()["lastFailure"]["command"], nullptr);
}

TEST_F(DumpTest, TellsThatNobodyWatchesAnyMore) {
    start();
    service->usbThreadJoin();
    EXPECT_EQ(dumpJson()["usb"]["watched"], false);
}

TEST_F(DumpTest, ListsEveryThreadOfTheProcess) {
    start();
    std::vector<int> tids;
    const nlohmann::json dump = dumpJson();
    for (const nlohmann::json& thread : dump["threads"]) {
        EXPECT_NE(thread["name"], "");
        EXPECT_GT(thread["tid"], 0) << "a folder that is no thread's";
        tids.push_back(thread["tid"]);
    }
    EXPECT_TRUE(std::is_sorted(tids.begin(), tids.end()));
    EXPECT_GT(tids.front(), 0) << "the folder above is no thread";
    EXPECT_THAT(tids, Contains(gettid()));
    EXPECT_GE(tids.size(), 3u) << "and the two that watch USB";
}

TEST_F(DumpTest, CallsThreadsByTheirWork) {
    start();
    log.waitFor("usbThread: creating");
    attach();
    log.waitFor("serialLogThread: creating");
    EXPECT_THAT(threadNamesOf(*service),
                IsSupersetOf({"usb-notify", "usb", "stop-signal", "serial-log"}));
}

TEST_F(DumpTest, CountsExchangesAsTheCoverReceivedThem) {
    start();
    attach();
    send("AT%SWV\r");
    send("AT%SWV\r");
    send("AT%DB=7\r");
    EXPECT_EQ(row("AT%SWV")["count"], 2);
    EXPECT_EQ(row("AT%DB")["count"], 1);
    const nlohmann::json dump = dumpJson();
    EXPECT_EQ(dump["at"]["exchanges"], commands(first).size());
    uint64_t sum = 0;
    for (const nlohmann::json& command : dump["commands"]) {
        sum += command["count"].get<uint64_t>();
        EXPECT_LE(command["p50us"], command["p99us"]);
        EXPECT_LE(command["p99us"], command["maxus"]);
        EXPECT_GT(command["maxus"], 0);
    }
    EXPECT_EQ(sum, commands(first).size());
}

// They share a command, but take from milliseconds to minutes.
TEST_F(DumpTest, CountsTheTouchCommandsOfTheServiceApart) {
    start();
    attach();
    const uint64_t from = journal.next();
    service->getTouchFirmwareVersion([](auto...) {});
    service->DoRawdata();
    service->DoDelta();
    service->DoTouchReset();
    service->getGpiopin([](auto...) {});
    service->setStatus({1, 2});
    service->DoTouchFirmwareUpgrade();
    service->getSelfTest([](auto...) {});
    service->getLPWGSelfTest([](auto...) {});
    service->getTestResults();
    service->setAesMode(1);
    for (const std::string& command : commands(from)) {
        const std::string name = command.substr(0, command.find_first_of(",\r"));
        EXPECT_EQ(row(name)["count"], 1) << command;
    }
    EXPECT_EQ(commands(from).size(), 11u);
    send("AT%TCHNOTIFY=ELSE\r");
    EXPECT_EQ(row("AT%TCHNOTIFY")["count"], 1);
}

TEST_F(DumpTest, CountsCommandsThatTheCoverRejects) {
    start();
    attach();
    EXPECT_EQ(send("AT%NONSENSE=1\r").error, EPROTONOSUPPORT);
    EXPECT_EQ(row("AT%NONSENSE")["failures"], 1);
    EXPECT_EQ(row("AT%NONSENSE")["timeouts"], 0);
    EXPECT_EQ(dumpJson()["at"]["failures"], 1);
}

TEST_F(DumpTest, CountsTimeOutsAndRecoveries) {
    start();
    attach();
    phone.faults.set("on AT%SWV silent times 1");
    EXPECT_EQ(send("AT%SWV\r").error, ETIME);
    EXPECT_EQ(row("AT%SWV")["failures"], 1);
    EXPECT_EQ(row("AT%SWV")["timeouts"], 1);
    EXPECT_GE(row("AT%SWV")["maxus"], 5'000'000);
    EXPECT_EQ(dumpJson()["at"]["timeouts"], 1);
    EXPECT_EQ(dumpJson()["at"]["recoveries"], 1);
    EXPECT_THAT(nodeWrites(first), Contains("bv2_recovery=Y").Times(1));
}

// Meant: callers take a hang-up for success, and so does the count.
TEST_F(DumpTest, CountsAHangUpAsNoFailure) {
    start();
    attach();
    phone.faults.set("on AT%SWV hangup");
    EXPECT_EQ(send("AT%SWV\r").value, 1);
    EXPECT_EQ(row("AT%SWV")["failures"], 0);
}

TEST_F(DumpTest, CountsApartWhatNeverReachedTheTty) {
    start();
    EXPECT_EQ(send("AT%SWV\r").error, ENODEV);
    attach();
    const size_t received = commands(first).size();
    EXPECT_EQ(send("%SWV\r").error, EINVAL);
    const nlohmann::json at = dumpJson()["at"];
    EXPECT_EQ(at["refused"], 2);
    EXPECT_EQ(at["exchanges"], received);
    EXPECT_EQ(at["failures"], 0);
}

TEST_F(DumpTest, SpellsTheNamesOfCommands) {
    start();
    attach();
    send("AT%\"\x1B\xFF=1\r");
    EXPECT_EQ(row("AT%\"<0x1B><0xFF>")["count"], 1);
}

TEST_F(DumpTest, CountsAnewAfterAReset) {
    start();
    attach();
    send("AT%SWV\r");
    EXPECT_THAT(dump({"--reset", "--json"}), HasSubstr("{\"name\":\"AT%SWV\",\"count\":1,"))
            << "what is forgotten is printed once more";
    EXPECT_EQ(dumpJson()["at"]["exchanges"], 0);
    EXPECT_EQ(dumpJson()["commands"], nlohmann::json::array());
    EXPECT_EQ(dumpJson()["serial"]["attached"], true) << "the state is no counter";
    send("AT%SWV\r");
    EXPECT_EQ(row("AT%SWV")["count"], 1);
}

TEST_F(DumpTest, ResetsDuringExchangesAddUp) {
    start();
    attach();
    dump({"--reset"});
    const uint64_t from = journal.next();
    std::atomic<bool> ended = false;
    std::thread exchanging([&] {
        for (int i = 0; i < 300; ++i) send(i % 3 == 0 ? "AT%NONSENSE\r" : "AT%SWV\r");
        ended = true;
    });
    uint64_t exchanges = 0, failures = 0;
    for (bool isLast = false; !isLast;) {
        isLast = ended;
        const nlohmann::json taken = nlohmann::json::parse(dump({"--reset", "--json"}));
        exchanges += taken["at"]["exchanges"].get<uint64_t>();
        failures += taken["at"]["failures"].get<uint64_t>();
        for (const nlohmann::json& command : taken["commands"]) {
            const uint64_t count = command["count"];
            const bool isRejected = command["name"] == "AT%NONSENSE";
            EXPECT_EQ(command["failures"], isRejected ? count : 0) << command;
            EXPECT_GT(count, 0u);
            EXPECT_GT(command["p50us"], 0) << command;
            EXPECT_GE(command["maxus"], command["p99us"]) << command;
        }
    }
    exchanging.join();
    EXPECT_EQ(exchanges, 300u);
    EXPECT_EQ(exchanges, commands(from).size());
    EXPECT_EQ(failures, 100u);
}

TEST_F(DumpTest, IsReadableWithoutOptions) {
    start();
    attach();
    EXPECT_THAT(
            dump(),
            AllOf(StartsWith("service:\n  version            "), HasSubstr("\nusb:\n  attached  "),
                  HasSubstr("\n  path        /dev/ttyACM0\n"),
                  HasSubstr("\ncommands:\n  name=ATE0 count=1 failures=0 timeouts=0 p50us="),
                  HasSubstr("\nthreads:\n  tid=")));
}

TEST_F(DumpTest, HelpsAndDoesNothingElse) {
    start();
    attach();
    EXPECT_EQ(dump({"--help", "--reset"}),
              "Prints what the service knows of cover, panel and phone, and what it has counted "
              "since\nits start or the last reset. Asks nothing of the cover.\n\n"
              "  --json     one JSON object on one line\n"
              "  --reset    set the counters to 0 when they are printed\n"
              "  --events   print the last events instead, 256 at most\n"
              "  --since N  print the events above number N instead\n"
              "  --help     this text\n");
    for (const auto& [wrong, shown] : std::map<std::string, std::string>{
                 {"--jso\n", "--jso<0x0A>"}, {"", ""}, {"--Json", "--Json"}, {"json", "json"}}) {
        EXPECT_EQ(dump({"--reset", wrong, "--other"}),
                  "Unknown option " + shown + "; --help lists them.\n");
    }
    EXPECT_GT(dumpJson()["at"]["exchanges"], 0);
}

TEST_F(DumpTest, WithoutADescriptorDoesNothing) {
    start();
    attach();
    EXPECT_TRUE(service->debug(hidl_handle(), {"--reset"}).isOk());
    NATIVE_HANDLE_DECLARE_STORAGE(storage, 0, 1);
    EXPECT_TRUE(service->debug(hidl_handle(native_handle_init(storage, 0, 1)), {"--reset"}).isOk());
    EXPECT_GT(dumpJson()["at"]["exchanges"], 0);
}

TEST_F(DumpTest, AsksNothingOfTheCover) {
    start();
    attach();
    const uint64_t from = journal.next();
    dump();
    dumpJson();
    EXPECT_EQ(journal.next(), from);
}

TEST_F(DumpTest, DoesNotWaitForTheTty) {
    start();
    attach();
    sSerialMutex.lock("test");
    EXPECT_EQ(dumpJson()["serial"]["attached"], true);
    sSerialMutex.unlock("test");
}

class DumpOutputTest : public ServiceTest {
  protected:
    DumpOutputTest() { EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0); }
    ~DumpOutputTest() override {
        closeEnd(0);
        closeEnd(1);
    }
    void closeEnd(size_t end) {
        if (ends[end] >= 0) close(ends[end]);
        ends[end] = -1;
    }
    // As many bytes, a few at a time.
    std::string read(size_t size) const {
        std::string text;
        char piece[100];
        while (text.size() < size) {
            const ssize_t count =
                    ::read(ends[0], piece, std::min(sizeof(piece), size - text.size()));
            if (count <= 0) break;
            text.append(piece, static_cast<size_t>(count));
        }
        return text;
    }
    void makeSocket() {
        closeEnd(0);
        closeEnd(1);
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        const int small = 4096;
        ASSERT_EQ(setsockopt(ends[1], SOL_SOCKET, SO_SNDBUF, &small, sizeof(small)), 0);
    }
    void makeTerminal() {
        closeEnd(0);
        closeEnd(1);
        ends[0] = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        ASSERT_EQ(grantpt(ends[0]), 0);
        ASSERT_EQ(unlockpt(ends[0]), 0);
        ends[1] = ioctl(ends[0], TIOCGPTPEER, O_RDWR | O_NOCTTY | O_CLOEXEC);
        ASSERT_GE(ends[1], 0);
    }
    // The write comes back although nobody reads, and drops what has no room.
    void expectPatience() {
        const int flags = fcntl(ends[1], F_GETFL);
        writeDump(ends[1], text);
        EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR,
                                 "debug: nobody reads the dump; the rest is dropped"));
        EXPECT_EQ(fcntl(ends[1], F_GETFL), flags) << "they are the client's too";
        EXPECT_EQ(read(2000), text.substr(0, 2000));
    }

    int ends[2] = {-1, -1};
    // More than a terminal or a pipe of one page holds.
    const std::string text = std::string(20'000, 'a') + std::string(20'001, 'b');
};

TEST_F(DumpOutputTest, GoesOnWhenThePipeHasRoomAgain) {
    for (const int flags : {0, O_NONBLOCK}) {
        ASSERT_EQ(fcntl(ends[1], F_SETFL, flags), 0);
        ASSERT_GE(fcntl(ends[1], F_SETPIPE_SZ, 4096), 4096);
        std::string got;
        std::thread reader([&] { got = read(text.size()); });
        writeDump(ends[1], text);
        reader.join();
        EXPECT_EQ(got, text);
    }
}

TEST_F(DumpOutputTest, LeavesAPipeThatNobodyEmpties) {
    ASSERT_GE(fcntl(ends[1], F_SETPIPE_SZ, 4096), 4096);
    expectPatience();
}

TEST_F(DumpOutputTest, LeavesANonBlockingPipeThatNobodyEmpties) {
    ASSERT_EQ(fcntl(ends[1], F_SETFL, O_NONBLOCK), 0);
    ASSERT_GE(fcntl(ends[1], F_SETPIPE_SZ, 4096), 4096);
    expectPatience();
}

TEST_F(DumpOutputTest, LeavesASocketThatNobodyEmpties) {
    makeSocket();
    expectPatience();
}

TEST_F(DumpOutputTest, LeavesATerminalThatIsStopped) {
    makeTerminal();
    expectPatience();
}

TEST_F(DumpOutputTest, SurvivesAReaderThatHasGone) {
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    struct sigaction before = {};
    ASSERT_EQ(sigaction(SIGPIPE, &action, &before), 0);
    closeEnd(0);
    writeDump(ends[1], text);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "debug: failed to write: Broken pipe"));
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
    sigaction(SIGPIPE, &before, nullptr);
}

TEST_F(DumpOutputTest, TellsOfADescriptorThatCannotBeWritten) {
    closeEnd(1);
    ends[1] = open("/dev/null", O_RDONLY | O_CLOEXEC);
    writeDump(ends[1], text);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "debug: failed to write: Bad file descriptor"));
}

TEST_F(DumpOutputTest, TellsOfADescriptorThatIsClosed) {
    closeEnd(1);
    writeDump(ends[1], text);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "debug: failed to write: Bad file descriptor"));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
