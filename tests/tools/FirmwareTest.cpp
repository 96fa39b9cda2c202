// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The commands of the cover's firmware.

#include <gmock/gmock.h>
#include <signal.h>
#include <string.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

#include "tests/tools/SettingTest.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;
using Json = nlohmann::ordered_json;

namespace {

const Setting kSettings[] = {
        {"Upgrade", {"firmware", "upgrade"}, "doFirmwareUpgrade", "[]", "kernel does not take"},
        {"Cancel", {"firmware", "cancel"}, "cancelFirmwareUpgrade", "[]", "kernel does not take"},
        {"Dload", {"firmware", "dload"}, "goDload", "[]", "no cover is attached"},
        {"StmDload", {"firmware", "stm-dload"}, "goSTMDload", "[]", "no cover is attached"},
};

class FirmwareTest : public CliTest {};

// The cover and the last order to the kernel in the service's dump.
struct Dump {
    bool usb = true;
    bool serial = true;
    bool broughtUp = true;
    bool loader = false;
    int attachments = 1;
    int orders = 1;
    Json order = "UPGRADE";
    Json status = "OK";

    std::string text() const {
        return Json({{"usb", {{"attached", usb}, {"loader", loader}}},
                     {"serial", {{"attached", serial}, {"logAsked", broughtUp}}},
                     {"upgrade", {{"orders", orders}, {"order", order}, {"status", status}}},
                     {"commands",
                      {{{"name", "AT%SWV"}, {"count", 9}},
                       {{"name", "ATE0"}, {"count", attachments}}}}})
                       .dump() +
               "\n";
    }
};

Dump ordered(int orders, const Json& order, const Json& status) {
    return {.orders = orders, .order = order, .status = status};
}

const Dump kBefore = ordered(0, nullptr, nullptr);
const Dump kHere;
const Dump kGone = {.usb = false, .serial = false, .broughtUp = false};
const Dump kInLoader = {.usb = false, .serial = false, .broughtUp = false, .loader = true};
const Dump kBack = {.attachments = 2};

std::string hexOf(const std::vector<std::string>& texts) {
    std::string list;
    for (const std::string& text : texts) list += (list.empty() ? "" : ",") + hex(text);
    return list;
}

// A cover of these versions, one a question, and a phone whose last image is this one.
class FirmwareCheckTest : public CliTest {
  protected:
    void given(const std::vector<std::string>& versions, const std::string& image,
               const std::vector<std::string>& more = {}) {
        std::vector<std::string> options = {"--text-in", "getFirmwareVersion", hexOf(versions),
                                            "--text-in", "getFirmwareFile",    hex(image)};
        options.insert(options.end(), more.begin(), more.end());
        givenService(options);
    }
    // Two checks are answered with FAIL; the dumps are those of before and after each.
    void givenFail(const std::string& version, const std::string& image, const std::string& after,
                   const std::vector<std::string>& more = {},
                   const std::string& before = kBefore.text()) {
        std::vector<std::string> options = {"--fail-in", "checkFirmwareVersion", "--text-in",
                                            "debug", hexOf({before, after, before, after})};
        options.insert(options.end(), more.begin(), more.end());
        given({version}, image, options);
    }
    Result check() { return run({"firmware", "check"}); }
    Json checkAsJson() { return Json::parse(run({"firmware", "check", "--json"}).output); }
    // The next call of the service is ours.
    void expectOnlyTheVersionWasAsked() {
        EXPECT_EQ("getFirmwareVersion", nextCall()["method"]);
        run({"call", "getBV2Connect"});
        EXPECT_EQ("getBV2Connect", nextCall()["method"]);
    }
};

// An upgrade from LINE-2_a to LINE-3_b. What is seen of it comes from dumps, one a look.
class FirmwareWaitTest : public FirmwareCheckTest {
  protected:
    void givenUpgrade(std::vector<Dump> looks, const std::vector<std::string>& versions,
                      const std::vector<std::string>& more = {}) {
        std::vector<std::string> dumps = {kBefore.text(), kHere.text()};
        for (const Dump& look : looks) dumps.push_back(look.text());
        std::vector<std::string> options = {"--fail-in", "checkFirmwareVersion", "--text-in",
                                            "debug", hexOf(dumps)};
        options.insert(options.end(), more.begin(), more.end());
        given(versions, "LINE-3_b.dfu", options);
    }

