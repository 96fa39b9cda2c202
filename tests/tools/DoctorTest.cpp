// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gmock/gmock.h>

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/tools/Cli.h"

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Json = nlohmann::ordered_json;
namespace fs = std::filesystem;

namespace {

constexpr char kDevice[] = "/sys/bus/usb/devices/1-1";
constexpr char kRule[] =
        R"(ATTRS{idVendor}=="3e91", ATTRS{idProduct}=="6a2f", ENV{ID_MM_DEVICE_IGNORE}="1")";

// The doctor in a made tree of files.
class DoctorTest : public CliTest {
  protected:
    DoctorTest() { fs::create_directories(mRoot); }

    void put(const std::string& path, const std::string& text) const {
        fs::create_directories(fs::path(mRoot + path).parent_path());
        std::ofstream(mRoot + path) << text;
    }
    void setMode(const std::string& path, unsigned mode) const {
        fs::permissions(mRoot + path, static_cast<fs::perms>(mode));
    }
    void remove(const std::string& path) const { fs::remove_all(mRoot + path); }

    void givenUsbDevice(const std::string& vendor, const std::string& product) const {
        put(std::string(kDevice) + "/idVendor", vendor + "\n");
        put(std::string(kDevice) + "/idProduct", product + "\n");
        put(std::string(kDevice) + "/busnum", "1\n");
        put(std::string(kDevice) + "/devnum", "12\n");
        put(std::string(kDevice) + "/power/control", "auto\n");
    }
    // A node with its place in sysfs, below the device that was given.
    void givenNode(const std::string& folder, const std::string& name,
                   const std::string& device) const {
        put("/dev/" + name, "");
        setMode("/dev/" + name, 0666);
        fs::create_directories(mRoot + folder + "/" + name);
        fs::create_directories(mRoot + kDevice + device);
        fs::create_symlink(kDevice + device, mRoot + folder + "/" + name + "/device");
    }
    void givenTty(const std::string& name) const { givenNode("/sys/class/tty", name, "/1-1:1.0"); }
    void givenHidraw(const std::string& name) const {
        givenNode("/sys/class/hidraw", name, "/1-1:1.2/0003:3E91:6A2F.0001");
    }
    void givenCover() const {
        givenUsbDevice("3e91", "6a2f");
        put("/dev/bus/usb/001/012", "");
        setMode("/dev/bus/usb/001/012", 0666);
        setMode(std::string(kDevice) + "/power/control", 0666);
        givenTty("ttyACM0");
        givenHidraw("hidraw0");
    }
    void givenProcess(const std::string& number, const std::string& name,
                      const std::string& file = "") const {
        put("/proc/" + number + "/comm", name + "\n");
        fs::create_directories(mRoot + "/proc/" + number + "/fd");
        if (file.empty()) return;
        fs::create_symlink(mRoot + file, mRoot + "/proc/" + number + "/fd/5");
    }

