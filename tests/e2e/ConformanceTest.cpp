// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The conformance suite, as the real programs run it: the service meets it in every surrounding,
// and the suite reports when it is not run as it was meant to be.
#include <algorithm>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/e2e/Programs.h"

namespace e2e {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class ConformanceTest : public ProgramsTest {
  protected:
    Outcome runSuite(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {BIVISTA_SOURCE_DIR "/vts/emulated.sh", bin("..")});
        return run(arguments);
    }

    // What clients have set: as the service knows it, and as the cover has it.
    json settings() const {
        const json dump = json::parse(run({bin("bivistactl"), "dump", "--json"}).out);
        const json phone = json::parse(run({bin("bivista-emulator"), "ctl", "show", "--json"}).out);
        json result = {{"votes", dump["usb"]["votes"]},
                       {"screenOn", dump["display"]["screenOn"]},
                       {"brightness", dump["brightness"]},
                       {"screen", phone["screen"]},
                       {"panelOn", phone["sub_display"]["on"]},
                       {"panelBrightness", phone["sub_display"]["brightness"]}};
        result["brightness"].erase("highWater");
        for (const json& group : dump["colour"]) result["colour"].push_back(group["values"]);
        for (const char* name :
             {"brightness", "rgb", "screen-tune", "screen-mode", "touch-performance", "aes-mode"}) {
            result["cover"][name] = phone["cover"][name];
        }
        return result;
    }
    std::string lpwgSettings() const {
        const json phone = json::parse(run({bin("bivista-emulator"), "ctl", "show", "--json"}).out);
        return phone["cover"]["lpwg"];
    }

    // All tests pass, but those of these suites, which are skipped.
    template <typename Matcher>
    void expectConforming(const std::vector<std::string>& arguments, const Matcher& skipped) const {
        const Outcome outcome = runSuite(arguments);
        EXPECT_EQ(outcome.status, 0) << shown(outcome);
        EXPECT_THAT(outcome.out, HasSubstr("[  PASSED  ]"));
        EXPECT_THAT(skippedSuites(outcome.out), skipped);
    }

    // To be shown with a failure, which ctest would take for a skipped test by the suite's own
    // marks.
    static std::string shown(const Outcome& outcome) {
        std::string text = outcome.out + outcome.err;
        for (size_t found = 0; (found = text.find("[  SKIPPED ]", found)) != std::string::npos;) {
            text.replace(found, 12, "[ skipped  ]");
        }
        return text;
    }

    // Suites of which a test was skipped, each once.
    static std::vector<std::string> skippedSuites(const std::string& out) {
        static const std::string kMark = "[  SKIPPED ] PerInstance/";
        std::vector<std::string> suites;
        std::istringstream lines(out);
        for (std::string line; std::getline(lines, line);) {
            if (!line.starts_with(kMark)) continue;
            const std::string test = line.substr(kMark.size());
            suites.push_back(test.substr(0, test.find('.')));
        }
        std::sort(suites.begin(), suites.end());
        suites.erase(std::unique(suites.begin(), suites.end()), suites.end());
        return suites;
    }
};

constexpr char kNotLoader[] = "--gtest_filter=-*LoaderTest*";
constexpr char kFirmwareWrite[] =
        "/sys/devices/platform/soc/soc:gpio_keys/virtual_mcu_firmware_write";
constexpr char kUpdateState[] = "/sys/devices/virtual/input/qmx_touch/bv_update_state";

TEST_F(ConformanceTest, HoldsWithACoverAndLeavesItAsItWas) {
    startPhone();
    awaitAttachDone();
    ctl({"firmware", "put", "BV330-V10k_20210312.dfu"});
    const json before = settings();
    expectConforming({"--with=cover,panel,nodes,accessory,image", "--allow-loader", kNotLoader},
                     UnorderedElementsAre("NoCoverTest", "NoPanelTest", "RefusingPanelTest"));
    await([&] { return settings() == before; });
    EXPECT_EQ(lpwgSettings(), "");
}

TEST_F(ConformanceTest, LeavesALitScreenAsItWas) {
    startPhone();
    awaitAttachDone();
    const std::vector<std::vector<std::string>> calls = {{"setPowerStatus", "true", "false"},
                                                         {"setBrightness", "77"},
                                                         {"setBVBrightnessOffset", "-5"},
                                                         {"setRgbTune", "1", "20", "30", "40"},
                                                         {"setScreenTune", "3", "4", "5", "0"},
                                                         {"setScreenMode", "1"},
                                                         {"setAesMode", "2"}};
    for (const std::vector<std::string>& arguments : calls) {
        EXPECT_EQ(call(arguments).status, 0) << arguments[0];
    }
    EXPECT_EQ(call({"sendAtCommand", "AT%TCHNOTIFY=LPWG_NOTIFY,1,1", "null"}).status, 0);
    await([this] { return settings()["cover"]["brightness"] == "67"; });
    const json before = settings();
    EXPECT_EQ(before["votes"], 1);
    const std::string lpwg = lpwgSettings();
    const Outcome outcome = run({bin("bivista-vts"), "--with=cover,panel,nodes,accessory"});
    EXPECT_EQ(outcome.status, 0) << shown(outcome);
    await([&] { return settings() == before; });
    EXPECT_THAT(lpwgSettings(), HasSubstr(lpwg));
}

