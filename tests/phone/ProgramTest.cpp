// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivista-emulator as people and scripts use it.

#include <gmock/gmock.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>

#include <fcntl.h>
#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/phone/Program.h"

namespace {

namespace fs = std::filesystem;

using program::kEmulator;
using program::ProgramTest;
using support::Outcome;
using support::Process;
using testing::HasSubstr;
using testing::StartsWith;

// Before a program that root's rights would help.
void becomeNobody() {
    constexpr uid_t kNobody = 65534;
    if (geteuid() != 0) return;
    if (setresgid(kNobody, kNobody, kNobody) != 0 || setresuid(kNobody, kNobody, kNobody) != 0) {
        _exit(99);
    }
}

TEST_F(ProgramTest, GivesTheExitStatusOfTheProgram) {
    EXPECT_EQ(runShell("exit 0").status, 0);
    EXPECT_EQ(runShell("exit 7").status, 7);
    EXPECT_EQ(runShell("kill -9 $$").status, 128 + SIGKILL);
}

TEST_F(ProgramTest, ProgramMeetsTheCover) {
    const Outcome outcome = runShell(
            "cat /sys/class/tty/ttyACM0/device/../idVendor; "
            "exec 3<>/dev/ttyACM0; stty raw -echo <&3; printf 'AT%%SWV\\r' >&3; head -c 6 <&3");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "3e91\nAT%SWV");
}

TEST_F(ProgramTest, OptionsChangeThePhone) {
    const Outcome outcome = invoke(
            {"run", "--tty", "2", "--property", "a=b=c", "--property", "d=", "--firmware-version",
             "ZZ-9_x", "--fault", "node /sys/power/wake_lock missing", "--", "/bin/sh", "-c",
             "cat /data/property/host.prop; cat /sys/power/wake_lock || echo none; "
             "ls /dev/ttyACM*; " +
                     kEmulator + " ctl show | grep version:"});
    EXPECT_EQ(outcome.out, "a=b=c\nd=\nnone\n/dev/ttyACM2\n  version: ZZ-9_x\n");
}

TEST_F(ProgramTest, CoverCanStayOff) {
    EXPECT_EQ(invoke({"run", "--no-cover", "--", "/bin/sh", "-c", "ls /dev/ttyACM0 || echo none"})
                      .out,
              "none\n");
}

TEST_F(ProgramTest, ProgramGetsTheSocketFolderAndNoOutsideProperties) {
    setenv("ANDROID_PROPERTY_FILE", "/etc/passwd", 1);
    const Outcome outcome = runShell("echo $HIDL_SOCKET_DIR $ANDROID_PROPERTY_FILE");
    unsetenv("ANDROID_PROPERTY_FILE");
    EXPECT_EQ(outcome.out, mFolder + "/hidl\n");
}

TEST_F(ProgramTest, RedirectionsOfAShellAreRecorded) {
    const std::string journal = mFolder + "/journal";
    EXPECT_EQ(invoke({"run", "--journal", journal, "--", "/bin/sh", "-c",
                      "printf on > /sys/class/tty/ttyACM0/device/../power/control"})
                      .status,
              0);
    std::ifstream file(journal);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    EXPECT_THAT(text, HasSubstr(R"("kind":"node-write","path":"/sys/devices/platform/soc/usb1/1-1/)"
                                R"(power/control","bytes":"on"})"));
}

// With the kernel's own times, as nobody has set others.
TEST_F(ProgramTest, SuspendsTheIdleCover) {
    const std::string power = "/sys/bus/usb/devices/1-1/power/";
    const Outcome outcome = runShell(
            "cd " + power + "; cat autosuspend_delay_ms; printf auto > control; " + kEmulator +
            " ctl cover --autosuspend-ms 0; until grep suspended runtime_status; do :; done; " +
            kEmulator + " ctl show | sed -n 2p; : > /dev/ttyACM0; " + kEmulator +
            " ctl journal | grep -o 'usb-power.*' | head -n 2");
    EXPECT_EQ(outcome.out,
              "2000\nsuspended\nusb power: suspended\n"
              "usb-power\",\"path\":\"1-1\",\"note\":\"suspended\"}\n"
              "usb-power\",\"path\":\"1-1\",\"note\":\"resumed\"}\n");
}

TEST_F(ProgramTest, SignalsReachTheProgram) {
    Process child(
            emulator({"run", "--", "/bin/sh", "-c",
                      "trap 'echo got; exit 5' TERM; echo up; while :; do sleep 0.01; done"}));
    child.waitFor("up\n");
    kill(child.pid(), SIGTERM);
    EXPECT_EQ(child.wait(), 5);
    EXPECT_EQ(child.out(), "up\ngot\n");
}

// A job in the background of a script has SIGINT ignored.
TEST_F(ProgramTest, SignalsReachAProgramAlsoWhereTheEmulatorWasStartedWithThemIgnored) {
    for (const int number : {SIGINT, SIGTERM}) {
        signal(number, SIG_IGN);
        Process child(emulator({"run", "--", "/bin/sh", "-c", "echo up; exec sleep 1000"}));
        signal(number, SIG_DFL);
        child.waitFor("up\n");
        kill(child.pid(), number);
        EXPECT_EQ(child.wait(), 128 + number);
    }
}

