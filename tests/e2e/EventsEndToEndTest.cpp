// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Clients of the service's callbacks that come, go, die and take over; and bursts of events.
#include <csignal>
#include <memory>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/e2e/Programs.h"

namespace e2e {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// What a client prints of it.
constexpr char kWakeup[] =
        R"({"event":"lpwg","version":"1.1","status":0,"name":"WAKEUP","result":0})";

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

class EventsEndToEndTest : public ProgramsTest {
  protected:
    // With the attach done to its end, and a client that makes the service listen.
    void startPhoneAndClient() {
        startPhone();
        awaitAttachDone();
        client = startClient();
        mark = entries().size();
    }

    std::unique_ptr<Process> startClient() {
        auto watch = std::make_unique<Process>(
                std::vector<std::string>{bin("bivistactl"), "watch", "lpwg"});
        await([&] { return watch->err().find("watching") != std::string::npos; });
        // An event before the service has its socket is lost.
        await([this] {
            raiseMarker();
            return count(log(), "uevent received SUBSYSTEM=QMX_BV2 marker") > 0;
        });
        awaitHandled();
        return watch;
    }

    // An event that the service logs, and does nothing about; returns its last line there.
    std::string raiseMarker() {
        const std::string marker = "MARKER=" + std::to_string(++mMarkers) + ".";
        ctl({"uevent", "SUBSYSTEM=QMX_BV2 marker\\x00" + marker + "\\x00"});
        return "cp1 = " + marker;
    }

    // Waits until the service is done with what was raised so far.
    void awaitHandled() { awaitLog(raiseMarker()); }

    // The same as told() once so much was done: a write to a node reaches the journal a little
    // after the service has made it.
    std::vector<std::string> awaitTold(size_t count) const {
        await([&] { return told().size() >= count; });
        return told();
    }

    // What was done since `mark`, in order; of uevents those of the touch panel.
    std::vector<std::string> told() const {
        std::vector<std::string> told;
        const std::vector<JournalEntry> all = entries();
        for (size_t i = mark; i < all.size(); ++i) {
            const JournalEntry& entry = all[i];
            if (entry.kind == "hidl-call") {
                told.push_back(entry.path + "(" + entry.bytes + ")=" + entry.note);
            } else if (entry.kind == "uevent" && entry.bytes.starts_with("change@")) {
                told.emplace_back("uevent");
            } else if (!entry.deed().empty() && entry.deed().find("control=") != 0) {
                told.push_back(entry.deed());
            }
        }
        return told;
    }

    // The client ends by itself, and has heard of no event.
    void expectReplaced() {
        const Outcome outcome = client->outcome();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, HasSubstr("\nbivistactl: the service has let go of the callback "
                                           "for touch and pen events"));
    }

    std::unique_ptr<Process> client;
    size_t mark = 0;

  private:
    int mMarkers = 0;
};

TEST_F(EventsEndToEndTest, ABurstOfAllKindsLosesNothing) {
    startPhoneAndClient();
    std::vector<std::string> command = {"pen"};
    for (int i = 0; i < 25; ++i) {
        command.insert(command.end(),
                       {"BV_PEN_WAKEUP", "SWITCH_AES_TO_1", "SWITCH_AES_BOTH", "BV_UPDATE_STATE"});
    }
    ctl(command);
    awaitHandled();
    EXPECT_EQ(linesOf(client->out()).size(), 25u);
    std::vector<std::string> expected;
    for (int i = 0; i < 25; ++i) {
        expected.insert(expected.end(),
                        {"AT%TCHNOTIFY=SWTICH_AES,1\\r", "aes_mode=0",
                         "ILpwg.setAesModeToLpwg(0)=0", "AT%TCHNOTIFY=SWTICH_AES,2\\r",
                         "aes_mode=2", "AT%TCHUPDATE=UPDATE_STATE,0,0,0\\r"});
    }
    std::vector<std::string> done = told();
    std::erase(done, "uevent");
    EXPECT_EQ(done, expected);
}

TEST_F(EventsEndToEndTest, TheNextClientTakesOver) {
    startPhoneAndClient();
    const auto next = startClient();
    expectReplaced();
    ctl({"gesture", "WAKEUP"});
    awaitHandled();
    EXPECT_THAT(linesOf(next->out()), ElementsAre(kWakeup));
}

TEST_F(EventsEndToEndTest, AClientThatDiedIsReportedAndReplaced) {
    startPhoneAndClient();
    client->kill(SIGKILL);
    client->wait();
    ctl({"gesture", "WAKEUP"});
    awaitHandled();
    EXPECT_THAT(log(), HasSubstr("DEAD_OBJECT"));
    const auto next = startClient();
    ctl({"gesture", "WAKEUP"});
    awaitHandled();
    EXPECT_THAT(linesOf(next->out()), ElementsAre(kWakeup));
}

TEST_F(EventsEndToEndTest, TheNextClientOfTheSubDisplayTakesOver) {
    startPhone();
    const std::vector<std::string> command = {bin("bivistactl"), "watch", "sub"};
    Process first(command);
    await([&] { return first.err().find("watching") != std::string::npos; });
    Process next(command);
    const Outcome outcome = first.outcome();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("has let go of the callback for states of the sub display"));
    await([&] { return next.err().find("watching") != std::string::npos; });
    next.kill(SIGINT);
    EXPECT_EQ(next.wait(), 0);
}

TEST_F(EventsEndToEndTest, AWatchedServiceThatIsKilledIsNotTakenForAnotherClient) {
    startPhoneAndClient();
    ASSERT_EQ(kill(servicePid(), SIGKILL), 0);
    EXPECT_EQ(client->wait(), 3);
    EXPECT_THAT(client->err(), HasSubstr("the service died"));
}

// Ending a watch never clears the callback, which would stop the service.
TEST_F(EventsEndToEndTest, TheServiceOutlivesItsClients) {
    startPhoneAndClient();
    client->kill(SIGINT);
    EXPECT_EQ(client->wait(), 0);
    ctl({"pen", "SWITCH_AES_TO_2"});
    awaitHandled();
    EXPECT_THAT(awaitTold(3), ElementsAre("uevent", "AT%TCHNOTIFY=SWTICH_AES,2\\r", "aes_mode=2"));
    EXPECT_EQ(call({"getBV2Connect"}).status, 0);
}

TEST_F(EventsEndToEndTest, AServiceThatIsKilledInABurstStartsAgain) {
    startPhoneAndClient();
    std::vector<std::string> command = {bin("bivista-emulator"), "ctl", "pen"};
    command.insert(command.end(), 1000, "BV_PEN_WAKEUP");
    Process burst(command);
    await([this] { return linesOf(client->out()).size() >= 10; });
    ASSERT_EQ(kill(servicePid(), SIGKILL), 0);
    EXPECT_EQ(phone->wait(), 128 + SIGKILL);
    EXPECT_EQ(client->wait(), 3);
    burst.wait();
    startPhoneAndClient();
    ctl({"gesture", "WAKEUP"});
    awaitHandled();
    EXPECT_THAT(linesOf(client->out()), ElementsAre(kWakeup));
}

}  // namespace
}  // namespace e2e
