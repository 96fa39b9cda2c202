// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// How bytes become command lines: echo, cuts, merges, waiting commands and hostile input.
#include "emulator/cover/Channel.h"

#include <gmock/gmock.h>

#include "emulator/cover/Text.h"
#include "tests/cover/Bench.h"

namespace cover {
namespace {

constexpr char kVersion[] = "\r\nBV330-V10k_20210312\r\nOK\r\n";

TEST(Echo, IsOnAtPowerUpAndRepeatsTheCommandAsItWasWritten) {
    Bench bench;
    EXPECT_EQ(bench.exchange("At%SwV\r"), "At%SwV\r"s + kVersion);
}

TEST(Echo, OfTheCommandThatSwitchesItOffIsTheLast) {
    Bench bench;
    EXPECT_EQ(bench.exchange("ATE0\r"), "ATE0\r\r\nOK\r\n");
    EXPECT_EQ(bench.exchange("AT%SWV\r"), kVersion);
}

TEST(Echo, BeginsWithTheCommandBehindTheOneThatSwitchesItOn) {
    QuietBench bench;
    EXPECT_EQ(bench.exchange("ATE1\r"), "\r\nOK\r\n");
    EXPECT_EQ(bench.exchange("AT\r"), "AT\r\r\nOK\r\n");
}

TEST(Echo, IsOnAgainAfterTheNextPowerUp) {
    QuietBench bench;
    bench.controller.powerUp(bench.now);
    EXPECT_EQ(bench.exchange("AT\r"), "AT\r\r\nOK\r\n");
}

TEST(Echo, ComesWithACommandThatIsNotKnown) {
    Bench bench;
    EXPECT_EQ(bench.exchange("nope\r"), "nope\r\r\nERROR\r\n");
}

TEST(Lines, MayArriveByteByByte) {
    QuietBench bench;
    for (const char c : "AT%SWV"s) {
        bench.write({&c, 1});
        EXPECT_FALSE(bench.controller.nextDeadline());
    }
    EXPECT_EQ(bench.exchange("\r"), kVersion);
}

TEST(Lines, MayArriveMergedAndAreAnsweredInOrder) {
    QuietBench bench;
    EXPECT_EQ(bench.exchange("AT\rAT%SWV\rAT%NOPE\r"), "\r\nOK\r\n"s + kVersion + "\r\nERROR\r\n");
}

TEST(Lines, WithASecondCarriageReturnAreAnsweredOnce) {
    QuietBench bench;
    EXPECT_EQ(bench.exchange("AT%SWV\r\r"), kVersion);
}

TEST(Lines, OfATerminalThatSendsLineFeedsAreUnderstood) {
    QuietBench bench;
    EXPECT_EQ(bench.exchange("AT\r\nAT\r\n\nAT\r\n"), "\r\nOK\r\n\r\nOK\r\n\r\nOK\r\n");
}

TEST(Lines, ThatAreHalfReceivedAreForgottenAtPowerUp) {
    QuietBench bench;
    bench.write("AT%SW");
    bench.controller.powerUp(bench.now);
    EXPECT_EQ(bench.exchange("AT\r"), "AT\r\r\nOK\r\n");
}

TEST(Lines, AreIgnoredWithoutPower) {
    QuietBench bench;
    bench.controller.powerDown();
    EXPECT_EQ(bench.exchange("AT\r"), "");
    bench.controller.powerUpInLoader(LoaderEntry::Error, bench.now);
    EXPECT_EQ(bench.exchange("AT\r"), "");
}

TEST(WaitingCommands, AreTakenUpWhenTheAnswerBeforeThemIsSent) {
    QuietBench bench;
    bench.fault("on AT%SWV late 100ms");
    bench.write("AT%SWV\r");
    bench.write("AT%BV=1\r");
    EXPECT_FALSE(bench.controller.state().screen.on);
    EXPECT_EQ(bench.drain(), kVersion + "\r\nOK\r\n"s);
    EXPECT_TRUE(bench.controller.state().screen.on);
}

TEST(WaitingCommands, BeyondTheLimitAreLostAndCounted) {
    QuietBench bench;
    bench.fault("on AT%SWV late 1s");
    bench.write("AT%SWV\r");
    for (size_t i = 0; i < Channel::kWaitingLimit + 3; ++i) bench.write("AT\r");
    EXPECT_EQ(bench.controller.state().lost, 3u);
    bench.drain();
    EXPECT_EQ(bench.controller.state().commands, 1 + 1 + Channel::kWaitingLimit);
    EXPECT_EQ(bench.exchange("AT\r"), "\r\nOK\r\n");
}

TEST(WaitingCommands, BehindASilentOneAreAnswered) {
    QuietBench bench;
    bench.fault("on AT%SWV silent");
    EXPECT_EQ(bench.exchange("AT%SWV\rAT%SWV\rAT\r"), "\r\nOK\r\n");
}

TEST(HostileInput, AsLongAsTheLimitIsStillOneCommand) {
    QuietBench bench;
    const std::string known = "AT%TCHUPDATE=UPDATE_STATE";
    std::string command = known;
    while (command.size() + 2 <= Channel::kLineLimit) command += ",1";
    if (command.size() < Channel::kLineLimit) command += "1";
    ASSERT_EQ(command.size(), Channel::kLineLimit);
    EXPECT_EQ(bench.exchange(command + "\r"), "\r\nOK\r\n");
    EXPECT_EQ(bench.exchange(command + "1\r"), "\r\nERROR\r\n");
}

TEST(HostileInput, OfAMegabyteIsOneErrorAndTheNextCommandWorks) {
    QuietBench bench;
    const std::string chunk(4000, 'A');
    for (int i = 0; i < 262; ++i) EXPECT_EQ(bench.exchange(chunk), "");
    EXPECT_EQ(bench.exchange("\r"), "\r\nERROR\r\n");
    EXPECT_EQ(bench.exchange("AT%SWV\r"), kVersion);
}

TEST(HostileInput, ThatIsTooLongIsNotCarriedOutByItsBeginning) {
    QuietBench bench;
    EXPECT_EQ(bench.exchange("AT%MODEL=DCM\r"), "\r\nOK\r\n");
    std::string command = "AT%TCHUPDATE=UPDATE_STATE";
    while (command.size() < Channel::kLineLimit + 10) command += ",1";
    bench.exchange(command + "\r");
    EXPECT_TRUE(bench.controller.state().touch.updateState.empty());
}

TEST(HostileInput, KeepsNoMoreThanTheLimitOfALine) {
    Channel channel;
    for (int i = 0; i < 64; ++i) channel.receive(std::string(1 << 16, 'x'), 0s);
    channel.receive("\r", 0s);
    ASSERT_TRUE(channel.hasLine());
    const CommandLine line = channel.takeLine();
    EXPECT_TRUE(line.tooLong);
    EXPECT_EQ(line.text.size(), Channel::kLineLimit);
}

TEST(HostileInput, EchoesNoMoreThanTheLimitOfALine) {
    Bench bench;
    const std::string answer = bench.exchange(std::string(1 << 20, 'x') + "\r");
    EXPECT_EQ(answer, std::string(Channel::kLineLimit, 'x') + "\r\r\nERROR\r\n");
}

TEST(HostileInput, OfEveryByteValueIsRefusedAndEchoedAsItCame) {
    Bench bench;
    for (int byte = 0; byte < 256; ++byte) {
        if (byte == '\r' || byte == '\n') continue;
        const std::string line(3, static_cast<char>(byte));
        EXPECT_EQ(escape(bench.exchange(line + "\r")), escape(line + "\r\r\nERROR\r\n"));
    }
}

TEST(HostileInput, OfManyGestureTypesDoesNotGrowTheState) {
    QuietBench bench;
    for (int type = 0; type < 64; ++type) {
        const std::string command = "AT%TCHNOTIFY=LPWG_NOTIFY," + std::to_string(type) + ",1\r";
        ASSERT_EQ(bench.exchange(command), "\r\nOK\r\n");
    }
    EXPECT_EQ(bench.exchange("AT%TCHNOTIFY=LPWG_NOTIFY,64,1\r"), "\r\nERROR\r\n");
    EXPECT_EQ(bench.exchange("AT%TCHNOTIFY=LPWG_NOTIFY,63,2\r"), "\r\nOK\r\n");
    EXPECT_EQ(bench.controller.state().touch.lpwg.size(), 64u);
}

}  // namespace
}  // namespace cover