    Result wait(std::vector<std::string> more = {}) {
        more.insert(more.begin(), {"firmware", "check", "--wait"});
        return run(more);
    }
    // The phases of the output as JSON, without the seconds, which must not fall.
    static std::vector<std::string> phases(const Result& result) {
        std::vector<std::string> names;
        double last = 0;
        const Json object = Json::parse(result.output);
        for (const Json& phase : object["phases"]) {
            EXPECT_GE(phase["seconds"].get<double>(), last);
            last = phase["seconds"];
            names.push_back(
                    phase["phase"].get<std::string>() +
                    (phase.contains("version") ? ", " + phase["version"].get<std::string>() : ""));
        }
        return names;
    }
    // Standard error after the line that announces the wait.
    static std::string complaint(const Result& result) {
        EXPECT_THAT(result.errors, StartsWith("bivistactl: waiting for the cover, "));
        return result.errors.substr(result.errors.find('\n') + 1);
    }
    std::vector<std::string> callsUntil(const std::string& last) {
        std::vector<std::string> calls;
        do {
            calls.push_back(nextCall()["method"]);
        } while (calls.back() != last || calls.size() < 2);
        return calls;
    }
};

constexpr const char* kStartedOrFailed = "either an upgrade was started, or the check failed";
constexpr const char* kNotStarted = "the check failed, and no upgrade was started";
constexpr const char* kTable =
        "cover         LINE-2_a\n"
        "image         LINE-3_b.dfu\n"
        "result        the upgrade was started\n";

}  // namespace

INSTANTIATE_TEST_SUITE_P(Firmware, SettingTest, testing::ValuesIn(kSettings), nameOf);

TEST_F(FirmwareTest, VersionAndFileArePrintedAsTheyAre) {
    givenService({"--text", hex("LINE-KEY_1\nmore \x1b\xff")});
    for (const auto& [word, method] :
         {std::pair{"version", "getFirmwareVersion"}, std::pair{"file", "getFirmwareFile"}}) {
        Result result = run({"firmware", word});
        EXPECT_EQ(0, result.code);
        EXPECT_EQ("LINE-KEY_1\nmore \x1b\xff\n", result.output);
        EXPECT_EQ("", result.errors);
        EXPECT_EQ(method, nextCall()["method"]);
    }
}

TEST_F(FirmwareTest, OnATerminalTheyAreSpelled) {
    givenService({"--text", hex("LINE\x1b[2J\r")});
    EXPECT_EQ("LINE<ESC>[2J<CR>\n", runOnTerminal({"firmware", "version"}).output);
    EXPECT_EQ("LINE<ESC>[2J<CR>\n", runOnTerminal({"firmware", "file"}).output);
}

TEST_F(FirmwareTest, NoFileByNowPrintsNothing) {
    givenService({"--text", ""});
    Result result = run({"firmware", "file"});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ("", result.output);
}

TEST_F(FirmwareTest, AVersionThatIsUnknownEndsWithOne) {
    givenService({"--fail", "--text", ""});
    Result result = run({"firmware", "version"});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("", result.output);
    EXPECT_THAT(result.errors, StartsWith("bivistactl: FAIL: no cover is attached"));
}

TEST_F(FirmwareTest, WithoutAServiceItEndsWithThree) {
    for (const char* word : {"version", "file", "check"})
        EXPECT_EQ(3, run({"firmware", word}).code);
}

TEST_F(FirmwareTest, WrongArgumentsAreRefusedBeforeAnyServiceIsAsked) {
    const Mistake mistakes[] = {
            {{"firmware"}, "a command is missing after \"bivistactl firmware\": version, check, "},
            {{"firmware", "flash"}, "there is no command \"flash\""},
            {{"firmware", "upgrade", "LINE-2.dfu"}, "not expected: LINE-2.dfu"},
            {{"firmware", "check", "LINE-2.dfu"}, "not expected: LINE-2.dfu"},
            {{"firmware", "check", "--timeout", "9"}, "--timeout requires --wait"},
            {{"firmware", "check", "--wait", "--timeout", "0"}, "--timeout: Value 0 not in range"},
            {{"firmware", "check", "--wait", "--timeout", "86401"}, "not in range"},
            {{"firmware", "check", "--wait", "--timeout", "1s"}, "--timeout"},
    };
    for (const Mistake& mistake : mistakes) expectWrongUsage(mistake);
}