TEST_F(ProgramTest, ColoursAreForTerminalsOrOnRequest) {
    setenv("TERM", "xterm", 1);
    unsetenv("NO_COLOR");
    const std::string show = kEmulator + " ctl show | head -n 1";
    EXPECT_EQ(runShell(show).out, "attached: true\n");
    EXPECT_EQ(runShell(kEmulator + " --color=always ctl show | head -n 1").out,
              "\033[1mattached:\033[0m true\n");
    EXPECT_THAT(invoke({"--color=always", "ctl", "show"}).err,
                StartsWith("\033[1;31mbivista-emulator:\033[0m "));
    EXPECT_EQ(invoke({"--color=sometimes", "ctl", "show"}).status, 2);
}

TEST_F(ProgramTest, WhatTheProgramLeavesBehindEndsWithThePhone) {
    const Outcome outcome = runShell("sleep 1000 & echo $!");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(kill(std::stoi(outcome.out), 0), 0);
}

TEST_F(ProgramTest, ProgramEndsWithTheEmulator) {
    Process child(stayingUp());
    child.waitFor("up\n");
    kill(child.pid(), SIGKILL);
    // Its standard output is ours: wait() returns when no process holds it any more.
    EXPECT_EQ(child.wait(), 128 + SIGKILL);
}

// Starts a grandchild that has left its parents and their session, and notes its number.
constexpr char kLeaveGrandchild[] =
        "setsid -f sh -c 'echo $$ > \"$0\"; exec sleep 1000' $F > /dev/null; "
        "until test -s $F; do :; done; echo up; read line";

class GrandchildTest : public ProgramTest {
  protected:
    GrandchildTest() {
        setenv("F", mFile.c_str(), 1);
        mPhone.emplace(std::vector<std::string>{"/usr/bin/setsid", kEmulator, "run", "--",
                                                "/bin/sh", "-c", kLeaveGrandchild});
        mPhone->waitFor("up\n");
        std::ifstream(mFile) >> mGrandchild;
    }

    // A child of the process.
    static pid_t childOf(pid_t process) {
        const std::string number = std::to_string(process);
        pid_t child = 0;
        std::ifstream("/proc/" + number + "/task/" + number + "/children") >> child;
        return child;
    }

    void awaitGrandchildsEnd() const {
        ASSERT_GT(mGrandchild, 0);
        while (kill(mGrandchild, 0) == 0) usleep(1000);
        EXPECT_EQ(errno, ESRCH);
    }

    const std::string mFile = mFolder + "/grandchild";
    std::optional<Process> mPhone;
    pid_t mGrandchild = 0;
};

TEST_F(GrandchildTest, EndsWithTheProgram) {
    mPhone->wait();
    EXPECT_NE(kill(mGrandchild, 0), 0);
}

TEST_F(GrandchildTest, EndsWithAnEmulatorThatIsKilled) {
    kill(mPhone->pid(), SIGKILL);
    EXPECT_EQ(mPhone->wait(), 128 + SIGKILL);
    awaitGrandchildsEnd();
}

TEST_F(GrandchildTest, EndsWithAProcessGroupThatIsKilled) {
    kill(-mPhone->pid(), SIGKILL);
    EXPECT_EQ(mPhone->wait(), 128 + SIGKILL);
    awaitGrandchildsEnd();
}

TEST_F(GrandchildTest, EndsWithAKeeperThatIsKilled) {
    kill(childOf(mPhone->pid()), SIGKILL);
    EXPECT_EQ(mPhone->wait(), 128 + SIGKILL);
    awaitGrandchildsEnd();
}

TEST_F(ProgramTest, ProgramThatDoesNotExistIsReported) {
    const Outcome outcome = invoke({"run", "--", "/nowhere/program"});
    EXPECT_EQ(outcome.status, 127);
    EXPECT_THAT(outcome.err, HasSubstr("cannot run /nowhere/program"));
}

TEST_F(ProgramTest, WhatThePhoneHidesIsReported) {
    const Outcome program = invoke({"run", "--", "/data/program"});
    EXPECT_EQ(program.status, 125);
    EXPECT_THAT(program.err, HasSubstr("/data/program lies in a folder that the phone has"));
    const Outcome journal = invoke({"run", "--journal", "/dev/journal", "--", "/bin/true"});
    EXPECT_EQ(journal.status, 125);
    setenv("HIDL_SOCKET_DIR", "/dev/hidl", 1);
    EXPECT_EQ(runShell("exit 0").status, 125);
}

TEST_F(ProgramTest, JournalThatCannotBeWrittenIsReported) {
    const Outcome outcome = invoke({"run", "--journal", "/nowhere/journal", "--", "/bin/true"});
    EXPECT_EQ(outcome.status, 125);
    EXPECT_THAT(outcome.err, HasSubstr("cannot write the journal"));
}

TEST_F(ProgramTest, ProgramMayHaveTheDescriptorsThatThePanelTakes) {
    Process child({"/bin/sh", "-c",
                   "ulimit -Sn 100; exec " + kEmulator +
                           " run -- /bin/sh -c 'ulimit -Sn; exec 3<>/dev/hidraw0 && echo open'"});
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(child.out(), "1024\nopen\n");
}