    Result examine(std::vector<std::string> words = {}) {
        words.insert(words.begin(), {"doctor", "--root", mRoot});
        return run(words);
    }
    // The findings of one examination, in their order.
    std::vector<Json> findings(const std::string& check, std::vector<std::string> words = {}) {
        words.push_back("--json");
        const Result result = examine(words);
        const Json all = Json::parse(result.output);
        EXPECT_EQ(all["ok"] == true ? 0 : 1, result.code);
        std::vector<Json> found;
        for (const Json& finding : all["findings"]) {
            if (finding["check"] == check) found.push_back(finding);
        }
        return found;
    }
    // Of several: the one that is a problem.
    void expectProblem(const std::string& check, const std::string& what, const std::string& remedy,
                       const std::vector<std::string>& words = {}) {
        std::vector<Json> problems;
        for (const Json& finding : findings(check, words)) {
            if (finding["ok"] == false) problems.push_back(finding);
        }
        ASSERT_EQ(1u, problems.size()) << check;
        EXPECT_THAT(problems[0]["what"].get<std::string>(), HasSubstr(what));
        EXPECT_THAT(problems[0]["remedy"].get<std::string>(), HasSubstr(remedy));
    }
    void expectNote(const std::string& check, const std::string& what, const std::string& remedy,
                    const std::vector<std::string>& words = {}) {
        const std::vector<Json> found = findings(check, words);
        ASSERT_EQ(1u, found.size()) << check;
        EXPECT_EQ(true, found[0]["ok"]);
        EXPECT_EQ(true, found[0]["note"]);
        EXPECT_THAT(found[0]["what"].get<std::string>(), HasSubstr(what));
        EXPECT_THAT(found[0]["remedy"].get<std::string>(), HasSubstr(remedy));
    }
    void givenDumpText(const std::string& text) {
        const std::string file = mFolder + "/dump";
        std::ofstream(file) << text;
        givenService({"--dump-file", file});
    }
    // A service that has counted nothing else than these, and sent nine commands.
    void givenDump(const std::map<std::string, std::string>& members,
                   const std::string& commands = "") {
        const auto member = [&](const std::string& name, const std::string& otherwise = "0") {
            const auto found = members.find(name);
            return '"' + name + "\":" + (found == members.end() ? otherwise : found->second);
        };
        givenDumpText("{\"usb\":{" + member("votes") + "},\"display\":{" +
                      member("screenOn", "false") + "},\"brightness\":{" + member("offset") +
                      "},\"frames\":{" + member("dropped") + "," + member("retries") +
                      "},\"at\":{\"exchanges\":9," + member("timeouts") + "," + member("failures") +
                      "," + member("recoveries") + "," + member("refused") + "},\"commands\":[" +
                      commands + "]}");
    }
    void expectFine(const std::string& check, const std::string& what,
                    const std::vector<std::string>& words = {}) {
        std::string all;
        for (const Json& finding : findings(check, words)) {
            EXPECT_EQ(true, finding["ok"]) << finding;
            EXPECT_FALSE(finding.contains("remedy"));
            all += finding["what"].get<std::string>() + "\n";
        }
        EXPECT_THAT(all, HasSubstr(what));
    }

    const std::string mRoot = mFolder + "/root";
};

std::string seenBy() {
    return geteuid() == 0 ? "" : " of those that may be seen without root";
}

}  // namespace

TEST_F(DoctorTest, WhereAllIsWellEndsWithZero) {
    givenService();
    givenCover();
    Result result = examine();
    EXPECT_EQ(0, result.code) << result.output;
    EXPECT_EQ("", result.errors);
    EXPECT_THAT(result.output, StartsWith("ok       service: process "));
    EXPECT_THAT(result.output, HasSubstr("\nnote     answer: the cover was not asked: one that is "
                                         "silent would be reset by that\n"
                                         "         To ask it for its firmware version: bivistactl "
                                         "doctor --ask\n"));
    EXPECT_THAT(result.output, Not(HasSubstr("problem")));
    EXPECT_THAT(result.output,
                HasSubstr("\nok       cover: 3e91:6a2f is there: /sys/bus/usb/devices/1-1\n"));
    EXPECT_THAT(result.output, HasSubstr("ok       tty: /dev/ttyACM0 is held by no other program" +
                                         seenBy() + "\n"));
    EXPECT_THAT(result.output, testing::EndsWith("ok       modem: no modem daemon runs\n"));
}

TEST_F(DoctorTest, AProblemIsToldWithItsRemedyAndEndsWithOne) {
    givenService();
    Result result = examine();
    EXPECT_EQ(1, result.code);
    EXPECT_THAT(result.output, HasSubstr("\nproblem  cover: no USB device 3e91:6a2f is plugged in\n"
                                         "         Plug the cover in. "));
}

TEST_F(DoctorTest, JsonIsOneObjectOnOneLine) {
    Result result = examine({"--json"});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ(1, std::count(result.output.begin(), result.output.end(), '\n'));
    const Json all = Json::parse(result.output);
    EXPECT_EQ(false, all["ok"]);
    EXPECT_EQ(Json({{"check", "modem"}, {"ok", true}, {"what", "no modem daemon runs"}}),
              all["findings"].back());
}

TEST_F(DoctorTest, WithoutAServiceItIsToldToBeStarted) {
    expectProblem("service", "no service answers in " + mFolder + "/hidl", "Start it");
}

TEST_F(DoctorTest, AServiceThatServesSomebodyElseIsBusy) {
    const std::string fifo = mFolder + "/hold";
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    givenService({"--hold-in", "getGpiopin", fifo});
    auto client = start({"call", "getGpiopin"});
    ASSERT_EQ("getGpiopin", nextCall()["method"]);
    expectProblem("service", "does not answer", "one call at a time", {"--patience-ms", "1"});
}

