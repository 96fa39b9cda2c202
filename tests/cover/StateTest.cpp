// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the microcontroller remembers, and how it is shown.
#include <gmock/gmock.h>

#include <map>

#include "emulator/cover/ScreenView.h"
#include "tests/cover/Bench.h"

namespace cover {
namespace {

std::map<std::string, std::string> shown(const Bench& bench) {
    const auto list = bench.controller.listState();
    return {list.begin(), list.end()};
}

TEST(State, KeepsWhatEveryCommandSets) {
    QuietBench bench({.hotPlugPolls = 0});
    bench.exchange("AT%BV=1\rAT%DB=200\rAT%PRGB=9,8,7,-6\rAT%SHS=5,4,3\rAT%SMODE=2\r");
    bench.exchange("AT%MODEL=DCM\rAT%LOGSAVE=2\rAT%TCPERF=1\r");
    bench.exchange("AT%TCHNOTIFY=LPWG_NOTIFY,3,4\rAT%TCHNOTIFY=LPWG_NOTIFY,-1,0\r");
    bench.exchange("AT%TCHNOTIFY=SWTICH_AES,2\rAT%TCHUPDATE=UPDATE_STATE,3,1,0\r");
    bench.exchange("AT%TCHDEBUG=RESET\rAT%TCHDEBUG=RAWDATA\rAT%TCHDEBUG=DELTA\r");
    bench.exchange("AT%TCHNOTIFY=FW_UPGRADE\rAT%TCHNOTIFY=SD\rAT%TCHNOTIFY=LPWG_SD\rAT%NOPE\r");

    State expected;
    expected.power = Power::Running;
    expected.echo = false;
    expected.model = "DCM";
    expected.logSave = 2;
    expected.screen = {
            .on = true, .brightness = 200, .rgb = {9, 8, 7, -6}, .tune = {5, 4, 3}, .mode = 2};
    expected.touch.performance = true;
    expected.touch.aesMode = 2;
    expected.touch.lpwg = {{3, 4}, {-1, 0}};
    expected.touch.updateState = {3, 1, 0};
    expected.touch.frames = 2;
    expected.touch.resets = 1;
    expected.touch.upgrades = 1;
    expected.touch.selfTests = 1;
    expected.touch.lpwgSelfTests = 1;
    expected.commands = 20;
    expected.refused = 1;
    EXPECT_EQ(bench.controller.state(), expected);
}

TEST(State, IsNotChangedByMalformedCommands) {
    QuietBench bench;
    State before = bench.controller.state();
    bench.exchange("AT%BV=2\rAT%DB=256\rAT%PRGB=1,2,3\rAT%SHS=1\rAT%SMODE=x\rAT%MODEL=\r");
    bench.exchange("AT%LOGSAVE=9\rAT%TCPERF=9\rAT%TCHNOTIFY=LPWG_NOTIFY,1\r");
    bench.exchange("AT%TCHNOTIFY=SWTICH_AES,x\rAT%TCHUPDATE=UPDATE_STATE,x\r");
    before.commands += 11;
    before.refused += 11;
    EXPECT_EQ(bench.controller.state(), before);
}

TEST(State, GoesBackToItsInitialValuesAtPowerUp) {
    QuietBench bench;
    bench.exchange("AT%BV=1\rAT%DB=9\rAT%PRGB=1,2,3,4\rAT%LOGSAVE=0\rAT%MODEL=DCM\rAT%TCPERF=1\r");
    bench.controller.setDtr(true);
    bench.controller.powerUp(bench.now);
    State fresh;
    fresh.power = Power::Running;
    EXPECT_EQ(bench.controller.state(), fresh);
}

TEST(State, LosesTheUpdateNumbersWhenNoneAreGiven) {
    QuietBench bench;
    bench.exchange("AT%TCHUPDATE=UPDATE_STATE,1,2\rAT%TCHUPDATE=UPDATE_STATE\r");
    EXPECT_TRUE(bench.controller.state().touch.updateState.empty());
}

TEST(State, FollowsDtr) {
    Bench bench;
    bench.controller.setDtr(true);
    EXPECT_TRUE(bench.controller.state().dtr);
    bench.controller.setDtr(false);
    EXPECT_FALSE(bench.controller.state().dtr);
}

TEST(StateList, ShowsAFreshCover) {
    Bench bench;
    const std::vector<std::pair<std::string, std::string>> expected = {
            {"power", "running"},
            {"usb", "3e91:6a2f"},
            {"product", "TQC330R"},
            {"serial", "BV33021030001"},
            {"version", "BV330-V10k_20210312"},
            {"upgrade", ""},
            {"model", ""},
            {"echo", "on"},
            {"dtr", "no"},
            {"deaf", "no"},
            {"log-save", "3"},
            {"log-stream", "off"},
            {"log-lines", "0"},
            {"screen", "off"},
            {"hot-plugged", "no"},
            {"brightness", "0"},
            {"rgb", "2,0,0,0"},
            {"screen-tune", "2,2,2"},
            {"screen-mode", "0"},
            {"touch-performance", "off"},
            {"aes-mode", ""},
            {"lpwg", ""},
            {"update-state", ""},
            {"touch-frames", "0"},
            {"touch-resets", "0"},
            {"touch-upgrades", "0"},
            {"self-tests", "0"},
            {"lpwg-self-tests", "0"},
            {"commands", "0"},
            {"refused", "0"},
            {"lost", "0"},
    };
    EXPECT_EQ(bench.controller.listState(), expected);
}

TEST(StateList, ShowsWhatWasSet) {
    QuietBench bench({.hotPlugPolls = 0});
    bench.exchange("AT%BV=1\rAT%DB=200\rAT%PRGB=9,8,7,-6\rAT%TCPERF=1\rAT%MODEL=DCM\r");
    bench.exchange("AT%TCHNOTIFY=LPWG_NOTIFY,3,4\rAT%TCHNOTIFY=LPWG_NOTIFY,-1,0\r");
    bench.exchange("AT%TCHNOTIFY=SWTICH_AES,2\rAT%TCHUPDATE=UPDATE_STATE,3,-1\r");
    auto values = shown(bench);
    EXPECT_EQ(values["screen"], "on");
    EXPECT_EQ(values["hot-plugged"], "yes");
    EXPECT_EQ(values["brightness"], "200");
    EXPECT_EQ(values["rgb"], "9,8,7,-6");
    EXPECT_EQ(values["touch-performance"], "on");
    EXPECT_EQ(values["model"], "DCM");
    EXPECT_EQ(values["lpwg"], "-1=0,3=4");
    EXPECT_EQ(values["aes-mode"], "2");
    EXPECT_EQ(values["update-state"], "3,-1");
    EXPECT_EQ(values["echo"], "off");
}

TEST(StateList, TellsWhetherTheLogIsStreamed) {
    QuietBench bench;
    bench.exchange("AT%LOGSAVE=2\r");
    EXPECT_EQ(shown(bench)["log-stream"], "off");
    bench.controller.setDtr(true);
    EXPECT_EQ(shown(bench)["log-stream"], "on");
    bench.controller.log("one", bench.now);
    bench.drain();
    EXPECT_EQ(shown(bench)["log-lines"], "1");
}

TEST(Screen, IsDarkUntilThePanelIsUp) {
    QuietBench bench({.hotPlugPolls = 1});
    const auto seen = [&bench] { return toText(viewOf(bench.controller.state())); };
    bench.exchange("AT%DB=128\r");
    EXPECT_EQ(seen(), "off");
    bench.exchange("AT%BV=1\r");
    EXPECT_EQ(seen(), "off");
    bench.exchange("AT%HPD\r");
    EXPECT_EQ(seen(), "on, brightness 128 of 255, rgb 2,0,0,0, tune 2,2,2, mode 0");
    bench.exchange("AT%BV=0\r");
    EXPECT_EQ(seen(), "off");
}

TEST(Screen, ShowsWhatWasSetAndGoesDarkWithThePower) {
    QuietBench bench({.hotPlugPolls = 0});
    bench.exchange("AT%BV=1\rAT%DB=7\rAT%PRGB=9,8,7,-6\rAT%SHS=5,4,3\rAT%SMODE=2\r");
    const ScreenView lit = {true, 7, {9, 8, 7, -6}, {5, 4, 3}, 2};
    EXPECT_EQ(viewOf(bench.controller.state()), lit);
    bench.controller.powerDown();
    EXPECT_EQ(viewOf(bench.controller.state()), ScreenView{});
}

TEST(StateList, ShowsTheLoaderAndTheUnpluggedCover) {
    Bench bench;
    bench.controller.powerUpInLoader(LoaderEntry::Error, bench.now);
    EXPECT_EQ(shown(bench)["power"], "loader");
    EXPECT_EQ(shown(bench)["usb"], "0483:df11");
    EXPECT_EQ(shown(bench)["serial"], "00000000001B");
    bench.controller.powerDown();
    EXPECT_EQ(shown(bench)["power"], "off");
    EXPECT_EQ(shown(bench)["usb"], "3e91:6a2f");
}

TEST(StateList, HoldsPrintableCharactersOnly) {
    Bench bench({.version = "\x01\xff\"", .usb = {1, 2, "\n", "\0"s}});
    for (const auto& [name, value] : bench.controller.listState()) {
        for (const char c : value) EXPECT_TRUE(c >= 0x20 && c <= 0x7e) << name;
    }
    EXPECT_EQ(shown(bench)["version"], R"(\x01\xff\")");
}

}  // namespace
}  // namespace cover