TEST_F(ProgramTest, ProgramKeepsALimitThatIsHighEnough) {
    Process child({"/bin/sh", "-c",
                   "ulimit -Sn 1500; exec " + kEmulator + " run -- /bin/sh -c 'ulimit -Sn'"});
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(child.out(), "1500\n");
}

TEST_F(ProgramTest, TooFewDescriptorsAreReportedWithWhatToDo) {
    Process child(
            {"/bin/sh", "-c",
             "ulimit -n 1000; exec " + copyForEverybody() + " run -- /bin/sh -c 'echo started'"},
            {.before = becomeNobody});
    EXPECT_EQ(child.wait(), 125);
    EXPECT_EQ(child.out(), "");
    EXPECT_EQ(child.err(),
              "bivista-emulator: the phone's software needs 1024 descriptors, and 1000 is the most "
              "that is allowed here: allow more with \"ulimit -Hn 1024\" as root, or start the "
              "container with \"--ulimit nofile=1024\"\n");
}

TEST_F(ProgramTest, ProgramThatLowersItsLimitMeetsTheKernelsError) {
    const Outcome outcome = runShell(
            "ulimit -Sn 100; python3 -c 'import os; os.open(\"/dev/hidraw0\", os.O_RDWR)'");
    EXPECT_THAT(outcome.err, HasSubstr("Too many open files"));
}

TEST_F(ProgramTest, WrongSettingsAreReported) {
    EXPECT_EQ(invoke({"run", "--fault", "nonsense", "--", "/bin/true"}).status, 125);
    EXPECT_EQ(invoke({"run", "--property", "=x", "--", "/bin/true"}).status, 125);
}

TEST_F(ProgramTest, SocketFolderOpenToOthersIsReported) {
    fs::create_directory(mFolder + "/hidl");
    chmod((mFolder + "/hidl").c_str(), 0777);
    const Outcome outcome = runShell("exit 0");
    EXPECT_EQ(outcome.status, 125);
    EXPECT_THAT(outcome.err, HasSubstr("chmod 700"));
}

TEST_F(ProgramTest, WrongArgumentsAreUsageErrors) {
    const std::vector<std::vector<std::string>> wrong = {
            {},
            {"fly"},
            {"run", "--tty", "x", "--", "true"},
            {"run", "--tty", "256", "--", "true"},
            {"run", "--property", "novalue", "--", "true"},
            {"run", "--unknown", "--", "true"},
            {"ctl"},
            {"ctl", "fly"},
            {"ctl", "attach", "--tty", "-1"},
            {"ctl", "attach", "extra"},
            {"ctl", "loader"},
            {"ctl", "property", "key"},
            {"ctl", "property", "key", "value", "--clear"},
            {"ctl", "node"},
            {"ctl", "node", "/sys/x", "text", "--remove"},
            {"ctl", "fault", "on AT silent", "--clear"},
            {"ctl", "wakelock"},
            {"ctl", "wakelock", "maybe"},
            {"ctl", "signal"},
            {"ctl", "signal", "usr1"},
            {"ctl", "signal", "USR1", "TERM"},
            {"ctl", "journal", "--since", "x"},
            {"ctl", "send"},
            {"ctl", "log"},
            {"ctl", "chatter"},
            {"ctl", "chatter", "loud"},
            {"ctl", "chatter", "on", "--gap-us", "-1"},
            {"ctl", "accessory"},
            {"ctl", "accessory", "gone"},
            {"ctl", "accessory", "4294967296"},
            {"ctl", "accessory", "0x3"},
            {"ctl", "cover", "--hot-plug-polls", "-1"},
            {"ctl", "cover", "--hot-plug-polls", "often"},
            {"ctl", "klog", "extra"},
            {"ctl", "attach", "--hid", "64"},
            {"ctl", "snapshot"},
            {"ctl", "subdisplay", "--width", "65536"},
            {"ctl", "subdisplay", "--format", "-1"},
            {"ctl", "subdisplay", "--open-ms", "-1"},
            {"ctl", "subdisplay", "--open-ms", "86400001"},
            {"ctl", "subdisplay", "--open-ms", "soon"},
            {"ctl", "subdisplay", "--close-ms", "1"},
            {"ctl", "fault", "--json", "--clear"},
            {"ctl", "fault", "--json", "on AT silent"},
            {"ctl", "property", "--json", "--clear"},
            {"ctl", "property", "--json", "a", "b"},
            {"ctl", "node", "/sys/x", "--json", "--remove"},
            {"ctl", "node", "/sys/x", "--json", "text"},
    };
    expectUsageErrors(wrong);
}