// A service that is held in a call, with a thread whose files of /proc are these.
class HeldDoctorTest : public DoctorTest {
  protected:
    HeldDoctorTest() {
        const std::string fifo = mFolder + "/hold";
        EXPECT_EQ(0, mkfifo(fifo.c_str(), 0600));
        givenService({"--hold-in", "getGpiopin", fifo});
        givenCover();
        mClient = start({"call", "getGpiopin"});
        EXPECT_EQ("getGpiopin", nextCall()["method"]);
    }
    void givenThread(const std::string& file, const std::string& text) const {
        const std::string thread = "/proc/" + std::to_string(servicePid()) + "/task/77";
        put(thread + "/comm", "brightness\n");
        put(thread + "/" + file, text);
    }
    void expectDeaf() {
        expectProblem("service", "does not answer", "The cover takes no bytes", kImpatient);
        expectProblem("tty",
                      "the cover takes no bytes: the service's thread brightness waits in its "
                      "close of the tty until they have left",
                      "Pull the cover off: that ends the wait at once.", kImpatient);
    }
    void expectBusy() {
        expectProblem("service", "does not answer", "and is busy: a self test", kImpatient);
        for (const Json& finding : findings("tty", kImpatient)) EXPECT_EQ(true, finding["ok"]);
    }

    const std::vector<std::string> kImpatient = {"--patience-ms", "1"};
    std::unique_ptr<Process> mClient;
};

TEST_F(HeldDoctorTest, AThreadThatWaitsInTheTtysCloseIsACoverThatTakesNoBytes) {
    givenThread("wchan", "tty_wait_until_sent");
    expectDeaf();
}

TEST_F(HeldDoctorTest, SoIsOneThatIsInTheCallForLong) {
    givenThread("syscall", std::to_string(SYS_close) + " 0x3f0 0x0 0x0 0x0 0x0 0x0 0x7f 0x7f");
    expectDeaf();
}

TEST_F(HeldDoctorTest, AThreadThatWaitsElsewhereIsBusy) {
    givenThread("wchan", "do_sys_poll");
    givenThread("syscall", std::to_string(SYS_ppoll) + " 0x3 0x1 0x1388 0x0 0x0 0x0 0x7f 0x7f");
    expectBusy();
}

TEST_F(HeldDoctorTest, WhatMayNotBeSeenOfAThreadIsBusy) {
    givenThread("wchan", "0");
    expectBusy();
}

TEST_F(DoctorTest, AThreadThatWaitsInTheTtysCloseIsToldWhileTheServiceAnswersToo) {
    givenService();
    givenCover();
    const std::string thread = "/proc/" + std::to_string(servicePid()) + "/task/77";
    put(thread + "/comm", "brightness\n");
    put(thread + "/wchan", "tty_wait_until_sent");
    expectProblem("tty", "the cover takes no bytes", "Pull the cover off");
    EXPECT_EQ(true, findings("service")[0]["ok"]);
}

TEST_F(DoctorTest, OutputThatCannotBeWrittenEndsWithFourWhileAServiceIsBusyToo) {
    const std::string fifo = mFolder + "/hold";
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    givenService({"--hold-in", "getBV2Connect", fifo});
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    for (int i = 0; i < 20; ++i) {
        const Result result = run({"doctor", "--root", mRoot, "--patience-ms", "1"}, full);
        EXPECT_EQ(4, result.code);
        EXPECT_EQ("bivistactl: cannot write to standard output: No space left on device\n",
                  result.errors);
    }
    close(full);
}

TEST_F(DoctorTest, AServiceThatDiesIsToldSo) {
    givenService({"--exit-in", "getBV2Connect"});
    expectProblem("service", "the service died during the call", "log");
}

TEST_F(DoctorTest, AServiceWithoutACoverAnswersAllTheSame) {
    givenService({"--fail"});
    expectFine("service", "serves vendor.qmx.hardware.bivista@1.1::IBivista");
}

TEST_F(DoctorTest, TheInterfaceIsTheOneThatStatusNames) {
    for (const std::string version : {"1.1", "1.0"}) {
        givenService(version == "1.0" ? std::vector<std::string>{"--v1_0"}
                                      : std::vector<std::string>());
        const std::string interface = "vendor.qmx.hardware.bivista@" + version + "::IBivista";
        EXPECT_THAT(run({"status"}).output, StartsWith("service       running, " + interface));
        expectFine("service", " serves " + interface + " in ");
    }
}