TEST_F(ConformanceTest, SkipsWhatItHasNoCommandFor) {
    startPhone();
    const std::string filter = "--gtest_filter=*Event*:*Plugging*:*Silence*:*Hangup*";
    const Outcome skipped = run({bin("bivista-vts"), "--with=cover,panel", filter});
    EXPECT_EQ(skipped.status, 0) << shown(skipped);
    EXPECT_THAT(skippedSuites(skipped.out),
                UnorderedElementsAre("EventSentTest", "EventTest", "HangupTest",
                                     "PanelPluggingTest", "PluggingTest", "SilenceTest"));
    const Outcome promised =
            run({bin("bivista-vts"), "--with=cover,panel,plugging,events,silence,hangup", filter});
    EXPECT_EQ(promised.status, 1);
    for (const char* thing : {"plugging", "events", "silence", "hangup"}) {
        EXPECT_THAT(promised.out, HasSubstr("no command was given for " + std::string(thing)));
    }
}

constexpr char kUpgrades[] = "--gtest_filter=*UpgradeTest*:*FirmwareFileTest*";

TEST_F(ConformanceTest, HoldsWhereThePhoneHasNoFolderOfImages) {
    startPhone({}, {"/bin/sh", "-c", "rmdir /system_ext/etc/dfu && exec \"$0\"", bin(kService)});
    expectConforming({"--with=cover,nodes", "--allow-loader", kUpgrades},
                     UnorderedElementsAre("UpgradeTest"));
    EXPECT_THAT(log(), HasSubstr("DIR open fail"));
}

TEST_F(ConformanceTest, HoldsWhereThePhoneHasANewerImage) {
    startPhone({"--firmware-version", "AB-1_20210101"});
    ctl({"firmware", "put", "AB-2_20220101.dfu"});
    expectConforming({"--with=cover,nodes,image,newer", "--allow-loader", kUpgrades}, IsEmpty());
    EXPECT_EQ(count(journal(), "\"100%\""), 2u);
}

TEST_F(ConformanceTest, HoldsWhereTheKeysOfVersionsDifferInLength) {
    struct Versions {
        const char* cover;
        const char* image;
        const char* chosen;
        bool isNewer;
    };
    startPhone();
    for (const auto& [cover, image, chosen, isNewer] :
         {Versions{"AB-10_20210101", "AB-9_20220101.dfu", "AB-9", true},
          Versions{"AB-1_20210101", "AB-20_20220101.dfu", "AB-2_", true},
          Versions{"AB-1_20210101", "AB-10_20220101.dfu", "AB-10_20220101.dfu", false}}) {
        ctl({"cover", "--firmware-version", cover});
        ctl({"firmware", "clear"});
        ctl({"firmware", "put", image});
        expectConforming({std::string("--with=cover,nodes") + (isNewer ? ",newer" : ""),
                          "--allow-loader", "--gtest_filter=*UpgradeTest.IsStarted*"},
                         IsEmpty());
        EXPECT_THAT(call({"getFirmwareFile"}).out, HasSubstr('"' + std::string(chosen) + '"'));
    }
}