TEST_F(ProgramTest, WrongArgumentsOfEventsAndFirmwareAreUsageErrors) {
    expectUsageErrors({
            {"ctl", "lpwg"},
            {"ctl", "lpwg", "gone"},
            {"ctl", "lpwg", "result"},
            {"ctl", "lpwg", "result", "x"},
            {"ctl", "lpwg", "present", "1"},
            {"ctl", "lpwg", "declared", "1"},
            {"ctl", "loader", "fly"},
            {"ctl", "firmware"},
            {"ctl", "firmware", "put"},
            {"ctl", "firmware", "put", "a", "--size", "-1"},
            {"ctl", "firmware", "list", "extra"},
            {"ctl", "gesture"},
            {"ctl", "gesture", "BV_PEN_WAKEUP"},
            {"ctl", "pen"},
            {"ctl", "pen", "WAKEUP"},
            {"ctl", "pen", "BV_PEN_WAKEUP", "SWITCH_AES_TO_3"},
            {"ctl", "uevent"},
            {"ctl", "cover", "--touch-rows", "0"},
            {"ctl", "cover", "--touch-columns", "1001"},
            {"ctl", "cover", "--self-test-report-bytes", "-1"},
            {"ctl", "cover", "--upgrade-ms", "86400001"},
            {"ctl", "cover", "--upgrade-delay-ms", "soon"},
            {"ctl", "cover", "--wake-ms", "-1"},
            {"ctl", "cover", "--autosuspend-ms", "soon"},
            {"ctl", "uevent", "a", "--burst", "0"},
            {"ctl", "uevent", "a", "--burst", "10001"},
            {"ctl", "uevent", "a", "--burst", "many"},
    });
}

TEST_F(ProgramTest, HelpIsGivenEverywhere) {
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
                 {"--help"}, {"run", "--help"}, {"ctl", "--help"}, {"ctl", "fault", "--help"}}) {
        const Outcome outcome = invoke(arguments);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_THAT(outcome.out, HasSubstr("Usage"));
    }
}

TEST_F(ProgramTest, CtlWithoutAnEmulatorSaysHowToStartOne) {
    const Outcome outcome = invoke({"ctl", "show"});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, HasSubstr("start one with \"bivista-emulator run\""));
    EXPECT_EQ(outcome.out, "");
}

TEST_F(ProgramTest, CtlReachesTheRunningPhone) {
    Process phone(stayingUp());
    phone.waitFor("up\n");
    const auto ctl = [](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "ctl");
        return invoke(arguments);
    };
    EXPECT_THAT(ctl({"show"}).out, StartsWith("attached: true\n"));
    EXPECT_THAT(ctl({"show", "--json"}).out, StartsWith("{\"attached\":true,"));
    EXPECT_EQ(ctl({"reattach"}).status, 0);
    EXPECT_EQ(ctl({"send", "x\\r\\n"}).status, 0);
    EXPECT_EQ(ctl({"detach"}).status, 0);
    EXPECT_EQ(ctl({"detach"}).status, 1);
    EXPECT_THAT(ctl({"detach", "--when-read"}).err, HasSubstr("no cover is attached"));
    EXPECT_EQ(ctl({"attach", "--tty", "1", "--no-usb"}).status, 0);
    EXPECT_EQ(ctl({"fault", "on", "AT", "silent", "times", "2"}).status, 0);
    EXPECT_EQ(ctl({"fault", "node /sys/x eio"}).status, 0);
    EXPECT_EQ(ctl({"fault", "nonsense"}).status, 1);
    EXPECT_THAT(ctl({"fault"}).out, HasSubstr("silent times 2\nnode \"/sys/x\" eio\n"));
    EXPECT_THAT(ctl({"fault", "--json"}).out, StartsWith(R"({"faults":["on )"));
    EXPECT_EQ(ctl({"fault", "--clear"}).status, 0);
    EXPECT_EQ(ctl({"fault"}).out, "");
    EXPECT_EQ(ctl({"fault", "--json"}).out, "{\"faults\":[],\"faults_met\":[]}\n");
    EXPECT_EQ(ctl({"property", "a", "1\xff"}).status, 0);
    EXPECT_EQ(ctl({"property"}).out, "a: 1\\xff\n");
    EXPECT_EQ(ctl({"property", "--json"}).out, R"({"properties":{"a":"1\\xff"}})"
                                               "\n");
    EXPECT_EQ(ctl({"property", "--clear"}).status, 0);
    EXPECT_EQ(ctl({"node", "/sys/x", "a\\n"}).status, 0);
    EXPECT_EQ(ctl({"node", "/sys/x"}).out, "a\\n\n");
    EXPECT_EQ(ctl({"node", "/sys/x", "--json"}).out, R"({"path":"/sys/x","bytes":"a\\n"})"
                                                     "\n");
    EXPECT_EQ(ctl({"node", "/sys/x", "--remove"}).status, 0);
    EXPECT_EQ(ctl({"node", "/sys/x"}).status, 1);
    EXPECT_EQ(ctl({"node", "/sys/\xff", "x"}).status, 2);
    EXPECT_EQ(ctl({"wakelock", "off"}).status, 0);
    EXPECT_EQ(ctl({"loader", "attach", "--serial", "00000000001B"}).status, 0);
    EXPECT_EQ(ctl({"loader", "detach"}).status, 0);
    EXPECT_EQ(ctl({"cover", "--firmware-version", "Q"}).status, 0);
    EXPECT_THAT(ctl({"show"}).out, HasSubstr("version: Q\n"));
    EXPECT_THAT(ctl({"journal", "--since", "2"}).out, StartsWith("{\"seq\":2,"));
    EXPECT_EQ(ctl({"reset"}).status, 0);
    EXPECT_THAT(ctl({"show"}).out, StartsWith("attached: false\nusb power: absent\n"));
    EXPECT_EQ(phone.wait(), 0);
    EXPECT_EQ(ctl({"show"}).status, 3);
}