TEST_F(FirmwareCheckTest, AsksForTheVersionBeforeAnUpgradeCanTakeTheCoverAway) {
    given({"LINE-2_a"}, "LINE-2_b.dfu");
    check();
    for (const char* method :
         {"getFirmwareVersion", "debug", "checkFirmwareVersion", "getFirmwareFile"}) {
        EXPECT_EQ(method, nextCall()["method"]);
    }
}

TEST_F(FirmwareCheckTest, ACoverThatIsCurrentIsToldSo) {
    given({"LINE-2_a"}, "LINE-2_b.dfu");
    Result result = check();
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(
            "cover         LINE-2_a\n"
            "image         LINE-2_b.dfu\n"
            "result        the cover is current\n",
            result.output);
    EXPECT_EQ("", result.errors);
}

TEST_F(FirmwareCheckTest, APhoneWithoutImagesIsToldSo) {
    given({"LINE-2_a"}, "");
    Result result = check();
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(
            "cover         LINE-2_a\n"
            "image         none\n"
            "result        the phone has no image\n",
            result.output);
}

TEST_F(FirmwareCheckTest, AnUpgradeThatWasStartedIsASuccess) {
    givenFail("LINE-2_a", "LINE-3_b.dfu", kHere.text());
    Result result = check();
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(kTable, result.output);
    EXPECT_EQ("", result.errors);
}

TEST_F(FirmwareCheckTest, WithoutAnOrderOfItsOwnACheckHasFailed) {
    for (const Dump& dump : {kBefore, ordered(1, "UPGRADE", "OK"), ordered(7, "CANCEL", "OK")}) {
        for (const char* image : {"LINE-3_b.dfu", "OTHER-3_b.dfu"}) {
            givenFail("LINE-2_a", image, dump.text(), {}, dump.text());
            Result result = check();
            EXPECT_EQ(1, result.code);
            EXPECT_EQ(std::string("cover         LINE-2_a\nimage         ") + image + "\n",
                      result.output);
            EXPECT_THAT(result.errors, StartsWith(std::string("bivistactl: FAIL: ") + kNotStarted));
            EXPECT_THAT(result.errors, EndsWith(".\n"));
            EXPECT_EQ(false, checkAsJson()["started"]);
            killService();
        }
    }
}

TEST_F(FirmwareCheckTest, AnOrderThatTheKernelDidNotTakeIsAFailure) {
    givenFail("LINE-2_a", "LINE-3_b.dfu", ordered(1, "UPGRADE", "FAIL").text());
    Result result = check();
    EXPECT_EQ(1, result.code);
    EXPECT_EQ(
            "bivistactl: FAIL: no upgrade was started: the phone's kernel does not take orders for "
            "upgrades. The service's log tells why.\n",
            result.errors);
    EXPECT_EQ(false, checkAsJson()["started"]);
}

TEST_F(FirmwareCheckTest, WhatCannotBeToldIsAFailureThatSaysSo) {
    for (const std::string& dump :
         {std::string(), std::string("no JSON"), std::string("{}"), std::string("[1]"),
          std::string(R"({"upgrade":{"order":"UPGRADE","status":"OK"}})"),
          ordered(2, "CANCEL", "OK").text(), ordered(1, "RECOVERY", "OK").text()}) {
        givenFail("LINE-2_a", "LINE-3_b.dfu", dump);
        Result result = check();
        EXPECT_EQ(1, result.code) << dump;
        EXPECT_EQ("cover         LINE-2_a\nimage         LINE-3_b.dfu\n", result.output);
        EXPECT_THAT(result.errors, HasSubstr(kStartedOrFailed));
        EXPECT_EQ(nullptr, checkAsJson()["started"]);
        killService();
    }
}

TEST_F(FirmwareCheckTest, WithoutAnyImageItMeansFailed) {
    givenFail("LINE-2_a", "", kBefore.text());
    Result result = check();
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("cover         LINE-2_a\nimage         none\n", result.output);
    EXPECT_THAT(result.errors, HasSubstr(kNotStarted));
}

