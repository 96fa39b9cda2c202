// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// New firmware: how the cover gets it, and what becomes of an upgrade that is cut short.
#include <gmock/gmock.h>

#include "tests/cover/Bench.h"

namespace cover {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const UsbIdentity kLoader = {0x0483, 0xDF11, "TQC330R", "00000000001A"};
const UsbIdentity kBrokenLoader = {0x0483, 0xDF11, "TQC330R", "00000000001B"};

class UpgradeTest : public testing::Test {
  protected:
    bool start() { return bench.controller.startUpgrade("AB-2_x", bench.now); }

    // Lets the cover leave for its loader, and the loader come up.
    void enterLoader() {
        bench.drain();
        ASSERT_EQ(bench.others.size(), 1u);
        EXPECT_EQ(bench.others[0].identity, kLoader);
        bench.others.clear();
        bench.controller.powerUpInLoader(LoaderEntry::OnRequest, bench.now);
    }

    // The percents that are due at this very moment.
    std::vector<int> percents() {
        std::vector<int> percents;
        for (const Action& action : bench.controller.poll(bench.now)) {
            if (action.kind == Action::Kind::Progress) percents.push_back(action.percent);
        }
        return percents;
    }

    std::string shown() const {
        for (const auto& [name, value] : bench.controller.listState()) {
            if (name == "upgrade") return value;
        }
        return "missing";
    }