TEST_F(ProgramTest, CtlReachesTheScreenTheLogAndTheNeighbour) {
    // Tells the cover to stream its log, and holds the tty open.
    const std::string listener =
            "exec 3<>/dev/ttyACM0; stty raw -echo <&3; printf 'ATE0\\r' >&3; head -n 2 <&3 "
            ">/dev/null; "
            "printf 'AT%%LOGSAVE=0\\r' >&3; head -n 2 <&3; read line || exit 0";
    Process phone(emulator({"run", "--", "/bin/sh", "-c", listener}));
    phone.waitFor("OK");
    const auto ctl = [](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "ctl");
        return invoke(arguments);
    };
    EXPECT_THAT(ctl({"show"}).out, StartsWith("attached: true\nusb power: active\n"
                                              "loader: absent\nwake lock: held\nscreen: off\n"
                                              "cutout: M 0,0 H -36 V 60 H 36 V 0 H 0 Z\n"
                                              "sub display: off, 128 x 128, format 4, frames 0\n"
                                              "accessory: type 0, state 3\nlpwg: result 0\n"
                                              "firmware: none\nbanner: none\nchatter: off\n"));
    EXPECT_EQ(ctl({"wakelock", "off"}).status, 0);
    EXPECT_EQ(ctl({"firmware", "put", "a.dfu"}).status, 0);
    EXPECT_EQ(ctl({"firmware", "put", "b.dfu"}).status, 0);
    EXPECT_EQ(ctl({"loader", "attach", "--serial", "00000000001B"}).status, 0);
    EXPECT_THAT(ctl({"show"}).out, AllOf(HasSubstr("\nloader: in error, serial 00000000001B\n"),
                                         HasSubstr("\nwake lock: released\n"),
                                         HasSubstr("\nfirmware: a.dfu, b.dfu\n")));
    EXPECT_EQ(ctl({"loader", "detach"}).status, 0);
    EXPECT_THAT(ctl({"show"}).out, HasSubstr("  dtr: yes\n"));
    EXPECT_EQ(ctl({"log", "hello"}).status, 0);
    EXPECT_THAT(ctl({"journal"}).out, HasSubstr(R"("bytes":"hello\\r\\n")"));
    EXPECT_EQ(ctl({"log", "two\\nlines"}).status, 1);
    EXPECT_EQ(ctl({"chatter", "on", "--text", "tick", "--gap-us", "60000000"}).status, 0);
    EXPECT_THAT(ctl({"show"}).out, HasSubstr("chatter: every 60000000 us: tick\n"));
    EXPECT_EQ(ctl({"chatter", "off"}).status, 0);
    EXPECT_EQ(ctl({"accessory", "7", "--type", "1"}).status, 0);
    EXPECT_THAT(ctl({"show"}).out, HasSubstr("accessory: type 1, state 7\n"));
    EXPECT_EQ(ctl({"accessory", "cover", "--type", "1"}).status, 1);
    EXPECT_EQ(ctl({"accessory", "absent"}).status, 0);
    EXPECT_THAT(ctl({"show"}).out, HasSubstr("accessory: absent\n"));
    EXPECT_EQ(ctl({"accessory", "declared"}).status, 0);
    EXPECT_THAT(ctl({"show"}).out, HasSubstr("accessory: declared, not up\n"));
    EXPECT_EQ(ctl({"accessory", "cover"}).status, 0);
    EXPECT_EQ(ctl({"lpwg", "result", "-7"}).status, 0);
    EXPECT_THAT(ctl({"show"}).out, HasSubstr("lpwg: result -7\n"));
    EXPECT_EQ(ctl({"lpwg", "absent"}).status, 0);
    EXPECT_THAT(ctl({"show"}).out, HasSubstr("lpwg: absent\n"));
    EXPECT_EQ(ctl({"lpwg", "declared"}).status, 0);
    EXPECT_THAT(ctl({"show"}).out, HasSubstr("lpwg: declared, not up\n"));
    EXPECT_EQ(ctl({"lpwg", "present"}).status, 0);
    EXPECT_THAT(ctl({"show"}).out, HasSubstr("lpwg: result -7\n"));
    EXPECT_EQ(ctl({"cover", "--hot-plug-polls", "never", "--hot-plug-answer", "Online"}).status, 0);
    EXPECT_EQ(ctl({"cover", "--banner", "mcu up"}).status, 0);
    EXPECT_THAT(ctl({"show"}).out, HasSubstr("banner: mcu up\n"));
    EXPECT_EQ(ctl({"cover", "--banner", "mcu up\\r"}).status, 1);
    EXPECT_EQ(ctl({"cover", "--banner"}).status, 2);
    EXPECT_EQ(ctl({"cover", "--banner", ""}).status, 0);
    EXPECT_THAT(ctl({"show"}).out, HasSubstr("banner: none\n"));
    EXPECT_EQ(phone.wait(), 0);
}