TEST_F(ConformanceTest, MissesAnImageThatIsPromised) {
    startPhone();
    const Outcome outcome = runSuite({"--with=cover,image,newer", "--allow-loader", "--patience=1",
                                      "--gtest_filter=*UpgradeTest*"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("no image is newer: ''"));
    EXPECT_THAT(outcome.out, HasSubstr("no upgrade was started"));
}

TEST_F(ConformanceTest, HoldsWithoutACover) {
    startPhone({"--no-cover"});
    expectConforming(
            {"--with=nodes,accessory", "--without=cover,panel"},
            UnorderedElementsAre("AtCommandTest", "BrightnessSentTest", "ColoursSentTest",
                                 "CoverClientsTest", "EventSentTest", "FirmwareTest", "HangupTest",
                                 "LoaderTest", "ModeSentTest", "PanelPluggingTest", "PanelTest",
                                 "PenTest", "PluggingTest", "RefusingPanelTest", "ScreenTest",
                                 "SilenceTest", "TouchTest", "UpgradeTest"));
}

TEST_F(ConformanceTest, HoldsWithACoverThatRefusesMuch) {
    std::vector<std::string> options;
    for (const char* command :
         {"AT%TCHDEBUG=DELTA", "AT%TCHDEBUG=RESET", "AT%TCHNOTIFY=SWTICH_AES,0",
          "AT%TCHNOTIFY=SWTICH_AES,3", "AT%TCHNOTIFY=SWTICH_AES,4", "AT%TCHNOTIFY=LPWG_NOTIFY,-"}) {
        options.insert(options.end(), {"--fault", "on \"" + std::string(command) + "\" error"});
    }
    startPhone(options);
    expectConforming(
            {"--with=cover,panel,nodes,accessory", "--allow-loader", kNotLoader},
            UnorderedElementsAre("NoCoverTest", "NoPanelTest", "RefusingPanelTest", "UpgradeTest"));
}

TEST_F(ConformanceTest, HoldsWithACoverThatHasNoSubDisplay) {
    startPhone({"--no-hid"});
    expectConforming(
            {"--with=cover", "--without=panel", kNotLoader,
             "--attach-command='" + bin("bivista-emulator") + "' ctl attach --no-hid"},
            UnorderedElementsAre("EventSentTest", "NoCoverTest", "PanelPluggingTest", "PanelTest",
                                 "PluggingTest", "RefusingPanelTest", "UpgradeTest"));
}

TEST_F(ConformanceTest, HoldsWithAPanelThatRefusesToBeSwitched) {
    startPhone({"--fault", "hid config error EIO"});
    const std::string filter = "--gtest_filter=*PanelTest*";
    expectConforming({"--with=cover", filter}, UnorderedElementsAre("NoPanelTest", "PanelTest"));
    const Outcome promised = runSuite({"--with=cover,panel", "--gtest_filter=*PanelTest*Size*"});
    EXPECT_EQ(promised.status, 1);
    EXPECT_THAT(promised.out, HasSubstr("the panel refuses to be switched"));
}

TEST_F(ConformanceTest, HoldsWhereTheKernelLacksItsNodes) {
    startPhone({"--fault", "node " + std::string(kFirmwareWrite) + " missing", "--fault",
                "node " + std::string(kUpdateState) + " missing"});
    const std::string filter = "--gtest_filter=*FirmwareFileTest*:*PenTest*";
    expectConforming({"--with=cover", filter}, UnorderedElementsAre("FirmwareFileTest", "PenTest"));
    const Outcome promised = runSuite({"--with=cover,nodes", filter});
    EXPECT_EQ(promised.status, 1);
    EXPECT_THAT(promised.out, HasSubstr("the kernel offers no firmware upgrade"));
    EXPECT_THAT(promised.out, HasSubstr("the kernel publishes no touch update state"));
}

TEST_F(ConformanceTest, HoldsOnTheWayIntoTheLoader) {
    startPhone();
    expectConforming({"--with=cover", "--allow-loader", "--gtest_filter=*GoDload*"}, IsEmpty());
}

TEST_F(ConformanceTest, HoldsOnTheWayIntoTheStmLoader) {
    startPhone();
    expectConforming({"--with=cover", "--allow-loader", "--gtest_filter=*GoStmDload*"}, IsEmpty());
}

TEST_F(ConformanceTest, HoldsWhereAnUpgradeIsStarted) {
    startPhone();
    expectConforming({"--with=cover,nodes", "--allow-loader", "--gtest_filter=*AnUpgradeCan*"},
                     IsEmpty());
}

TEST_F(ConformanceTest, LeavesTheLoaderAloneUnlessAllowed) {
    startPhone();
    expectConforming({"--with=cover", "--gtest_filter=*LoaderTest*:*UpgradeTest*"},
                     UnorderedElementsAre("LoaderTest", "UpgradeTest"));
    EXPECT_TRUE(isCoverReady());
    EXPECT_EQ(count(journal(), "DLOAD"), 0u);
    EXPECT_EQ(count(journal(), "FW_UPGRADE"), 0u);
}

TEST_F(ConformanceTest, MissesWhatIsPromised) {
    startPhone({"--no-cover"});
    const Outcome outcome = runSuite({"--with=cover,panel", "--patience=1",
                                      "--gtest_filter=*FirmwareTest*:*PanelTest*Size*"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("no cover is attached"));
    EXPECT_THAT(outcome.out, HasSubstr("the cover has no sub display"));
}

TEST_F(ConformanceTest, FindsWhatIsDenied) {
    startPhone();
    const Outcome outcome = runSuite(
            {"--without=cover", "--patience=1", "--gtest_filter=*NoCoverTest*:*CommandLine*"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("a cover is attached"));
    EXPECT_THAT(outcome.out, HasSubstr("[  FAILED  ] PerInstance/PresenceTest"));
}

TEST_F(ConformanceTest, MissesAnAbsentService) {
    const Outcome outcome = runSuite({"--gtest_filter=Registry.*"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("[  FAILED  ] Registry.HoldsTheDefaultInstance"));
}

TEST_F(ConformanceTest, RefusesWhatItDoesNotKnow) {
    for (const char* argument : {"--with=", "--with=cover,", "--with=tail", "--without=nodes",
                                 "--patience=", "--patience=1s", "--allow-loaders", "cover"}) {
        const Outcome outcome = runSuite({argument});
        EXPECT_EQ(outcome.status, 2) << argument;
        EXPECT_THAT(outcome.err, HasSubstr("unknown argument '" + std::string(argument) + "'"));
    }
}

TEST_F(ConformanceTest, TellsItsOptions) {
    const Outcome outcome = runSuite({"--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, HasSubstr("--gtest_filter"));
    EXPECT_THAT(outcome.out, HasSubstr("--allow-loader"));
    EXPECT_EQ(outcome.err, "");
}

}  // namespace
}  // namespace e2e