TEST_F(DoctorTest, TheCoverIsAskedWhenToldAlone) {
    givenService({"--exit-in", "getFirmwareVersion"});
    expectNote("answer", "the cover was not asked", "bivistactl doctor --ask");
    expectProblem("answer", "the service died during the call", "log", {"--ask"});
}

TEST_F(DoctorTest, ACoverThatAnswersIsToldWithItsVersion) {
    givenService({"--text-in", "getFirmwareVersion", hex("BV330\x1b")});
    expectFine("answer", "the cover's firmware is BV330\x1b", {"--ask"});
    EXPECT_THAT(examine({"--ask"}).output,
                HasSubstr("\nok       answer: the cover's firmware is BV330<ESC>\n"));
}

TEST_F(DoctorTest, ACoverThatDoesNotAnswerIsAProblem) {
    givenService({"--fail-in", "getFirmwareVersion"});
    expectProblem("answer", "the cover gave no answer to AT%SWV, or rejected it", "pull the cover",
                  {"--ask"});
    givenService({"--text-in", "getFirmwareVersion", ""});
    expectProblem("answer", "its port hung up", "try again", {"--ask"});
}

TEST_F(DoctorTest, ACoverThatTakesTooLongIsAProblem) {
    const std::string fifo = mFolder + "/hold";
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    givenService({"--hold-in", "getFirmwareVersion", fifo});
    expectProblem("answer", "there is no answer yet", "try again later",
                  {"--ask", "--patience-ms", "500"});
    const int writer = open(fifo.c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_EQ(1, write(writer, "x", 1));
    // Served again: only the dump waits for the question.
    expectNote("answer", "was not asked", "--ask");
    close(writer);
}

TEST_F(DoctorTest, OfCountersAtZeroThereIsNothingToTell) {
    givenDump({});
    expectFine("dump",
               "of 9 commands none failed; nothing was refused or dropped, no vote is left "
               "behind, and no brightness offset is in force");
}

TEST_F(DoctorTest, TimeOutsAndRecoveriesAreProblems) {
    givenDump({{"timeouts", "3"}, {"failures", "3"}, {"recoveries", "1"}},
              R"({"name":"AT%SWV","failures":2,"timeouts":2},{"name":"AT%DB","failures":1,)"
              R"("timeouts":1},{"name":"ATE0","failures":0,"timeouts":0})");
    expectProblem("timeouts", "3 of 9 commands had no answer in time: AT%SWV, AT%DB",
                  "forgotten by: bivistactl dump --reset");
    expectProblem("recoveries", "the kernel was asked 1 time to reset the cover", "sudo dmesg");
    EXPECT_TRUE(findings("failures").empty());
    EXPECT_TRUE(findings("dump").empty());
    EXPECT_EQ(1, examine().code);
}

TEST_F(DoctorTest, CommandsThatFailedOtherwiseAreNoted) {
    givenDump({{"timeouts", "1"}, {"failures", "3"}},
              R"({"name":"A","failures":2,"timeouts":0},{"name":"B","failures":1,"timeouts":1})");
    expectNote("failures", "2 commands failed, time-outs apart: A", "answered ERROR");
}

TEST_F(DoctorTest, CommandsThatWereRefusedAreNoted) {
    givenService();
    givenCover();
    givenDump({{"refused", "1"}});
    expectNote("refused", "1 command did not get as far as the cover", "Without a cover");
    EXPECT_EQ(0, examine().code) << "that happens to a cover that is well";
}

TEST_F(DoctorTest, VotesThatNobodyWithdrewAreNoted) {
    givenDump({{"votes", "2"}});
    expectNote("votes", "nobody withdrew 2 votes to keep USB awake", "pull the cover off");
    givenDump({{"votes", "2"}, {"screenOn", "true"}});
    expectNote("votes", "nobody withdrew 1 vote to keep USB awake", "pull the cover off");
    givenDump({{"votes", "1"}, {"screenOn", "true"}});
    EXPECT_TRUE(findings("votes").empty()) << "that is the screen's";
    givenDump({{"votes", "-4"}});
    EXPECT_TRUE(findings("votes").empty());
}

TEST_F(DoctorTest, DrawingsThatWereDroppedAreNotedOrAProblem) {
    givenDump({{"dropped", "2"}});
    expectNote("frames", "2 drawings never came to the sub display", "A newer one replaced it");
    givenDump({{"dropped", "1"}, {"retries", "6"}});
    expectProblem("frames",
                  "1 drawing never came to the sub display, and its panel refused data 6 times",
                  "bivistactl sub off");
    givenDump({{"retries", "6"}});
    EXPECT_TRUE(findings("frames").empty()) << "it came all the same";
}

TEST_F(DoctorTest, AnOffsetInForceIsNoted) {
    givenDump({{"offset", "-20"}});
    expectNote("offset", "a brightness offset of -20 is in force", "bivistactl offset 0");
}

TEST_F(DoctorTest, WithoutADumpSaysSoInOneLine) {
    for (const auto& [dump, told] : std::vector<std::pair<std::string, std::string>>{
                 {"", "the service has no debug dump"},
                 {"usb: attached\xff\n", "the service's debug dump cannot be understood"},
                 {std::string(100'000, '['), "the service's debug dump cannot be understood"}}) {
        givenDumpText(dump);
        expectNote("dump", told + ": what it has counted is not known", "Start the service that");
    }
}

TEST_F(DoctorTest, ADumpOfAnotherVersionIsToldWithWhatItLacks) {
    givenDumpText(R"({"at":{"timeouts":2,"exchanges":4,"failures":"many"},"usb":[]})");
    expectNote("dump",
               "is of another version, and lacks at.failures, at.recoveries, at.refused, "
               "usb.votes, frames.dropped and 2 more",
               "Start the service that");
    expectProblem("timeouts", "2 of 4 commands", "dump --reset");
}

TEST_F(DoctorTest, WhatADumpSaysCannotSteerTheTerminal) {
    givenDump({{"timeouts", "1"}}, R"({"name":"AT\u001b[31m","failures":1,"timeouts":1})");
    EXPECT_THAT(examine().output, HasSubstr("in time: AT<ESC>[31m\n"));
}

TEST_F(DoctorTest, TheRegistryIsToldWithItsOwner) {
    givenService();
    expectFine("registry", mFolder + "/hidl is of ");
    expectFine("registry", "mode 0700");
}

TEST_F(DoctorTest, ARegistryThatIsNotThere) {
    expectProblem("registry", "does not exist", "HIDL_SOCKET_DIR");
}

TEST_F(DoctorTest, ARegistryThatIsNoFolder) {
    setenv("HIDL_SOCKET_DIR", "/dev/null", 1);
    expectProblem("registry", "/dev/null is no folder", "Set HIDL_SOCKET_DIR");
}

TEST_F(DoctorTest, ARegistryOfSomebodyElse) {
    const std::string folder = mFolder + "/foreign";
    fs::create_directory(folder);
    const bool root = geteuid() == 0;
    if (root) ASSERT_EQ(0, chown(folder.c_str(), 4242, 4242));
    setenv("HIDL_SOCKET_DIR", root ? folder.c_str() : "/usr", 1);
    expectProblem("registry", ", and you are ", "as the same user");
}

TEST_F(DoctorTest, ARegistryThatOthersMayWriteTo) {
    givenService();
    fs::permissions(mFolder + "/hidl", static_cast<fs::perms>(0770));
    expectProblem("registry", "mode 0770: others may put services there",
                  "chmod 0700 " + mFolder + "/hidl");
}

TEST_F(DoctorTest, ANameThatADeadServiceLeft) {
    givenService();
    killService();
    expectProblem(
            "registry", mFolder + "/hidl/vendor.qmx.hardware.bivista@1.1::IBivista/default",
            "; or: rm " + mFolder + "/hidl/vendor.qmx.hardware.bivista@1.0::IBivista/default");
}

TEST_F(DoctorTest, NamesInAdviceAreQuotedForTheShell) {
    const std::string folder = mFolder + "/it's; a\nfolder";
    const std::string quoted = "$'" + mFolder + "/it\\047s; a\\012folder";
    setenv("HIDL_SOCKET_DIR", folder.c_str(), 1);
    givenService();
    fs::permissions(folder, static_cast<fs::perms>(0770));
    expectProblem("registry", "others may put services there", "chmod 0700 " + quoted + "'");
    fs::permissions(folder, static_cast<fs::perms>(0700));
    killService();
    expectProblem("registry", "nobody answers at " + quoted + "/vendor.",
                  "; or: rm " + quoted + "/vendor.qmx.hardware.bivista@1.0::IBivista/default' ");
    EXPECT_THAT(examine().output, Not(HasSubstr("<LF>folder/vendor")));
}

TEST_F(DoctorTest, LongListsAreShortened) {
    givenService();
    killService();
    for (int i = 0; i < 20; ++i) {
        std::ofstream(mFolder + "/hidl/vendor.qmx.hardware.bivista@1.1::IBivista/x" +
                      std::to_string(i));
    }
    expectProblem("registry", "/x10 and 17 more",
                  "/x10 # the first 5 of 22; then see the doctor again");
    givenCover();
    for (int i = 0; i < 20; ++i) {
        givenProcess(std::to_string(70 + i), "screen", "/dev/ttyACM0");
    }
    expectProblem("tty", "screen (process 74) and 15 more",
                  "kill 70 71 72 73 74 # the first 5 of 20; then see the doctor again");
}

TEST_F(DoctorTest, ALoaderInThePlaceOfTheCover) {
    givenUsbDevice("0483", "df11");
    expectProblem("cover", "its loader, 0483:df11, is there", "upgrade");
}

TEST_F(DoctorTest, AForeignDeviceIsNoCover) {
    givenUsbDevice("3e91", "6a30");
    expectProblem("cover", "no USB device", "Plug the cover in");
    EXPECT_TRUE(findings("tty").empty());
}

TEST_F(DoctorTest, ANodeThatIsMissing) {
    givenCover();
    for (const auto& [check, node] :
         std::vector<std::pair<std::string, std::string>>{{"usb", "/dev/bus/usb/001/012"},
                                                          {"tty", "/dev/ttyACM0"},
                                                          {"hidraw", "/dev/hidraw0"}}) {
        remove(node);
        expectProblem(check, node + " is missing", "udev");
    }
}

TEST_F(DoctorTest, ACoverWithoutNodesMissesADriver) {
    givenUsbDevice("3e91", "6a2f");
    expectProblem("tty", "the cover has no ttyACM node", "modprobe cdc_acm");
    expectProblem("hidraw", "the cover has no hidraw node", "modprobe usbhid");
}

TEST_F(DoctorTest, NodesOfOtherDevicesAreLeftAlone) {
    givenCover();
    put("/sys/class/tty/ttyACM1/device/idVendor", "1234\n");
    put("/dev/ttyACM1", "");
    put("/sys/class/tty/ttyS0/dev", "4:64\n");
    expectFine("tty", "/dev/ttyACM0");
    EXPECT_EQ(2u, findings("tty").size());
}

TEST_F(DoctorTest, ANodeOfAnyNumberIsFound) {
    givenUsbDevice("3E91", "6A2F");
    givenTty("ttyACM7");
    expectFine("tty", "/dev/ttyACM7 is of ");
}

TEST_F(DoctorTest, ANodeBehindAnAbsoluteLinkIsThatOfTheTree) {
    givenCover();
    remove("/dev/ttyACM0");
    put("/dev/pts/9", "");
    setMode("/dev/pts/9", 0640);
    fs::create_symlink("/dev/pts/9", mRoot + "/dev/ttyACM0");
    expectFine("tty", "mode 0640");
}

TEST_F(DoctorTest, ANodeThatTheUserMayNotUse) {
    givenCover();
    for (const auto& [check, node] :
         std::vector<std::pair<std::string, std::string>>{{"usb", "/dev/bus/usb/001/012"},
                                                          {"tty", "/dev/ttyACM0"},
                                                          {"hidraw", "/dev/hidraw0"}}) {
        expectFine(check, "mode 0666", {"--user", "4242"});
        setMode(node, 0660);
        expectProblem(check, "mode 0660, and 4242 may not use it", "sudo chown 4242 " + node,
                      {"--user", "4242"});
    }
}

TEST_F(DoctorTest, ANodeThatAnotherProgramHolds) {
    givenCover();
    givenProcess("77", "screen", "/dev/ttyACM0");
    givenProcess("78", "minicom", "/dev/ttyACM0");
    givenProcess("79", "reader", "/dev/hidraw0");
    givenProcess("80", "idle");
    expectProblem("tty", "/dev/ttyACM0 is held by screen (process 77), minicom (process 78)",
                  "kill 77 78");
    expectProblem("hidraw", "/dev/hidraw0 is held by reader (process 79)", "kill 79");
}

TEST_F(DoctorTest, TheServiceAndTheEmulatorMayHoldThem) {
    givenService();
    givenCover();
    givenProcess(std::to_string(servicePid()), "service", "/dev/ttyACM0");
    givenProcess("77", "bivista-emulato", "/dev/ttyACM0");
    expectFine("tty", "/dev/ttyACM0 is held by no other program");
}

TEST_F(DoctorTest, NamesOfProgramsCannotSteerTheTerminal) {
    givenCover();
    givenProcess("77", "\x1b[31mred", "/dev/ttyACM0");
    EXPECT_THAT(examine().output, HasSubstr("held by <ESC>[31mred (process 77)\n"));
}

TEST_F(DoctorTest, TheStateOfAutosuspendIsTold) {
    givenCover();
    expectFine("autosuspend", std::string(kDevice) + "/power/control is auto");
    put(std::string(kDevice) + "/power/control", "on\n");
    put(std::string(kDevice) + "/power/runtime_status", "active\n");
    expectFine("autosuspend", "is on, active");
}

TEST_F(DoctorTest, AutosuspendThatCannotBeControlled) {
    givenCover();
    setMode(std::string(kDevice) + "/power/control", 0644);
    expectProblem("autosuspend", "is auto, and 4242 may not change it", "sudo chown 4242 ",
                  {"--user", "4242"});
    remove(std::string(kDevice) + "/power");
    expectProblem("autosuspend", "is missing", "CONFIG_PM");
}

TEST_F(DoctorTest, ADeviceThatDidNotWakeUp) {
    givenCover();
    put(std::string(kDevice) + "/power/runtime_status", "error\n");
    expectProblem("autosuspend", "is auto, error", "put it back");
}

TEST_F(DoctorTest, AModemDaemonThatMayOpenTheTtyIsANote) {
    givenProcess("90", "ModemManager");
    expectNote("modem", "ModemManager runs (process 90), and no udev rule keeps it off the cover",
               kRule);
    expectNote("modem", "no udev rule", "version 1.20 did not open the cover's in 30 seconds");
}

TEST_F(DoctorTest, ARuleKeepsTheModemDaemonOff) {
    givenProcess("90", "ModemManager");
    for (const char* folder : {"/lib", "/usr/lib", "/usr/local/lib", "/run", "/etc"}) {
        const std::string file = std::string(folder) + "/udev/rules.d/70-bivista.rules";
        put(file, std::string("# the cover\n") + kRule + "\n");
        expectFine("modem", file + " keeps it off the cover");
        remove(folder);
    }
}

TEST_F(DoctorTest, ARuleMayBeContinuedAndInOtherCase) {
    givenProcess("90", "ModemManager");
    put("/etc/udev/rules.d/1.rules",
        "ATTRS{idVendor}==\"3E91\", \\\n  ATTRS{idProduct}==\"6A2F\", \\\n"
        "  ENV{ID_MM_DEVICE_IGNORE}=\"1\"\n");
    expectFine("modem", "keeps it off");
}

TEST_F(DoctorTest, WhatIsNoRuleForTheCoverDoesNotCount) {
    givenProcess("90", "ModemManager");
    const std::string rule = kRule;
    for (const std::string& text : std::vector<std::string>{
                 "#" + rule, R"(ATTRS{idVendor}=="3e91", ENV{ID_MM_DEVICE_IGNORE}="1")",
                 R"(ATTRS{idVendor}=="3e91", ATTRS{idProduct}=="6a2f", ENV{ID_MM_DEVICE_IGNORE}="0")",
                 R"(ATTRS{idVendor}=="3e91", ATTRS{idProduct}=="6a2f", MODE="0660")", ""}) {
        put("/etc/udev/rules.d/70-bivista.rules", text + "\n");
        put("/etc/udev/rules.d/70-bivista.rules.off", rule + "\n");
        expectNote("modem", "no udev rule", "udevadm");
    }
}

TEST_F(DoctorTest, ARuleIsHiddenByAFileOfItsName) {
    givenProcess("90", "ModemManager");
    put("/usr/lib/udev/rules.d/70-bivista.rules", kRule);
    put("/etc/udev/rules.d/70-bivista.rules", "");
    expectNote("modem", "no udev rule", "udevadm");
}

TEST_F(DoctorTest, AnUnknownUserIsWrongUsage) {
    expectWrongUsage({{"doctor", "--user", "nobody-of-that-name"}, "is no user of this machine"});
    expectWrongUsage({{"doctor", "report", "more"}, "more"});
}