TEST_F(ProgramTest, CtlRaisesKernelEventsInTheirOrder) {
    Process phone(stayingUp());
    phone.waitFor("up\n");
    const auto ctl = [](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "ctl");
        return invoke(arguments);
    };
    EXPECT_EQ(ctl({"gesture", "WAKEUP"}).status, 0);
    EXPECT_EQ(ctl({"pen", "SWITCH_AES_BOTH", "BV_PEN_DETECTION"}).status, 0);
    EXPECT_EQ(ctl({"uevent", "a\\x00"}).status, 0);
    EXPECT_EQ(ctl({"uevent", "--forged", "b"}).status, 0);
    EXPECT_EQ(ctl({"uevent", "\\q"}).status, 1);
    EXPECT_EQ(ctl({"uevent", "--burst", "2", "c"}).status, 0);
    EXPECT_EQ(ctl({"uevent", "--burst", "2", "--forged", "c"}).status, 1);
    const std::string journal = ctl({"journal"}).out;
    size_t at = 0;
    for (const char* part :
         {R"("kind":"uevent","bytes":"change@/devices/virtual/bivista/bv2\\x00)",
          R"(\\x00SUBSYSTEM=QMX_BV2\\x00TOUCH_GESTURE_WAKEUP=WAKEUP\\x00"})",
          R"(TOUCH_GESTURE_WAKEUP=SWITCH_AES_BOTH\\x00"})",
          R"(TOUCH_GESTURE_WAKEUP=BV_PEN_DETECTION\\x00"})", R"("kind":"uevent","bytes":"a\\x00"})",
          R"("kind":"uevent","bytes":"b","note":"forged"})"}) {
        at = journal.find(part, at);
        ASSERT_NE(at, std::string::npos) << part << "\n" << journal;
    }
    EXPECT_EQ(phone.wait(), 0);
}

TEST_F(ProgramTest, HelpListsTheEvents) {
    EXPECT_THAT(invoke({"ctl", "gesture", "--help"}).out, HasSubstr("WAKEUP"));
    const std::string help = invoke({"ctl", "pen", "--help"}).out;
    for (const char* word :
         {"BV_PEN_WAKEUP", "BV_PEN_WAKEUP_BTN", "BV_PEN_DETECTION", "SWITCH_AES_BOTH",
          "SWITCH_AES_TO_1", "SWITCH_AES_TO_2", "BV_UPDATE_STATE"}) {
        EXPECT_THAT(help, HasSubstr(word));
    }
}

TEST_F(ProgramTest, CtlUpgradesTheCover) {
    Process phone(stayingUp());
    phone.waitFor("up\n");
    const auto ctl = [](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "ctl");
        return invoke(arguments);
    };
    const std::string image = "BV330-V20k_20220101.dfu";
    EXPECT_EQ(ctl({"firmware", "put", image, "--size", "7"}).status, 0);
    EXPECT_EQ(ctl({"firmware", "list"}).out, image + " 7\n");
    EXPECT_EQ(ctl({"firmware", "list", "--json"}).out,
              "{\"files\":[{\"name\":\"" + image + "\",\"size\":7}]}\n");
    EXPECT_EQ(ctl({"cover", "--upgrade-delay-ms", "0", "--upgrade-ms", "3600000"}).status, 0);
    EXPECT_EQ(ctl({"loader", "error"}).status, 0);
    EXPECT_THAT(ctl({"show"}).out, HasSubstr("  power: loader\n"));
    EXPECT_EQ(ctl({"loader", "error"}).status, 1);
    EXPECT_EQ(ctl({"loader", "leave"}).status, 0);
    EXPECT_EQ(ctl({"loader", "leave"}).status, 1);
    EXPECT_EQ(ctl({"loader", "normal"}).status, 0);
    EXPECT_THAT(ctl({"show"}).out, HasSubstr("  upgrade: \n"));
    EXPECT_EQ(ctl({"firmware", "clear"}).status, 0);
    EXPECT_EQ(ctl({"firmware", "list"}).out, "");
    EXPECT_EQ(phone.wait(), 0);
}

TEST_F(ProgramTest, ShowAndJournalTellOfAnUpgrade) {
    const std::string node = "/sys/devices/platform/soc/soc:gpio_keys/virtual_mcu_firmware_write";
    const Outcome outcome = runShell(
            "ctl='" + kEmulator + " ctl'; $ctl firmware put BV330-V20k_x.dfu; " +
            "$ctl cover --upgrade-delay-ms 0 --upgrade-ms 86400000; printf 1 > " + node + "; " +
            "until $ctl journal | grep -q '\"note\":\"0%\"'; do :; done; " +
            "$ctl show | grep upgrade:; $ctl journal | grep -c '\"kind\":\"upgrade\",\"path\":'");
    EXPECT_EQ(outcome.out, "  upgrade: writing: BV330-V20k_x, 0%\n2\n");
}

