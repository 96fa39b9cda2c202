// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover screen, switched, dimmed and tinted with bivistactl as a person would.
#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/e2e/Programs.h"

namespace e2e {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class ScreenEndToEndTest : public ProgramsTest {
  protected:
    void startScreen(const std::vector<std::string>& options = {}) {
        startPhone(options);
        awaitAttached(1);
    }

    // Waits until the service has brought the cover up so many times.
    void awaitAttached(size_t times) const {
        await([&] { return countReceived("AT%LOGSAVE=3\\r") >= times; });
    }

    Outcome type(std::vector<std::string> words) const {
        words.insert(words.begin(), bin("bivistactl"));
        return run(words);
    }

    // A command that the service carries out without any output.
    void expectDone(const std::vector<std::string>& words) const {
        const Outcome outcome = type(words);
        EXPECT_EQ(outcome.status, 0) << words.front();
        EXPECT_EQ(outcome.out + outcome.err, "");
    }

    void expectFailed(const std::vector<std::string>& words, const std::string& told) const {
        const Outcome outcome = type(words);
        EXPECT_EQ(outcome.status, 1) << words.front();
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, HasSubstr(told));
    }

    // What the phone did so far. Only what begins with one of these.
    std::vector<std::string> events(const std::vector<std::string>& beginnings) const {
        std::vector<std::string> found;
        for (const JournalEntry& entry : entries()) {
            const std::string event = entry.deed();
            const auto isBeginning = [&](const std::string& text) {
                return event.starts_with(text);
            };
            if (std::any_of(beginnings.begin(), beginnings.end(), isBeginning)) {
                found.push_back(event);
            }
        }
        return found;
    }

    size_t countReceived(const std::string& event) const { return events({event}).size(); }
    void awaitEvent(const std::string& event) const {
        await([&] { return countReceived(event) > 0; });
    }
};

TEST_F(ScreenEndToEndTest, GoesOnAndOff) {
    startScreen();
    const size_t before = events({"AT%LOGSAVE"}).size();
    expectDone({"power", "on"});
    awaitEvent("bv2_pd=1 0");
    std::vector<std::string> switching = events({"AT%LOGSAVE", "AT%BV=", "AT%HPD", "bv2_pd="});
    switching.erase(switching.begin(), switching.begin() + static_cast<ptrdiff_t>(before));
    EXPECT_THAT(switching, ElementsAre("AT%LOGSAVE=3\\r", "AT%BV=1\\r", "AT%HPD\\r", "AT%HPD\\r",
                                       "AT%HPD\\r", "bv2_pd=1 0"));

    expectDone({"power", "off", "--uevent"});
    awaitEvent("bv2_pd=0 1");
    EXPECT_THAT(events({"AT%BV=", "bv2_pd="}),
                ElementsAre("AT%BV=1\\r", "bv2_pd=1 0", "AT%BV=0\\r", "bv2_pd=0 1"));
}

TEST_F(ScreenEndToEndTest, IsDimmedAndTinted) {
    startScreen();
    expectDone({"power", "on"});
    expectDone({"brightness", "128"});
    awaitEvent("AT%DB=128\\r");
    expectDone({"offset", "-20"});
    awaitEvent("AT%DB=88\\r");
    expectDone({"colour", "mode", "MODE_1"});
    expectDone({"colour", "rgb", "1", "20", "30", "40"});
    expectDone({"colour", "tune", "3", "2", "1"});
    EXPECT_THAT(events({"AT%SMODE", "AT%PRGB", "AT%SHS"}),
                ElementsAre("AT%SMODE=1\\r", "AT%PRGB=1,20,30,40\\r", "AT%SHS=3,2,1\\r"));
}

TEST_F(ScreenEndToEndTest, ThatIsAbsentCannotGoOn) {
    startPhone({"--no-cover"});
    expectFailed({"power", "on"}, "not attached");
    expectFailed({"cutout"}, "not attached");
}

}  // namespace
}  // namespace e2e
