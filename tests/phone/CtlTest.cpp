// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivista-emulator ctl against what it may meet: files, full disks, terminals, other servers.

#include <gmock/gmock.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <thread>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "tests/phone/Program.h"
#include "tests/tools/Terminal.h"

namespace {

namespace fs = std::filesystem;

using program::kEmulator;
using program::ProgramTest;
using support::Outcome;
using support::Process;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

// Sends every client the same bytes, and closes.
class OtherServer {
  public:
    OtherServer(const std::string& path, std::string answer) : mAnswer(std::move(answer)) {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        unlink(path.c_str());
        EXPECT_EQ(bind(mSocket, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
        EXPECT_EQ(listen(mSocket, 8), 0);
        mThread = std::thread([this] { serve(); });
    }
    ~OtherServer() {
        shutdown(mSocket, SHUT_RDWR);
        mThread.join();
        close(mSocket);
    }
    OtherServer(const OtherServer&) = delete;
    OtherServer& operator=(const OtherServer&) = delete;

  private:
    static void takeRequest(int client) {
        constexpr std::string_view kLength = "Content-Length: ";
        std::string request;
        const auto readUntil = [&](const auto& isWhole) {
            for (char byte; !isWhole() && read(client, &byte, 1) == 1;) request += byte;
        };
        readUntil([&] { return request.ends_with("\r\n\r\n"); });
        const size_t length = request.find(kLength);
        if (length == std::string::npos) return;
        const size_t whole = request.size() + std::stoul(request.substr(length + kLength.size()));
        readUntil([&] { return request.size() == whole; });
    }
    void serve() const {
        for (int client; (client = accept4(mSocket, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
            takeRequest(client);
            for (size_t sent = 0; sent < mAnswer.size();) {
                const ssize_t count =
                        send(client, mAnswer.data() + sent, mAnswer.size() - sent, MSG_NOSIGNAL);
                if (count < 0) break;
                sent += static_cast<size_t>(count);
            }
            close(client);
        }
    }

    const int mSocket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const std::string mAnswer;
    std::thread mThread;
};

std::string http(const std::string& status, const std::string& body) {
    return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

class CtlTest : public ProgramTest {
  protected:
    CtlTest() {
        fs::create_directory(mFolder + "/hidl");
        fs::permissions(mFolder + "/hidl", fs::perms::owner_all);
    }

    std::string socketPath() const { return mFolder + "/hidl/emulator.sock"; }

    // The message and the exit status of ctl when a program answers so.
    void expectForeign(const std::string& answer, const std::vector<std::string>& words,
                       const std::string& message) const {
        const OtherServer server(socketPath(), answer);
        std::vector<std::string> arguments = {"ctl"};
        arguments.insert(arguments.end(), words.begin(), words.end());
        const Outcome outcome = invoke(arguments);
        const std::string what = answer.substr(0, 100) + " to " + testing::PrintToString(words);
        EXPECT_EQ(outcome.status, 3) << what;
        EXPECT_EQ(outcome.err, message) << what;
        EXPECT_EQ(outcome.out, "") << what;
    }
    std::string noEmulator() const {
        return "bivista-emulator: what answers on " + socketPath() +
               " is no emulator, or not one of this version: end it, or name the emulator's folder "
               "with HIDL_SOCKET_DIR\n";
    }
    std::string noAnswer() const {
        return "bivista-emulator: the emulator on " + socketPath() +
               " has ended before its answer, or is none: start one with \"bivista-emulator "
               "run\"\n";
    }
};

TEST_F(CtlTest, SaysWhatAnswersInsteadOfAnEmulator) {
    const std::vector<std::pair<std::string, std::string>> messages = {
            {http("200 OK", "[1]"), noEmulator()},
            {http("500 Error", "[1]"), noEmulator()},
            {http("404 Not Found", "<html>no</html>"), noEmulator()},
            {http("404 Not Found", "{\"error\":[1]}"), noEmulator()},
            {http("404 Not Found", "{}"), noEmulator()},
            {http("200 OK", ""), noEmulator()},
            {http("200 OK", std::string(100'000, '[')), noEmulator()},
            {"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n{}", noAnswer()},
            {http("410 Gone", R"({"error":"the emulator ends"})"),
             "bivista-emulator: the emulator ends\n"},
            {"", noAnswer()},
            {"SSH-2.0-other\r\n", noAnswer()},
            {"HTTP/1.1 200 " + std::string(300'000, 'a') + "\r\n\r\n", noAnswer()},
            {std::string(100'000, '\0'), noAnswer()}};
    for (const auto& [answer, message] : messages) {
        expectForeign(answer, {"show"}, message);
        expectForeign(answer, {"property", "k", "v"}, message);
    }
}

TEST_F(CtlTest, SaysToEveryCommandThatAListIsNotTheEmulators) {
    const std::string picture = mFolder + "/picture.png";
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"show", "--json"},
                                               {"journal"},
                                               {"journal", "--follow"},
                                               {"klog"},
                                               {"snapshot", picture},
                                               {"fault"},
                                               {"firmware", "list"},
                                               {"detach"},
                                               {"node", "/sys/x", "--remove"}}) {
        expectForeign(http("200 OK", "[1]"), words, noEmulator());
    }
    EXPECT_FALSE(fs::exists(picture));
}

TEST_F(CtlTest, SaysThatAnObjectIsNotTheEmulators) {
    const std::string picture = mFolder + "/picture.png";
    const std::vector<std::pair<const char*, std::vector<std::string>>> answers = {
            {R"({"attached":true,"screen":7})", {"show"}},
            {R"({"entries":7,"next":2})", {"journal"}},
            {R"({"entries":[7],"next":2})", {"journal"}},
            {R"({"entries":[{}],"next":"x"})", {"journal"}},
            {R"({"entries":[{}],"next":1})", {"journal"}},
            {R"({"faults":[7]})", {"fault"}},
            {R"({"files":[{"name":7}]})", {"firmware", "list"}},
            {R"({"properties":[]})", {"klog"}},
            {R"({"width":4,"height":4,"levels":"00"})", {"snapshot", picture}}};
    for (const auto& [body, words] : answers) {
        expectForeign(http("200 OK", body), words, noEmulator());
        expectForeign(http("200 OK", "{}"), words, noEmulator());
    }
    const std::string deep = std::string(100'000, '[') + std::string(100'000, ']');
    expectForeign(http("200 OK", R"({"attached":)" + deep + "}"), {"show", "--json"}, noEmulator());
    EXPECT_FALSE(fs::exists(picture));
}

TEST_F(CtlTest, SaysWhatIsRefusedInOneLine) {
    const Outcome outcome = runShell(kEmulator + " ctl node \"$(printf '/sys/a\\nb\\033[31m')\"");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "bivista-emulator: there is no file /sys/a?b?[31m\n");
}

TEST_F(CtlTest, SaysThatItHasTooFewDescriptors) {
    Process phone(stayingUp());
    phone.waitFor("up\n");
    // Those that the test was started with would count as well.
    Process child({"/bin/sh", "-c",
                   "exec 3>&- 4>&- 5>&- 6>&- 7>&- 8>&- 9>&-; ulimit -n 4; exec " + kEmulator +
                           " ctl show"});
    EXPECT_EQ(child.wait(), 4);
    EXPECT_EQ(child.err(),
              "bivista-emulator: this program failed: no socket: Too many open files\n");
    EXPECT_EQ(phone.wait(), 0);
}

TEST_F(CtlTest, EndsWithFourWhereItsOutputCannotBeWritten) {
    const std::vector<std::string> commands = {"show",
                                               "show --json",
                                               "fault",
                                               "fault --json",
                                               "property",
                                               "property --json",
                                               "node /sys/power/wake_lock",
                                               "node /sys/power/wake_lock --json",
                                               "firmware list",
                                               "firmware list --json",
                                               "journal",
                                               "journal --follow",
                                               "klog",
                                               "klog --follow",
                                               "snapshot -"};
    std::string script = "ctl='" + kEmulator + " ctl'; $ctl fault 'on AT silent'; " +
                         "$ctl property persist.vendor.qmx.service.kernel.enable 1; "
                         "$ctl firmware put a; $ctl subdisplay --width 4 --height 2; "
                         "echo message > /dev/kmsg; ";
    std::string statuses;
    std::string messages;
    for (const std::string& words : commands) {
        script += "$ctl " + words + " > /dev/full; echo $? " + words + "; ";
        statuses += "4 " + words + "\n";
        messages += "bivista-emulator: cannot write to standard output: No space left on device\n";
    }
    const Outcome outcome = runShell(script);
    EXPECT_EQ(outcome.out, statuses);
    EXPECT_EQ(outcome.err, messages);
}

TEST_F(CtlTest, SnapshotGoesIntoWhatIsNoRegularFileAndLeavesItThere) {
    const std::string fifo = mFolder + "/fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::string device = mFolder + "/device";
    fs::create_symlink("/dev/full", device);
    const Outcome outcome = runShell(
            "ctl='" + kEmulator + " ctl'; $ctl subdisplay --width 4 --height 2; head -c 4 " + fifo +
            " & $ctl snapshot " + fifo + "; wait; $ctl snapshot - | head -c 4; " +
            "$ctl snapshot " + device);
    EXPECT_EQ(outcome.out, "\x89PNG\x89PNG");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "bivista-emulator: cannot write the picture " + device +
                                   ": No space left on device\n");
    EXPECT_TRUE(fs::is_fifo(fifo));
    EXPECT_TRUE(fs::is_symlink(device));
}

TEST_F(CtlTest, SnapshotThatFindsNoRoomLeavesTheFormerOne) {
    const Outcome outcome = runShell(
            "ctl='" + kEmulator + " ctl'; cd " + mFolder +
            "; mkdir disk; mount -t tmpfs -o size=4k none disk; cd disk; printf before > a.png; "
            "ln -s a.png link.png; $ctl subdisplay --width 256 --height 64; $ctl snapshot "
            "link.png; "
            "echo $?; cat a.png; echo; ls; cd ..; umount disk");
    EXPECT_EQ(outcome.out, "1\nbefore\na.png\nlink.png\n");
    EXPECT_EQ(outcome.err,
              "bivista-emulator: cannot write the picture link.png: No space left on device\n");
}

// Such as one that was killed while it wrote has left.
TEST_F(CtlTest, SnapshotFindsANameBesideWhatWasLeftThere) {
    const Outcome outcome = runShell("umask 027; cd " + mFolder + "; " + kEmulator +
                                     " ctl subdisplay --width 4 --height 2; /bin/sh -c '> "
                                     ".new-$$; exec " +
                                     kEmulator + " ctl snapshot a.png'; stat -c %a a.png; ls -A");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, testing::MatchesRegex("640\n.new-[0-9]+\na.png\nhidl\n"));
}

TEST_F(CtlTest, SnapshotReplacesWhatASymlinkLeadsTo) {
    const std::string file = mFolder + "/file";
    const std::string link = mFolder + "/link";
    std::ofstream(file) << "before";
    fs::create_symlink("file", link);
    EXPECT_EQ(runShell(kEmulator + " ctl subdisplay --width 4 --height 2; " + kEmulator +
                       " ctl snapshot " + link)
                      .status,
              0);
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_THAT(contentOf(file), StartsWith("\x89PNG"));
}

constexpr char kCaptureIsOff[] =
        "bivista-emulator: the capture of the cover's log is off; \"bivista-emulator ctl property "
        "persist.vendor.qmx.service.kernel.enable 1\" and \"bivista-emulator ctl reattach\" switch "
        "it on\n";

TEST_F(CtlTest, KernelLogTellsThatTheCaptureIsOff) {
    const std::string klog = "ctl='" + kEmulator + " ctl'; echo a > /dev/kmsg; $ctl property " +
                             "persist.vendor.qmx.service.kernel.enable ";
    for (const char* off : {"0", "''", "-1"}) {
        const Outcome outcome = runShell(klog + off + "; $ctl klog");
        EXPECT_EQ(outcome.out, "a\n") << off;
        EXPECT_EQ(outcome.err, kCaptureIsOff) << off;
        EXPECT_EQ(outcome.status, 0) << off;
    }
    EXPECT_EQ(runShell(kEmulator + " ctl klog").err, kCaptureIsOff);
    for (const char* on : {"1", "2"}) {
        const Outcome outcome = runShell(klog + on + "; $ctl klog");
        EXPECT_EQ(outcome.out, "a\n") << on;
        EXPECT_EQ(outcome.err, "") << on;
    }
}

TEST_F(CtlTest, FaultsOnATerminalAreShownWithHowOftenTheyWereMet) {
    Process phone(emulator({"run", "--", "/bin/sh", "-c",
                            "ctl='" + kEmulator + " ctl'; $ctl fault 'node /sys/x missing'; " +
                                    "$ctl fault 'on AT silent times 3'; cat /sys/x; "
                                    "cat /sys/x; echo met; read line || exit 0"}));
    phone.waitFor("met\n");
    const std::string plain = "on AT silent times 3\nnode \"/sys/x\" missing\n";
    EXPECT_EQ(invoke({"ctl", "fault"}).out, plain);
    EXPECT_THAT(invoke({"ctl", "show"}).out,
                EndsWith("faults:\n  on AT silent times 3  # met 0 times\n"
                         "  node \"/sys/x\" missing  # met 2 times\n"));
    Terminal terminal;
    Process child({"/bin/sh", "-c", kEmulator + " ctl fault > " + terminal.path()});
    EXPECT_EQ(terminal.readUntil("\n") + terminal.readUntil("\n"),
              "on AT silent times 3  # met 0 times\nnode \"/sys/x\" missing  # met 2 times\n");
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(phone.wait(), 0);
}

TEST_F(CtlTest, OneFaultIsTakenAway) {
    Process phone(stayingUp());
    phone.waitFor("up\n");
    for (const char* fault : {"on AT silent", "on AT late 1s", "node /sys/x missing"}) {
        EXPECT_EQ(invoke({"ctl", "fault", fault}).status, 0);
    }
    EXPECT_EQ(invoke({"ctl", "fault", "--remove", "on AT silent"}).status, 0);
    EXPECT_EQ(invoke({"ctl", "fault", "node", "/sys/x", "missing", "--remove"}).status, 0);
    EXPECT_EQ(invoke({"ctl", "fault"}).out, "on AT late 1s\n");
    const Outcome gone = invoke({"ctl", "fault", "--remove", "on AT silent"});
    EXPECT_EQ(gone.status, 1);
    EXPECT_EQ(gone.err, "bivista-emulator: no such fault is set: on AT silent\n");
    EXPECT_EQ(invoke({"ctl", "fault"}).out, "on AT late 1s\n");
    EXPECT_EQ(phone.wait(), 0);
}

TEST_F(CtlTest, AnotherDeviceComesAndGoesBesideTheCover) {
    const Outcome outcome = runShell(
            "ctl='" + kEmulator + " ctl'; $ctl foreign attach; $ctl foreign attach --tty 7 " +
            "--id-vendor 1199; cat /sys/class/tty/ttyACM7/device/../id*; $ctl foreign detach " +
            "--tty 7; ls /dev/ttyACM*; $ctl foreign detach --tty 7");
    EXPECT_EQ(outcome.out, "0104\n1199\n/dev/ttyACM0\n");
    EXPECT_EQ(outcome.err,
              "bivista-emulator: ttyACM0 is there already: detach it first\n"
              "bivista-emulator: there is no foreign ttyACM7\n");
}

TEST_F(CtlTest, SaysWhatAValueMustBe) {
    EXPECT_EQ(invoke({"ctl", "subdisplay", "--width", "65536"}).err,
              "bivista-emulator: --width: must be an integer from 0 to 65535. "
              "\"bivista-emulator ctl subdisplay --help\" tells more.\n");
    EXPECT_EQ(invoke({"ctl", "subdisplay", "--open-ms", "50ms"}).err,
              "bivista-emulator: --open-ms: must be an integer from 0 to 86400000. "
              "\"bivista-emulator ctl subdisplay --help\" tells more.\n");
    EXPECT_EQ(invoke({"ctl", "cover", "--hot-plug-polls", "often"}).err,
              "bivista-emulator: --hot-plug-polls: must be an integer from 0 to 2147483647 or "
              "\"never\". \"bivista-emulator ctl cover --help\" tells more.\n");
}

TEST_F(CtlTest, RefusesWhatDoesNotGoTogether) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> wrong = {
            {{"ctl", "chatter", "off", "--text", "x"}, "chatter: --text does not go with off"},
            {{"ctl", "lpwg", "result"}, "lpwg: N is missing"},
            {{"ctl", "property", "key"}, "property: VALUE is missing"},
            {{"ctl", "node", "/sys/x", "text", "--remove"}, "node: TEXT does not go with --remove"},
            {{"ctl", "fault", "--remove"}, "fault: TEXT is missing"},
            {{"ctl", "fault", "--clear", "on AT silent"}, "fault: TEXT does not go with --clear"},
            {{"ctl", "fault", "--json", "on AT silent"}, "fault: --json does not go with the rest"},
    };
    for (const auto& [arguments, message] : wrong) {
        const Outcome outcome = invoke(arguments);
        EXPECT_EQ(outcome.status, 2) << message;
        EXPECT_THAT(outcome.err, StartsWith("bivista-emulator: " + message + ". ")) << message;
    }
}

TEST_F(CtlTest, HelpNamesTheExitStatuses) {
    EXPECT_THAT(invoke({"ctl", "--help"}).out,
                HasSubstr("Exit status: 0 done; 1 refused by the emulator, or the file of "
                          "\"snapshot\" cannot be\nwritten; 2 wrong arguments; 3 no emulator, or "
                          "what answers is none; 4 standard output cannot\nbe written, or this "
                          "program ran out of memory, descriptors or threads.\n"));
}

}  // namespace