    QuietBench bench{{.version = "AB-1_x", .upgradeDelay = 500ms, .upgradeTime = 10s}};
};

TEST_F(UpgradeTest, TakesTheCoverToItsLoaderAfterADelay) {
    EXPECT_TRUE(start());
    EXPECT_EQ(bench.controller.nextDeadline(), bench.now + 500ms);
    EXPECT_EQ(shown(), "planned: AB-2_x");
    bench.now += 500ms - 1ns;
    EXPECT_THAT(bench.controller.poll(bench.now), IsEmpty());
    bench.now += 1ns;
    const Action departure = {.kind = Action::Kind::Reenumerate, .identity = kLoader};
    EXPECT_THAT(bench.controller.poll(bench.now), ElementsAre(departure));
    EXPECT_EQ(bench.controller.state().power, Power::Loader);
    // Nothing is written before the loader is on the bus.
    EXPECT_FALSE(bench.controller.nextDeadline());
}

TEST_F(UpgradeTest, LetsTheCoverAnswerUntilItLeaves) {
    start();
    bench.write("AT%SWV\r");
    EXPECT_THAT(bench.pieces(), ElementsAre("\r\nAB-1_x\r\nOK\r\n"));
}

TEST_F(UpgradeTest, CutsAnAnswerShortThatIsNotOver) {
    start();
    bench.fault("on AT%SWV split 100ms");
    EXPECT_EQ(bench.exchange("AT%SWV\r"), "\r\nAB-");
    EXPECT_EQ(bench.others.size(), 1u);
}

TEST_F(UpgradeTest, IsWrittenInTenthsAndBringsTheCoverBackWithItsVersion) {
    start();
    enterLoader();
    EXPECT_THAT(percents(), ElementsAre(0));
    EXPECT_EQ(shown(), "writing: AB-2_x, 0%");
    for (int percent = 10; percent < 100; percent += 10) {
        bench.now += 1s - 1ns;
        EXPECT_THAT(percents(), IsEmpty());
        bench.now += 1ns;
        EXPECT_EQ(bench.controller.nextDeadline(), bench.now);
        EXPECT_THAT(percents(), ElementsAre(percent));
    }
    EXPECT_EQ(shown(), "writing: AB-2_x, 90%");
    EXPECT_EQ(bench.controller.options().version, "AB-1_x");
    bench.now += 1s;
    const Action last = {.kind = Action::Kind::Progress, .percent = 100};
    const Action back = {.kind = Action::Kind::Reenumerate, .identity = Options().usb};
    EXPECT_THAT(bench.controller.poll(bench.now), ElementsAre(last, back));
    EXPECT_EQ(shown(), "");
    EXPECT_FALSE(bench.controller.nextDeadline());

    bench.controller.powerUp(bench.now);
    EXPECT_EQ(bench.exchange("ATE0\rAT%SWV\r"), "ATE0\r\r\nOK\r\n\r\nAB-2_x\r\nOK\r\n");
}

TEST_F(UpgradeTest, TellsEveryTenthWhenItIsAskedLate) {
    start();
    enterLoader();
    bench.now += 1h;
    EXPECT_THAT(percents(), ElementsAre(0, 10, 20, 30, 40, 50, 60, 70, 80, 90, 100));
}

TEST_F(UpgradeTest, CanTakeNoTimeAtAll) {
    Options options = bench.controller.options();
    options.upgradeDelay = 0s;
    options.upgradeTime = 0s;
    bench.controller.setOptions(options);
    const Time begin = bench.now;
    start();
    enterLoader();
    EXPECT_EQ(percents().size(), 11u);
    EXPECT_EQ(bench.now, begin);
    EXPECT_EQ(bench.controller.options().version, "AB-2_x");
}

TEST_F(UpgradeTest, BeginsAtOnceInALoaderThatIsUp) {
    bench.controller.powerUpInLoader(LoaderEntry::Error, bench.now);
    EXPECT_TRUE(start());
    EXPECT_THAT(percents(), ElementsAre(0));
    bench.drain();
    EXPECT_EQ(bench.others.back().identity, Options().usb);
    EXPECT_EQ(bench.controller.options().version, "AB-2_x");
}

TEST_F(UpgradeTest, WaitsForALoaderThatIsOnItsWay) {
    bench.exchange("AT%GODLOAD\r");
    EXPECT_TRUE(start());
    EXPECT_FALSE(bench.controller.nextDeadline());
    bench.controller.powerUpInLoader(LoaderEntry::OnRequest, bench.now);
    EXPECT_THAT(percents(), ElementsAre(0));
}

TEST_F(UpgradeTest, IsWrittenInTheLoaderToWhichACommandHasSentTheCover) {
    start();
    bench.write("AT%GODLOAD\r");
    enterLoader();
    EXPECT_THAT(percents(), ElementsAre(0));
}

TEST_F(UpgradeTest, IsRefusedWithoutACover) {
    bench.controller.powerDown();
    EXPECT_FALSE(start());
    EXPECT_FALSE(bench.controller.nextDeadline());
}

TEST_F(UpgradeTest, IsRefusedWhileAnotherIsUnderWay) {
    start();
    EXPECT_FALSE(bench.controller.startUpgrade("AB-3", bench.now));
    enterLoader();
    EXPECT_FALSE(bench.controller.startUpgrade("AB-3", bench.now));
    bench.drain();
    EXPECT_EQ(bench.controller.options().version, "AB-2_x");
    EXPECT_FALSE(bench.controller.startUpgrade("AB-3", bench.now)) << "between loader and cover";
    bench.controller.powerUp(bench.now);
    EXPECT_TRUE(bench.controller.startUpgrade("AB-3", bench.now));
}

TEST_F(UpgradeTest, CanBeCancelledUntilTheCoverLeaves) {
    start();
    EXPECT_TRUE(bench.controller.cancelUpgrade());
    EXPECT_EQ(shown(), "");
    EXPECT_FALSE(bench.controller.nextDeadline());
    EXPECT_FALSE(bench.controller.cancelUpgrade());
    EXPECT_EQ(bench.exchange("AT\r"), "\r\nOK\r\n");
}

TEST_F(UpgradeTest, CannotBeCancelledWhenTheCoverHasLeft) {
    start();
    bench.drain();
    EXPECT_FALSE(bench.controller.cancelUpgrade());
    bench.controller.powerUpInLoader(LoaderEntry::OnRequest, bench.now);
    EXPECT_FALSE(bench.controller.cancelUpgrade());
    bench.drain();
    EXPECT_EQ(bench.controller.options().version, "AB-2_x");
}

TEST_F(UpgradeTest, IsForgottenWhenTheCoverIsPulledOffBefore) {
    start();
    bench.controller.powerDown();
    bench.controller.powerUp(bench.now);
    EXPECT_EQ(bench.controller.state().power, Power::Running);
    EXPECT_FALSE(bench.controller.nextDeadline());
}

TEST_F(UpgradeTest, IsForgottenByARecoveryThatComesFirst) {
    start();
    bench.controller.recover(bench.now);
    bench.drain();
    ASSERT_EQ(bench.others.size(), 1u);
    EXPECT_EQ(bench.others[0].identity, Options().usb);
    EXPECT_EQ(shown(), "");
}

TEST_F(UpgradeTest, ThatIsCutShortLeavesTheCoverInItsLoader) {
    start();
    enterLoader();
    percents();
    bench.controller.powerDown();
    bench.controller.powerUp(bench.now);
    EXPECT_EQ(bench.controller.state().power, Power::Loader);
    EXPECT_EQ(bench.controller.usbIdentity(), kBrokenLoader);
    EXPECT_FALSE(bench.controller.nextDeadline());

    // Only firmware helps.
    EXPECT_TRUE(start());
    bench.drain();
    bench.controller.powerUp(bench.now);
    EXPECT_EQ(bench.controller.state().power, Power::Running);
    EXPECT_EQ(bench.controller.options().version, "AB-2_x");
}

TEST_F(UpgradeTest, ThatARecoveryCutsShortLeavesTheCoverInItsLoader) {
    start();
    enterLoader();
    bench.controller.recover(bench.now);
    bench.drain();
    EXPECT_EQ(bench.others.back().identity, kBrokenLoader);
    bench.controller.powerUpInLoader(LoaderEntry::Error, bench.now);
    EXPECT_FALSE(bench.controller.nextDeadline());
}

}  // namespace
}  // namespace cover