TEST_F(FirmwareCheckTest, ACoverWithoutVersionIsNotChecked) {
    given({""}, "LINE-3_b.dfu", {"--fail-in", "getFirmwareVersion"});
    Result result = check();
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("", result.output);
    EXPECT_THAT(result.errors, StartsWith("bivistactl: FAIL: nothing was checked: no cover"));
    expectOnlyTheVersionWasAsked();
}

TEST_F(FirmwareCheckTest, ACoverThatHangsUpIsNotChecked) {
    given({""}, "LINE-3_b.dfu");
    Result result = check();
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("", result.output);
    EXPECT_THAT(result.errors, HasSubstr("its port hung up"));
    expectOnlyTheVersionWasAsked();
}

TEST_F(FirmwareCheckTest, NamesAreSpelledAndKeepTheirRow) {
    given({"LINE-2\nx\x1b"}, "LINE-2\x07.dfu");
    EXPECT_EQ(
            "cover         LINE-2<LF>x<ESC>\n"
            "image         LINE-2<BEL>.dfu\n"
            "result        the cover is current\n",
            check().output);
}

TEST_F(FirmwareCheckTest, AsJsonItIsOneObject) {
    given({"LINE-2_a\xff"}, "");
    Result result = run({"firmware", "check", "--json"});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(R"({"cover":"LINE-2_a\udcff","image":null,"status":"OK","started":false})"
              "\n",
              result.output);
    killService();

    givenFail("LINE-2_a", "LINE-3_b.dfu", kHere.text());
    result = run({"firmware", "check", "--json"});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(R"({"cover":"LINE-2_a","image":"LINE-3_b.dfu","status":"FAIL","started":true})"
              "\n",
              result.output);
    EXPECT_EQ("", result.errors);
}

TEST_F(FirmwareCheckTest, AServiceThatDiesInAnyCallEndsWithThree) {
    for (const char* method :
         {"getFirmwareVersion", "checkFirmwareVersion", "getFirmwareFile", "debug"}) {
        givenFail("LINE-2_a", "", "", {"--exit-in", method});
        EXPECT_EQ(3, check().code) << method;
    }
}

TEST_F(FirmwareCheckTest, CallStaysRaw) {
    givenFail("LINE-2_a", "LINE-3_b.dfu", kHere.text());
    Result result = run({"call", "checkFirmwareVersion"});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("{\"method\":\"checkFirmwareVersion\",\"status\":\"FAIL\"}\n", result.output);
    EXPECT_EQ("", result.errors);
}

TEST_F(FirmwareWaitTest, TellsEveryPhaseWithItsSeconds) {
    givenUpgrade({kHere, kGone, kInLoader, kInLoader, kGone, kBack}, {"LINE-2_a", "LINE-3_b"});
    Result result = wait();
    EXPECT_EQ(0, result.code);
    EXPECT_THAT(result.output, StartsWith(kTable));
    EXPECT_THAT(result.output.substr(strlen(kTable)),
                MatchesRegex("started       [0-9]+\\.[0-9] s\n"
                             "cover gone    [0-9]+\\.[0-9] s\n"
                             "loader seen   [0-9]+\\.[0-9] s\n"
                             "cover back    [0-9]+\\.[0-9] s, LINE-3_b\n"));
    EXPECT_EQ("", complaint(result));
}

TEST_F(FirmwareWaitTest, TellsHowLongItWaits) {
    givenUpgrade({kGone, kBack}, {"LINE-2_a", "LINE-3_b"});
    EXPECT_EQ(
            "bivistactl: waiting for the cover, 300 s at most; Ctrl-C ends the wait, not the "
            "upgrade\n",
            wait().errors);
}

TEST_F(FirmwareWaitTest, AsJsonItIsOneObjectAtTheEnd) {
    givenUpgrade({kGone, kInLoader, kBack}, {"LINE-2_a", "LINE-3_b\xff"});
    Result result = wait({"--json"});
    EXPECT_EQ(0, result.code);
    const std::string seconds = R"(","seconds":[0-9.]+)";
    EXPECT_THAT(result.output,
                MatchesRegex(R"(\{"cover":"LINE-2_a","image":"LINE-3_b.dfu","status":"FAIL",)"
                             R"("started":true,"phases":\[\{"phase":"started)" +
                             seconds + R"(\},\{"phase":"cover gone)" + seconds +
                             R"(\},\{"phase":"loader seen)" + seconds +
                             R"(\},\{"phase":"cover back)" + seconds +
                             R"(,"version":"LINE-3_b\\udcff"\}\]\})"
                             "\n"));
}

