// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What bivistactl doctor and status print about the service and an emulated cover.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/e2e/Programs.h"

namespace e2e {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

class DoctorEndToEndTest : public ProgramsTest {
  protected:
    Outcome type(std::vector<std::string> words) const {
        words.insert(words.begin(), bin("bivistactl"));
        return run(words);
    }
    void expect(int status, const std::vector<std::string>& words) const {
        const Outcome outcome = type(words);
        EXPECT_EQ(outcome.status, status) << words.front() << ": " << outcome.out << outcome.err;
    }
    json statusNow() const { return json::parse(type({"status", "--json"}).out); }
    void startCover() {
        startPhone();
        awaitAttached(1);
        // The fixture has asked for the cover before it was there.
        expect(0, {"dump", "--reset"});
    }
    // Waits until all of the n-th attach is done.
    void awaitAttached(size_t times) const {
        awaitLog("status = ", times);
        await([&] { return count(journal(), "AT%LOGSAVE=3") >= times; });
        awaitLog("setSubDisplayPowerState --", times);
    }
};

TEST_F(DoctorEndToEndTest, ACoverThatIsWellHasNoProblem) {
    startCover();
    const Outcome outcome = type({"doctor", "--ask"});
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_THAT(outcome.out, HasSubstr("\nok       answer: the cover's firmware is BV330-V10k_20"));
    EXPECT_THAT(outcome.out, HasSubstr("\nok       dump: of "));
    EXPECT_THAT(outcome.out, Not(HasSubstr("note ")));
}

TEST_F(DoctorEndToEndTest, WhatHappensToAnyCoverIsNoProblem) {
    startCover();
    ctl({"detach"});
    awaitLog("bv2_display_deinit --");
    awaitLog("deinitSubDisplay -- ");
    expect(1, {"power", "on"});
    expect(1, {"at", "AT%SWV"});
    ctl({"attach"});
    awaitAttached(2);
    expect(1, {"at", "AT%NONSENSE"});
    expect(1, {"offset", "-20"});
    expect(0, {"power", "on"});
    expect(0, {"power", "on"});
    const Outcome outcome = type({"doctor"});
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_THAT(outcome.out, HasSubstr("\nnote     refused: 1 command did not get as far"));
    EXPECT_THAT(outcome.out, HasSubstr("\nnote     failures: 1 command failed, time-outs apart: "
                                       "AT%NONSENSE\n"));
    EXPECT_THAT(outcome.out, HasSubstr("\nnote     votes: nobody withdrew 1 vote to keep USB"));
    EXPECT_THAT(outcome.out, HasSubstr("\nnote     offset: a brightness offset of -20 is in"));
}

TEST_F(DoctorEndToEndTest, ACoverThatAnswersNothingIsAProblemUntilItIsForgotten) {
    startCover();
    ctl({"fault", "on AT%SWV silent times 1"});
    Outcome outcome = type({"doctor", "--ask"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("\nproblem  answer: the cover gave no answer to AT%SWV"));
    EXPECT_THAT(outcome.out, HasSubstr(" had no answer in time: AT%SWV\n"));
    EXPECT_THAT(outcome.out, HasSubstr("\nproblem  recoveries: the kernel was asked 1 time to"));
    EXPECT_EQ(statusNow()["lastFailure"]["command"], "AT%SWV");
    EXPECT_EQ(statusNow()["lastFailure"]["cause"], "Timer expired");

    awaitAttached(2);
    outcome = type({"doctor"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("\nproblem  timeouts: 1 of "));
    expect(0, {"dump", "--reset"});
    expect(0, {"doctor", "--ask"});
}

TEST_F(DoctorEndToEndTest, ACoverThatTakesNoBytesIsNoBusyService) {
    startCover();
    ctl({"fault", "on AT%SWV deaf times 1"});
    Process client({bin("bivistactl"), "at", "AT%SWV"});
    awaitLog("serialAtCmd: Timer expired");
    Outcome outcome;
    await([&] {
        outcome = type({"doctor", "--patience-ms", "100"});
        return count(outcome.out, "problem  tty: the cover takes no bytes: the service's thread ") >
               0;
    });
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr(", and does not answer\n         The cover takes no bytes"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("busy")));
    ctl({"detach"});
    EXPECT_EQ(client.outcome().status, 1);
    awaitLog("bv2_display_deinit --");
    ctl({"attach"});
    awaitAttached(2);
    expect(0, {"dump", "--reset"});
    expect(0, {"doctor", "--ask"});
}

TEST_F(DoctorEndToEndTest, AServiceThatIsBusyIsNotToldToHaveADeafCover) {
    startCover();
    ctl({"fault", "on AT%TCHNOTIFY=SD silent times 1"});
    Process client({bin("bivistactl"), "at", "AT%TCHNOTIFY=SD"});
    awaitLog("serialAtCmd: wr: [AT%TCHNOTIFY=SD]");
    const Outcome outcome = type({"doctor", "--patience-ms", "100"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr(" and is busy: a self test or an upgrade may take minutes"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("takes no bytes")));
    ctl({"detach"});
    client.outcome();
}

TEST_F(DoctorEndToEndTest, AsksTheCoverNothingUnlessTold) {
    startCover();
    expect(0, {"doctor"});
    expect(0, {"status"});
    EXPECT_EQ(count(journal(), "AT%SWV"), 0u);
    expect(0, {"doctor", "--ask"});
    EXPECT_GE(count(journal(), "AT%SWV"), 1u);
}

TEST_F(DoctorEndToEndTest, StatusFollowsWhatIsDone) {
    startCover();
    EXPECT_EQ(type({"status"}).out,
              "service       running, vendor.qmx.hardware.bivista@1.1::IBivista\n"
              "cover         on USB, attached for the accessory service\n"
              "screen        off\n"
              "brightness    0, no offset\n"
              "colour        DEFAULT\n"
              "sub display   ON, 128 x 128, format 4\n"
              "firmware      not asked for (--firmware asks the cover)\n"
              "loader        not on the bus\n"
              "last order    none\n"
              "last failure  none\n");
    expect(0, {"colour", "mode", "MODE_1"});
    EXPECT_EQ(statusNow()["colour"], json({{"mode", "MODE_1"}, {"code", 1}, {"pending", true}}));
    expect(0, {"power", "on"});
    expect(0, {"brightness", "128"});
    expect(0, {"offset", "-20"});
    const json status = statusNow();
    EXPECT_EQ(status["screen"], json({{"initialized", true}, {"on", true}}));
    EXPECT_EQ(status["brightness"], json({{"value", 128}, {"offset", -20}}));
    EXPECT_EQ(status["colour"]["pending"], false);
    EXPECT_EQ(status["dump"], "read");
}

TEST_F(DoctorEndToEndTest, StatusTellsOfTheLoaderAndTheLastOrder) {
    startCover();
    expect(0, {"firmware", "dload"});
    await([&] { return statusNow()["loader"] == true; });
    EXPECT_EQ(statusNow()["upgrade"]["order"], nullptr) << "the cover was told, and not the kernel";
    expect(0, {"firmware", "upgrade"});
    const json upgrade = statusNow()["upgrade"];
    EXPECT_EQ(upgrade["order"], "UPGRADE");
    EXPECT_EQ(upgrade["status"], "OK");
    EXPECT_THAT(type({"status"}).out, HasSubstr("\nlast order    UPGRADE: OK, "));
}

}  // namespace
}  // namespace e2e
