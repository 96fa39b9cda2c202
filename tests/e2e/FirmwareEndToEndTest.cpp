// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Firmware upgrades that a client waits for, or that the service does not live to see the end of.
#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/e2e/Programs.h"

namespace e2e {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

class FirmwareEndToEndTest : public ProgramsTest {
  protected:
    // With an upgrade that takes this long, an image for it, and the attach done to its end.
    void startCover(const std::string& upgradeMs,
                    const std::vector<std::string>& program = {bin(kService)}) {
        startPhone({"--firmware-version", "AB-1_20210312"}, program);
        ctl({"cover", "--upgrade-delay-ms", "20", "--upgrade-ms", upgradeMs});
        ctl({"firmware", "put", "AB-2_x.dfu"});
        awaitAttachDone();
    }
};

TEST_F(FirmwareEndToEndTest, AnUpgradeIsFollowedUntilTheCoverIsBack) {
    startCover("86400000");
    ASSERT_EQ(run({bin("bivistactl"), "dump", "--reset"}).status, 0);
    Process waiting({bin("bivistactl"), "firmware", "check", "--wait"});
    await([&] { return count(waiting.out(), "loader seen") == 1; });
    // The rest of it is done when the cover comes again.
    ctl({"loader", "detach"});
    ctl({"cover", "--upgrade-ms", "100"});
    ctl({"attach"});
    const Outcome outcome = waiting.outcome();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, MatchesRegex("cover         AB-1_20210312\n"
                                          "image         AB-2_x\\.dfu\n"
                                          "result        the upgrade was started\n"
                                          "started       [0-9.]+ s\n"
                                          "cover gone    [0-9.]+ s\n"
                                          "loader seen   [0-9.]+ s\n"
                                          "cover back    [0-9.]+ s, AB-2_x\n"));
    EXPECT_THAT(run({bin("bivistactl"), "dump", "--json"}).out, HasSubstr(R"("refused":0,)"))
            << "no cover was asked that was not there";
}

TEST_F(FirmwareEndToEndTest, AServiceThatIsKilledDuringAnUpgradeMeetsTheNewFirmware) {
    startCover("1000", {"/bin/sh", "-c", "while :; do " + bin(kService) + "; done"});
    EXPECT_EQ(call({"doFirmwareUpgrade"}).status, 0);
    await([this] { return count(journal(), "0%") > 0; });
    ASSERT_EQ(kill(servicePid(), SIGKILL), 0);
    // The cover is up once more.
    awaitLog("status = ", 2);
    EXPECT_THAT(call({"getFirmwareVersion"}).out, HasSubstr(R"("value":"AB-2_x")"));
    EXPECT_EQ(count(log(), "Bivista HAL Ready."), 2u);
}

}  // namespace
}  // namespace e2e