TEST_F(FirmwareWaitTest, ALoaderThatIsNotSeenIsLeftOut) {
    givenUpgrade({kGone, kBack}, {"LINE-2_a", "LINE-3_b"});
    EXPECT_THAT(phases(wait({"--json"})),
                ElementsAre("started", "cover gone", "cover back, LINE-3_b"));
}

TEST_F(FirmwareWaitTest, ACoverThatWasGoneBetweenTwoLooksIsBack) {
    givenUpgrade({kHere, kBack}, {"LINE-2_a", "LINE-3_b"});
    EXPECT_THAT(phases(wait({"--json"})), ElementsAre("started", "cover back, LINE-3_b"));
}

TEST_F(FirmwareWaitTest, ADumpThatDoesNotTellIsNoPhase) {
    const std::vector<std::string> dumps = {kBefore.text(), kHere.text(),    "",
                                            "text",         R"({"usb":{}})", kBack.text()};
    given({"LINE-2_a", "LINE-3_b"}, "LINE-3_b.dfu",
          {"--fail-in", "checkFirmwareVersion", "--text-in", "debug", hexOf(dumps)});
    EXPECT_THAT(phases(wait({"--json"})), ElementsAre("started", "cover back, LINE-3_b"));
}

// Another client may set the dump's counters to 0 at any time.
TEST_F(FirmwareWaitTest, ACounterThatFallsIsNoReturn) {
    givenUpgrade({{.attachments = 0}, kGone, {.attachments = 1}}, {"LINE-2_a", "LINE-3_b"});
    EXPECT_THAT(phases(wait({"--json"})),
                ElementsAre("started", "cover gone", "cover back, LINE-3_b"));
}

TEST_F(FirmwareWaitTest, ACoverIsAskedOnceItHasBeenBroughtUpAgain) {
    givenUpgrade({kGone,
                  {.serial = false, .broughtUp = false},
                  {.usb = false, .attachments = 2},
                  {.broughtUp = false, .attachments = 2},
                  kBack},
                 {"LINE-2_a", "LINE-3_b"});
    EXPECT_EQ(0, wait().code);
    EXPECT_EQ("getFirmwareVersion", nextCall()["method"]);
    EXPECT_THAT(callsUntil("getFirmwareVersion"),
                ElementsAre("debug", "checkFirmwareVersion", "debug", "getFirmwareFile", "debug",
                            "debug", "debug", "debug", "debug", "getFirmwareVersion"));
}

TEST_F(FirmwareWaitTest, ACoverThatLeavesAgainIsAskedAgain) {
    givenUpgrade({kGone, kBack, kGone, kBack}, {"LINE-2_a", "", "LINE-3_b"});
    EXPECT_THAT(phases(wait({"--json"})),
                ElementsAre("started", "cover gone", "cover back, LINE-3_b"));
}

TEST_F(FirmwareWaitTest, WhenTimeIsOverTheLastPhaseIsTold) {
    const std::pair<Dump, const char*> stays[] = {
            {kHere, "started"}, {kGone, "cover gone"}, {kInLoader, "loader seen"}};
    for (const auto& [look, last] : stays) {
        givenUpgrade({look}, {"LINE-2_a", "LINE-2_a"});
        Result result = wait({"--timeout", "1"});
        EXPECT_EQ(1, result.code);
        EXPECT_EQ(std::string("bivistactl: the cover did not come back within 1 s; the last phase "
                              "that was reached: ") +
                          last +
                          ". The upgrade may still go on: \"bivistactl firmware version\" tells "
                          "later what the cover runs.\n",
                  complaint(result));
        EXPECT_THAT(result.output, HasSubstr(std::string("\n") + last));
        killService();
    }
    givenUpgrade({kGone}, {"LINE-2_a"});
    EXPECT_THAT(phases(wait({"--timeout", "1", "--json"})), ElementsAre("started", "cover gone"));
}

