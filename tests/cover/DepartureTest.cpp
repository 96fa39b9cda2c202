// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// How the cover leaves the bus: to its loader, by recovery, and in mid-answer.
#include <gmock/gmock.h>

#include "tests/cover/Bench.h"

namespace cover {
namespace {

const UsbIdentity kLoader = {0x0483, 0xDF11, "TQC330R", "00000000001A"};
const UsbIdentity kBrokenLoader = {0x0483, 0xDF11, "TQC330R", "00000000001B"};

class LoaderCommands : public testing::TestWithParam<std::string> {};
INSTANTIATE_TEST_SUITE_P(Both, LoaderCommands, testing::Values("AT%GODLOAD\r", "AT%GOSTMDLOAD\r"));

TEST_P(LoaderCommands, AnswerFirstAndThenLeaveForTheLoader) {
    QuietBench bench({.loaderDelay = 50ms});
    bench.write(GetParam());
    EXPECT_THAT(bench.pieces(), testing::ElementsAre("\r\nOK\r\n"));
    EXPECT_EQ(bench.controller.state().power, Power::Running);

    bench.now += 50ms - 1ns;
    EXPECT_TRUE(bench.controller.poll(bench.now).empty());
    bench.now += 1ns;
    EXPECT_EQ(bench.controller.nextDeadline(), bench.now);
    const Action departure = {.kind = Action::Kind::Reenumerate, .bytes = "", .identity = kLoader};
    EXPECT_THAT(bench.controller.poll(bench.now), testing::ElementsAre(departure));
    EXPECT_EQ(bench.controller.state().power, Power::Loader);
    EXPECT_EQ(bench.controller.usbIdentity(), kLoader);
    EXPECT_FALSE(bench.controller.nextDeadline());
}

TEST_P(LoaderCommands, LeaveNobodyToAnswerWhatComesBehindThem) {
    QuietBench bench;
    EXPECT_EQ(bench.exchange(GetParam() + "AT\r"), "\r\nOK\r\n");
    EXPECT_EQ(bench.exchange("AT\r"), "");
}

TEST_P(LoaderCommands, LeaveAtOnceWithoutADelay) {
    QuietBench bench({.loaderDelay = 0s});
    bench.write(GetParam());
    const std::vector<Action> actions = bench.controller.poll(bench.now);
    ASSERT_EQ(actions.size(), 2u);
    EXPECT_EQ(actions[0].bytes, "\r\nOK\r\n");
    EXPECT_EQ(actions[1].kind, Action::Kind::Reenumerate);
}

TEST_P(LoaderCommands, StayWhenTheyAreMadeToFail) {
    QuietBench bench;
    bench.fault("on AT%GO error");
    EXPECT_EQ(bench.exchange(GetParam()), "\r\nERROR\r\n");
    EXPECT_TRUE(bench.others.empty());
    EXPECT_EQ(bench.exchange("AT\r"), "\r\nOK\r\n");
}

TEST_P(LoaderCommands, LeaveEvenWhenTheirAnswerIsLost) {
    QuietBench bench;
    bench.fault("on AT%GO silent");
    EXPECT_EQ(bench.exchange(GetParam()), "");
    ASSERT_EQ(bench.others.size(), 1u);
    EXPECT_EQ(bench.others[0].identity, kLoader);
}

TEST(Loader, GivesWayToTheFirmwareAtTheNextPowerUp) {
    QuietBench bench;
    bench.exchange("AT%GODLOAD\r");
    bench.controller.powerUp(bench.now);
    EXPECT_EQ(bench.controller.usbIdentity(), Options().usb);
    EXPECT_EQ(bench.exchange("AT\r"), "AT\r\r\nOK\r\n");
}

TEST(Loader, ShowsItsErrorSerialWhenTheCoverComesUpInIt) {
    Bench bench;
    bench.controller.powerUpInLoader(LoaderEntry::Error, bench.now);
    EXPECT_EQ(bench.controller.usbIdentity(), kBrokenLoader);
    EXPECT_EQ(bench.controller.state().power, Power::Loader);
}

TEST(Loader, ShowsTheProductOfTheCoverItBelongsTo) {
    Bench bench({.usb = {0x3E91, 0x6A2F, "TQA110R", "1"}});
    bench.controller.powerUpInLoader(LoaderEntry::OnRequest, bench.now);
    EXPECT_EQ(bench.controller.usbIdentity().productName, "TQA110R");
}

TEST(Recovery, BringsTheCoverBackAsItself) {
    QuietBench bench({.recoveryDelay = 30ms});
    bench.controller.recover(bench.now);
    EXPECT_EQ(bench.controller.nextDeadline(), bench.now + 30ms);
    bench.drain();
    ASSERT_EQ(bench.others.size(), 1u);
    EXPECT_EQ(bench.others[0].kind, Action::Kind::Reenumerate);
    EXPECT_EQ(bench.others[0].identity, Options().usb);
    EXPECT_EQ(bench.controller.state().power, Power::Off);
}

TEST(Recovery, CutsShortAnAnswerUnderWay) {
    QuietBench bench({.recoveryDelay = 3ms});
    bench.fault("on AT%SWV split 1ms");
    bench.write("AT%SWV\r");
    bench.controller.recover(bench.now);
    EXPECT_EQ(bench.drain(), "\r\nB");
    EXPECT_EQ(bench.others.size(), 1u);
}

TEST(Recovery, EndsAnEndlessFlood) {
    QuietBench bench;
    bench.fault("on AT%SWV flood");
    bench.write("AT%SWV\r");
    bench.controller.recover(bench.now);
    for (int i = 0; i < 1000 && bench.others.empty(); ++i) {
        bench.now += 1ms;
        for (Action& action : bench.controller.poll(bench.now)) {
            if (action.kind != Action::Kind::Send) bench.others.push_back(action);
        }
    }
    EXPECT_EQ(bench.others.size(), 1u);
}

TEST(Recovery, RescuesTheCoverFromItsLoader) {
    QuietBench bench;
    bench.controller.powerUpInLoader(LoaderEntry::Error, bench.now);
    bench.controller.recover(bench.now);
    bench.drain();
    ASSERT_EQ(bench.others.size(), 1u);
    EXPECT_EQ(bench.others[0].identity, Options().usb);
}

TEST(Recovery, HappensOnceHoweverOftenItIsAskedFor) {
    QuietBench bench;
    bench.controller.recover(bench.now);
    const std::optional<Time> first = bench.controller.nextDeadline();
    bench.controller.recover(bench.now + 1ms);
    EXPECT_EQ(bench.controller.nextDeadline(), first);
    bench.drain();
    bench.controller.recover(bench.now);  // off by now
    bench.drain();
    EXPECT_EQ(bench.others.size(), 1u);
}

TEST(Recovery, ThatCameFirstKeepsTheCoverOutOfItsLoader) {
    QuietBench bench;
    bench.write("AT%GODLOAD\r");
    bench.controller.recover(bench.now);
    EXPECT_EQ(bench.drain(), "\r\nOK\r\n");
    ASSERT_EQ(bench.others.size(), 1u);
    EXPECT_EQ(bench.others[0].identity, Options().usb);
}

TEST(Recovery, IsForgottenWhenTheCoverIsPulledOff) {
    QuietBench bench;
    bench.controller.recover(bench.now);
    bench.controller.powerDown();
    EXPECT_FALSE(bench.controller.nextDeadline());
}

TEST(PoweringDown, ForgetsTheAnswerUnderWayAndWhenItWasDue) {
    QuietBench bench;
    bench.fault("on AT%SWV late 3600s");
    bench.write("AT%SWV\rAT\r");
    bench.controller.powerDown();
    EXPECT_FALSE(bench.controller.nextDeadline());
    bench.controller.powerUp(bench.now);
    bench.write("ATE0\r");
    EXPECT_THAT(bench.pieces(), testing::ElementsAre("ATE0\r\r\nOK\r\n"));
}

}  // namespace
}  // namespace cover