TEST_F(ProgramTest, LpwgServiceStandsInTheRegistryInEveryVersion) {
    const Outcome outcome = runShell(
            "cd $HIDL_SOCKET_DIR; ls -d vendor.qmx.hardware.lpwg*; " + kEmulator +
            " ctl lpwg absent; ls -d vendor.qmx.hardware.lpwg*/default 2>/dev/null || echo absent");
    EXPECT_EQ(outcome.out,
              "vendor.qmx.hardware.lpwg@1.0::ILpwg\nvendor.qmx.hardware.lpwg@1.1::ILpwg\n"
              "vendor.qmx.hardware.lpwg@1.2::ILpwg\nvendor.qmx.hardware.lpwg@1.3::ILpwg\nabsent\n");
}

TEST_F(ProgramTest, ShowTellsWhatIsOnTheScreen) {
    const Outcome outcome =
            runShell(kEmulator +
                     " ctl cover --hot-plug-polls 0; stty raw -echo -F /dev/ttyACM0; printf "
                     "'AT%%BV=1\\rAT%%DB=77\\r' > /dev/ttyACM0; " +
                     kEmulator + " ctl show | grep ^screen; " + kEmulator + " ctl detach; " +
                     kEmulator + " ctl show | grep ^screen; ");
    EXPECT_EQ(outcome.out,
              "screen: on, brightness 77 of 255, rgb 2,0,0,0, tune 2,2,2, mode 0\nscreen: off\n");
}

// Switches the sub display on and draws eight levels of grey on it.
constexpr char kDraw[] = R"(python3 -c '
import fcntl, os
node = os.open("/dev/hidraw0", os.O_RDWR | os.O_NONBLOCK)
fcntl.ioctl(node, 0xc0034806, bytes([3, 2, 90]))
os.write(node, bytes([2, 4, 0, 0, 0, 0, 0, 0xef, 0xcd, 0x32, 0x10]))
os.write(node, bytes([2, 0, 0, 0, 0, 0, 0]))
')";

TEST_F(ProgramTest, SnapshotIsThePictureThatTheSubDisplayShows) {
    const std::string file = mFolder + "/picture.png";
    const Outcome outcome =
            runShell(kEmulator + " ctl subdisplay --width 4 --height 2; " + kDraw + "; " +
                     kEmulator + " ctl show | grep ^sub; " + kEmulator + " ctl snapshot " + file);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "sub display: on, brightness 90 of 255, 4 x 2, format 4, frames 1\n");
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    ASSERT_NE(png_image_begin_read_from_file(&image, file.c_str()), 0) << image.message;
    EXPECT_EQ(image.width, 4u);
    EXPECT_EQ(image.height, 2u);
    image.format = PNG_FORMAT_GRAY;
    std::vector<uint8_t> pixels(PNG_IMAGE_SIZE(image));
    ASSERT_NE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr), 0);
    for (uint8_t& pixel : pixels) {
        EXPECT_EQ(pixel % 17, 0);
        pixel /= 17;
    }
    EXPECT_EQ(pixels, (std::vector<uint8_t>{1, 0, 3, 2, 12, 13, 14, 15}));
}

TEST_F(ProgramTest, SnapshotThatCannotBeTakenIsReported) {
    const auto snapshot = [](const std::string& before, const std::string& file) {
        return runShell(kEmulator + " ctl " + before + "; " + kEmulator + " ctl snapshot " + file);
    };
    const std::string file = mFolder + "/picture.png";
    const Outcome detached = snapshot("detach", file);
    EXPECT_EQ(detached.status, 1);
    EXPECT_THAT(detached.err, HasSubstr("no sub display"));
    const Outcome empty = snapshot("subdisplay --width 0", file);
    EXPECT_EQ(empty.status, 1);
    EXPECT_THAT(empty.err, HasSubstr("there is no picture to keep"));
    const Outcome nowhere = snapshot("show", "/nowhere/picture.png");
    EXPECT_EQ(nowhere.status, 1);
    EXPECT_THAT(nowhere.err, HasSubstr("/nowhere/picture.png"));
}

TEST_F(ProgramTest, CoverCanComeWithoutItsPanel) {
    const Outcome outcome = invoke({"run", "--no-hid", "--", "/bin/sh", "-c",
                                    "test -e /dev/hidraw0 || echo none; ls /dev/ttyACM0; " +
                                            kEmulator + " ctl show | grep ^sub"});
    EXPECT_EQ(outcome.out, "none\n/dev/ttyACM0\nsub display: absent\n");
}

TEST_F(ProgramTest, KernelLogIsPrinted) {
    const Outcome outcome = runShell("printf '<6>a \\001\\n' > /dev/kmsg; printf b > /dev/kmsg; " +
                                     kEmulator + " ctl klog");
    EXPECT_EQ(outcome.out, "<6>a \\x01\nb\n");
}

TEST_F(ProgramTest, AccessoryServiceStandsInTheRegistry) {
    const std::string name = "vendor.qmx.hardware.accessory@1.1::IAccessory/default";
    const Outcome outcome =
            runShell("cd $HIDL_SOCKET_DIR; test -S " + name + " && echo there; " + kEmulator +
                     " ctl accessory absent; test -e " + name + " || echo absent");
    EXPECT_EQ(outcome.out, "there\nabsent\n");
    EXPECT_FALSE(fs::exists(mFolder + "/hidl/" + name));
}