// To ask it again and again would reset it each time.
TEST_F(FirmwareWaitTest, ACoverThatDoesNotTellItsVersionIsAskedOnceAndToldSo) {
    givenUpgrade({kGone, kBack}, {"LINE-2_a", "", "LINE-3_b"});
    Result result = wait({"--timeout", "1"});
    EXPECT_EQ(1, result.code);
    EXPECT_THAT(complaint(result),
                StartsWith("bivistactl: the cover came back, but did not tell its version within "
                           "1 s; the last phase that was reached: cover gone. "));
}

TEST_F(FirmwareWaitTest, ACoverWithItsOldVersionWasNotUpgraded) {
    givenUpgrade({kGone, kBack}, {"LINE-2_a", "LINE-2_a"});
    Result result = wait();
    EXPECT_EQ(1, result.code);
    EXPECT_THAT(result.output, EndsWith(" s, LINE-2_a\n"));
    EXPECT_EQ(
            "bivistactl: the cover came back with the version that it had: it was not upgraded.\n",
            complaint(result));
}

TEST_F(FirmwareWaitTest, ForACoverThatIsCurrentNothingIsWaitedFor) {
    given({"LINE-2_a"}, "LINE-2_b.dfu");
    Result result = wait({"--json"});
    EXPECT_EQ(0, result.code);
    EXPECT_THAT(phases(result), IsEmpty());
    EXPECT_EQ("", result.errors);
    EXPECT_THAT(wait().output, EndsWith("result        the cover is current\n"));
}

TEST_F(FirmwareWaitTest, ForACheckThatFailedNothingIsWaitedFor) {
    for (const Dump& dump : {kBefore, ordered(1, "CANCEL", "OK")}) {
        givenFail("LINE-2_a", "LINE-3_b.dfu", dump.text());
        Result result = wait({"--json"});
        EXPECT_EQ(1, result.code);
        EXPECT_THAT(phases(result), IsEmpty());
        EXPECT_THAT(result.errors, StartsWith("bivistactl: FAIL: "));
        killService();
    }
}

TEST_F(FirmwareWaitTest, ASignalEndsTheWaitAndNothingElse) {
    for (const int number : {SIGINT, SIGTERM}) {
        givenUpgrade({kGone}, {"LINE-2_a"});
        auto waiting = start({"firmware", "check", "--wait"});
        std::string last;
        while (!last.starts_with("cover gone")) last = waiting->line();
        waiting->kill(number);
        EXPECT_EQ("", waiting->rest());
        EXPECT_EQ(128 + number, waiting->wait());
        EXPECT_EQ(0, run({"call", "getBV2Connect"}).code);
        killService();
    }
}

TEST_F(FirmwareWaitTest, AServiceThatDiesMeanwhileEndsWithThree) {
    givenUpgrade({kGone}, {"LINE-2_a"});
    auto waiting = start({"firmware", "check", "--wait"});
    std::string last;
    while (!last.starts_with("cover gone")) last = waiting->line();
    killService();
    EXPECT_EQ(3, waiting->wait());
    EXPECT_THAT(errors(), HasSubstr("the service died"));
}

TEST_F(FirmwareWaitTest, AsJsonItTellsWhatWasSeenOfAServiceThatDied) {
    givenUpgrade({kGone}, {"LINE-2_a"});
    auto waiting = start({"firmware", "check", "--wait", "--json"});
    callsUntil("getFirmwareFile");
    for (int look = 0; look < 2; ++look) EXPECT_EQ("debug", nextCall()["method"]);
    killService();
    const Result result = {.code = waiting->wait(), .output = waiting->rest()};
    EXPECT_EQ(3, result.code);
    EXPECT_THAT(phases(result), ElementsAre("started", "cover gone"));
    EXPECT_EQ(true, Json::parse(result.output)["started"]);
}

TEST_F(FirmwareWaitTest, TheVersionIsSpelled) {
    givenUpgrade({kGone, kBack}, {"LINE-2_a", "LINE-3\x1b[2J"});
    EXPECT_THAT(wait().output, EndsWith(" s, LINE-3<ESC>[2J\n"));
}