TEST_F(ProgramTest, DeclaredNeighboursStandInTheRegistryUntilTheEmulatorEnds) {
    const Outcome outcome =
            runShell("cd $HIDL_SOCKET_DIR; ctl='" + kEmulator +
                     " ctl'; test -e declared || echo none; $ctl accessory declared; cat declared; "
                     "$ctl accessory absent; test -e declared || echo none; "
                     "$ctl lpwg declared; wc -l < declared; ls");
    EXPECT_EQ(outcome.out,
              "none\n"
              "vendor.qmx.hardware.accessory@1.1::IAccessory/default\n"
              "vendor.qmx.hardware.accessory@1.0::IAccessory/default\n"
              "none\n4\n"
              "calls.sock\ndeclared\nemulator.sock\n"
              "vendor.qmx.hardware.accessory@1.0::IAccessory\n"
              "vendor.qmx.hardware.accessory@1.1::IAccessory\n"
              "vendor.qmx.hardware.lpwg@1.0::ILpwg\nvendor.qmx.hardware.lpwg@1.1::ILpwg\n"
              "vendor.qmx.hardware.lpwg@1.2::ILpwg\nvendor.qmx.hardware.lpwg@1.3::ILpwg\n");
    for (const char* name : {"calls.sock", "declared", "emulator.sock"}) {
        EXPECT_FALSE(fs::exists(mFolder + "/hidl/" + name)) << name;
    }
}

TEST_F(ProgramTest, FaultsFromCtlReachTheProgram) {
    const Outcome outcome = runShell(kEmulator +
                                     " ctl fault 'on AT answer \"hello\\n\" times 1'; "
                                     "exec 3<>/dev/ttyACM0; stty raw -echo <&3; "
                                     "printf 'AT\\r' >&3; head -n 1 <&3; " +
                                     kEmulator +
                                     " ctl fault node /sys/power/wake_lock unreadable; "
                                     "cat /sys/power/wake_lock || echo refused");
    EXPECT_EQ(outcome.out, "hello\nrefused\n");
}

TEST_F(ProgramTest, FollowedJournalEndsWithTheEmulator) {
    Process phone(stayingUp());
    phone.waitFor("up\n");
    Process follower(emulator({"ctl", "journal", "--follow"}));
    follower.waitFor("\"kind\":\"attach\"");
    EXPECT_EQ(phone.wait(), 0);
    EXPECT_EQ(follower.wait(), 3);
}

TEST_F(ProgramTest, ManyFollowersKeepNobodyOut) {
    Process phone(stayingUp());
    phone.waitFor("up\n");
    std::vector<std::unique_ptr<Process>> followers;
    for (int i = 0; i < 20; ++i) {
        followers.push_back(std::make_unique<Process>(emulator({"ctl", "journal", "--follow"})));
        followers.back()->waitFor("\"kind\":\"attach\"");
    }
    EXPECT_THAT(invoke({"ctl", "show"}).out, StartsWith("attached: true\n"));
    EXPECT_EQ(invoke({"ctl", "property", "seen", "yes"}).status, 0);
    for (const std::unique_ptr<Process>& follower : followers) {
        follower->waitFor(R"("path":"seen","bytes":"yes"})");
    }
    EXPECT_EQ(phone.wait(), 0);
    for (const std::unique_ptr<Process>& follower : followers) EXPECT_EQ(follower->wait(), 3);
}

TEST_F(ProgramTest, OneEmulatorToASocketFolder) {
    Process phone(stayingUp());
    phone.waitFor("up\n");
    const Outcome second = runShell("exit 0");
    EXPECT_EQ(second.status, 125);
    EXPECT_THAT(second.err, HasSubstr("an emulator is running already"));
    EXPECT_EQ(phone.wait(), 0);
    EXPECT_EQ(runShell("exit 0").status, 0);
}

TEST_F(ProgramTest, SocketOfAnEmulatorThatDiedIsReplaced) {
    {
        Process phone(stayingUp());
        phone.waitFor("up\n");
        kill(phone.pid(), SIGKILL);
        phone.wait();
    }
    EXPECT_TRUE(fs::exists(mFolder + "/hidl/emulator.sock"));
    EXPECT_EQ(runShell("exit 0").status, 0);
    EXPECT_FALSE(fs::exists(mFolder + "/hidl/emulator.sock"));
}

TEST_F(ProgramTest, PhoneInAPhoneIsRefusedWithTheReason) {
    const Outcome outcome =
            runShell("HIDL_SOCKET_DIR=$HIDL_SOCKET_DIR/2 " + kEmulator + " run -- /bin/true");
    EXPECT_EQ(outcome.status, 125);
    EXPECT_THAT(outcome.err, HasSubstr("supervised already"));
}

TEST_F(ProgramTest, OrdinaryUserNeedsNoRights) {
    const std::string copy = copyForEverybody();
    const std::string script =
            "printf on > /sys/class/tty/ttyACM0/device/../power/control; "
            "cat /sys/class/tty/ttyACM0/device/../power/control; exit 7";
    Process child({copy, "run", "--", "/bin/sh", "-c", script}, {.before = becomeNobody});
    const int status = child.wait();
    EXPECT_EQ(status, 7) << child.err();
    EXPECT_EQ(child.out(), "on");
}

}  // namespace
