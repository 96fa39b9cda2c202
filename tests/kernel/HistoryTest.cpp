// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The ring of events: its numbers, what it forgets, and that no event is lost or torn while threads
// record and read.
#include "diagnostics/History.h"

#include <cerrno>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostics/ProgramBuild.h"
#include "diagnostics/Statistics.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

Event numbered(int64_t value) {
    return Event(EventKind::kVotes, "reset", {value});
}

struct HistoryTest : testing::Test {
    void add(int64_t count) {
        for (int64_t i = 1; i <= count; ++i) history.add(numbered(i));
    }
    std::vector<uint64_t> numbersSince(uint64_t number) const {
        std::vector<Event> events;
        history.copySince(number, &events);
        std::vector<uint64_t> numbers;
        for (const Event& event : events) {
            numbers.push_back(event.number);
            EXPECT_EQ(event.values[0], static_cast<int64_t>(event.number)) << "another's content";
        }
        return numbers;
    }

    History history;
};

TEST_F(HistoryTest, IsEmptyAtFirst) {
    EXPECT_THAT(numbersSince(0), IsEmpty());
    EXPECT_EQ(history.first(), 0u);
    EXPECT_EQ(history.last(), 0u);
    EXPECT_EQ(history.lostSince(0), 0u);
}

TEST_F(HistoryTest, NumbersFromOneOn) {
    add(3);
    EXPECT_THAT(numbersSince(0), ElementsAre(1, 2, 3));
    EXPECT_EQ(history.first(), 1u);
    EXPECT_EQ(history.last(), 3u);
}

TEST_F(HistoryTest, GivesTheEventsAboveANumber) {
    add(3);
    EXPECT_THAT(numbersSince(1), ElementsAre(2, 3));
    EXPECT_THAT(numbersSince(3), IsEmpty());
    EXPECT_THAT(numbersSince(4), IsEmpty()) << "of a service that has started anew";
    EXPECT_THAT(numbersSince(UINT64_MAX), IsEmpty());
    EXPECT_EQ(history.lostSince(UINT64_MAX), 0u);
}

TEST_F(HistoryTest, KeepsTheLast256) {
    add(256);
    EXPECT_EQ(numbersSince(0).size(), 256u);
    EXPECT_EQ(history.first(), 1u);
    EXPECT_EQ(history.lostSince(0), 0u);
    history.add(numbered(257));
    EXPECT_EQ(numbersSince(0).size(), 256u);
    EXPECT_EQ(numbersSince(0).front(), 2u);
    EXPECT_EQ(numbersSince(0).back(), 257u);
    EXPECT_EQ(history.first(), 2u);
}

TEST_F(HistoryTest, CountsWhatItForgotAboveANumber) {
    add(1000);
    EXPECT_EQ(history.first(), 745u);
    EXPECT_EQ(history.lostSince(0), 744u);
    EXPECT_EQ(history.lostSince(743), 1u);
    EXPECT_EQ(history.lostSince(744), 0u);
    EXPECT_EQ(history.lostSince(999), 0u);
    EXPECT_THAT(numbersSince(998), ElementsAre(999, 1000));
}

struct RepeatsTest : HistoryTest {
    // "number what [value] +repeats" of each event.
    std::vector<std::string> told() const {
        std::vector<Event> events;
        history.copySince(0, &events);
        std::vector<std::string> texts;
        for (const Event& event : events) {
            texts.push_back(std::to_string(event.number) + " " + event.what + " " +
                            std::to_string(event.values[0]) + " +" + std::to_string(event.repeats));
        }
        return texts;
    }
    void set(const char* what, int64_t value) {
        history.add(Event(EventKind::kSetting, what, {value}));
    }
    void drop(Cause cause) { history.add(Event(EventKind::kFrameDropped, "", {}, cause)); }
};

TEST_F(RepeatsTest, OfASettingKeepTheNewestValuesUnderTheFirstNumber) {
    for (int64_t value = 1; value <= 1000; ++value) set("brightness", value);
    set("offset", 5);
    set("brightness", 7);
    EXPECT_THAT(told(),
                ElementsAre("1 brightness 1000 +999", "2 offset 5 +0", "3 brightness 7 +0"));
    EXPECT_EQ(history.lostSince(0), 0u);
}

TEST_F(RepeatsTest, AreOfLevelsAlone) {
    set("subDisplay.brightness", 1);
    set("subDisplay.brightness", 2);
    set("power", 1);
    set("power", 0);
    EXPECT_THAT(told(),
                ElementsAre("1 subDisplay.brightness 2 +1", "2 power 1 +0", "3 power 0 +0"));
}

TEST_F(RepeatsTest, OfASettingHaveTheNewestTimes) {
    set("brightness", 1);
    const Moment between = Moment::now();
    set("brightness", 2);
    std::vector<Event> events;
    history.copySince(0, &events);
    EXPECT_GE(events.at(0).at.monotonicMicros, between.monotonicMicros);
}

TEST_F(RepeatsTest, AreOfOneCause) {
    drop("replaced");
    static const char kOther[] = {'r', 'e', 'p', 'l', 'a', 'c', 'e', 'd', 0};
    drop(kOther);
    drop("freed");
    drop(Cause::ofError(EIO));
    drop(Cause::ofError(EIO));
    drop(Cause::ofError(ENODEV));
    EXPECT_THAT(told(), ElementsAre("1  0 +1", "2  0 +0", "3  0 +1", "4  0 +0"));
}

TEST_F(RepeatsTest, AreNotOfOtherKinds) {
    for (int i = 0; i < 2; ++i) history.add(Event(EventKind::kFailure, "AT%SWV"));
    EXPECT_THAT(told(), ElementsAre("1 AT%SWV 0 +0", "2 AT%SWV 0 +0"));
}

TEST_F(RepeatsTest, AreWithinTheLast256) {
    add(300);
    set("brightness", 1);
    set("brightness", 2);
    EXPECT_EQ(history.last(), 301u);
    EXPECT_EQ(told().back(), "301 brightness 2 +1");
    EXPECT_EQ(told().size(), 256u);
}

TEST(EventTest, CutsWhatIsTooLong) {
    const Event event(EventKind::kFailure, std::string(100, 'x'), {1, 2, 3, 4, 5},
                      Cause::ofError(ENODEV));
    EXPECT_EQ(event.what, std::string(63, 'x'));
    EXPECT_EQ(event.valueCount, 4);
    EXPECT_STREQ(textOf(event.cause), "No such device");
}

TEST(EventTest, HasACauseInTheWordsOfTheLog) {
    EXPECT_STREQ(textOf(Cause::ofError(EPROTONOSUPPORT)), "Command not supported");
    EXPECT_STREQ(textOf(Cause::ofError(ETIME)), "Timer expired");
    EXPECT_STREQ(textOf("freed"), "freed");
    EXPECT_EQ(textOf(Cause()), nullptr);
}

TEST(EventTest, HasANameForEachKind) {
    std::vector<std::string> names;
    for (int kind = 0; kind <= static_cast<int>(EventKind::kLpwgEvent); ++kind) {
        names.emplace_back(nameOf(static_cast<EventKind>(kind)));
    }
    EXPECT_THAT(names, ElementsAre("start", "attach", "detach", "setting", "failure", "timeout",
                                   "refused", "recovery", "votes", "callback", "panel",
                                   "frameDropped", "upgrade", "signal", "lpwgEvent"));
}

struct EventStatisticsTest : testing::Test {
    // "kind what cause" of each event above this number.
    std::vector<std::string> events(uint64_t since = 0) {
        std::vector<std::string> texts;
        for (const Event& event : statistics.eventsSince(since).events) {
            std::string text = std::string(nameOf(event.kind)) + " " + event.what;
            if (const char* const cause = textOf(event.cause)) text += std::string(" ") + cause;
            texts.push_back(text);
        }
        return texts;
    }

    Statistics statistics;
};

TEST_F(EventStatisticsTest, AreNoneForWhatGoesWell) {
    statistics.countExchange("AT%SWV\r", 5, 0);
    statistics.count(&Counts::framesDrawn);
    statistics.count(&Counts::framesSent);
    EXPECT_THAT(events(), IsEmpty());
}

TEST_F(EventStatisticsTest, TellWhatIsCountedAsFailed) {
    statistics.countExchange("AT%DB=1\r", 5, EPROTONOSUPPORT);
    statistics.countExchange("AT%DB=1\r", 5, ETIME);
    statistics.countRefusal("AT%SWV\r", ENODEV);
    statistics.countRecovery();
    statistics.countDropped("replaced");
    statistics.countRetry(EIO);
    statistics.countOrder("UPGRADE", true);
    statistics.countOrder("CANCEL", false);
    EXPECT_THAT(events(),
                ElementsAre("failure AT%DB Command not supported", "timeout AT%DB Timer expired",
                            "refused AT%SWV No such device", "recovery ", "frameDropped  replaced",
                            "failure hidDisplayPalette Input/output error", "upgrade UPGRADE OK",
                            "upgrade CANCEL FAIL"));
    const Counts counts = statistics.take(true);
    EXPECT_EQ(counts.framesDropped, 1u);
    EXPECT_EQ(counts.frameRetries, 1u);
    EXPECT_EQ(counts.recoveries, 1u);
    EXPECT_EQ(events().size(), 8u) << "a reset leaves the events";
}

TEST_F(EventStatisticsTest, LeaveTheOrderOfADetachOut) {
    sIsOrderOfDetach = true;
    statistics.countOrder("CANCEL", true);
    sIsOrderOfDetach = false;
    EXPECT_THAT(events(), IsEmpty());
}

TEST_F(EventStatisticsTest, HaveTheTimesOfBothClocks) {
    const Moment before = Moment::now();
    statistics.record(EventKind::kStart, "1.0");
    const Moment after = Moment::now();
    const EventList list = statistics.eventsSince(0);
    const Moment& at = list.events.at(0).at;
    EXPECT_LE(before.wallMicros, at.wallMicros);
    EXPECT_LE(at.wallMicros, after.wallMicros);
    EXPECT_LE(before.monotonicMicros, at.monotonicMicros);
    EXPECT_LE(at.monotonicMicros, after.monotonicMicros);
    EXPECT_LE(statistics.start().monotonicMicros, before.monotonicMicros);
}

TEST_F(EventStatisticsTest, FollowTheLifeOfACallback) {
    statistics.recordCallback(ClientCallback::kLpwg, nullptr);
    EXPECT_THAT(events(), IsEmpty()) << "there was none to clear";
    statistics.recordCallback(ClientCallback::kLpwg, "1.0");
    statistics.recordCallback(ClientCallback::kLpwg, "1.1");
    EXPECT_STREQ(statistics.callbacks()[0], "1.1");
    statistics.recordDeath(ClientCallback::kLpwg);
    statistics.recordDeath(ClientCallback::kLpwg);
    EXPECT_STREQ(statistics.callbacks()[0], "1.1") << "the service keeps a dead one";
    statistics.recordCallback(ClientCallback::kLpwg, nullptr);
    EXPECT_EQ(statistics.callbacks()[0], nullptr);
    statistics.recordCallback(ClientCallback::kSubDisplay, "1.0");
    statistics.recordDeath(ClientCallback::kSubDisplay);
    statistics.recordCallback(ClientCallback::kSubDisplay, "1.0");
    statistics.recordDeath(ClientCallback::kSubDisplay);
    EXPECT_THAT(events(), ElementsAre("callback lpwg registered", "callback lpwg replaced",
                                      "callback lpwg died", "callback lpwg cleared",
                                      "callback subDisplay registered", "callback subDisplay died",
                                      "callback subDisplay replaced", "callback subDisplay died"));
}

TEST_F(EventStatisticsTest, HaveASignalBeforeWhatCameAfterIt) {
    statistics.recordStopSignal();
    const Moment after = Moment::now();
    statistics.record(EventKind::kPanel, "ON");
    EXPECT_THAT(events(), ElementsAre("signal SIGUSR1", "panel ON"));
    const EventList list = statistics.eventsSince(0);
    EXPECT_LE(list.events[0].at.monotonicMicros, after.monotonicMicros);
    EXPECT_GT(list.events[0].at.wallMicros, 0u);
}

TEST_F(EventStatisticsTest, HaveEightSignalsUntilTheNextEventOrReader) {
    for (int i = 0; i < 9; ++i) statistics.recordStopSignal();
    EXPECT_EQ(events().size(), 8u);
    for (int i = 0; i < 9; ++i) statistics.recordStopSignal();
    EXPECT_EQ(events().size(), 16u) << "their places are free again";
}

Statistics* sInterrupted = nullptr;

// The handler interrupts a thread that holds the lock of the statistics at most times.
TEST_F(EventStatisticsTest, TakeASignalInTheMiddleOfAnything) {
    sInterrupted = &statistics;
    signal(SIGUSR2, [](int) { sInterrupted->recordStopSignal(); });
    std::atomic<bool> ended = false;
    std::thread recording([&] {
        while (!ended) {
            statistics.record(EventKind::kPanel, "ON");
            statistics.eventsSince(0);
        }
    });
    uint64_t signals = 0;
    for (uint64_t seen = 0; signals < 200;) {
        pthread_kill(recording.native_handle(), SIGUSR2);
        const EventList list = statistics.eventsSince(seen);
        for (const Event& event : list.events) {
            if (event.kind == EventKind::kSignal) ++signals;
        }
        seen = list.last;
    }
    ended = true;
    recording.join();
    signal(SIGUSR2, SIG_DFL);
}

// Each event's value is its number in its thread, so a torn or lost one shows.
TEST_F(EventStatisticsTest, AreWholeWhileThreadsRecordAndRead) {
    constexpr int64_t kEach = 5000;
    const auto record = [&](const char* what) {
        for (int64_t i = 1; i <= kEach; ++i) {
            statistics.record(EventKind::kFailure, what, {i, -i}, what);
        }
    };
    std::thread one(record, "one");
    std::thread two(record, "two");
    uint64_t seen = 0, read = 0, lost = 0;
    const auto look = [&] {
        const EventList list = statistics.eventsSince(seen);
        for (const Event& event : list.events) {
            EXPECT_EQ(event.values[0], -event.values[1]);
            EXPECT_STREQ(event.what, textOf(event.cause));
        }
        read += list.events.size();
        lost += list.lost;
        EXPECT_EQ(read + lost, list.last);
        seen = list.last;
    };
    while (seen < kEach) look();
    one.join();
    two.join();
    look();
    EXPECT_EQ(read + lost, static_cast<uint64_t>(2 * kEach));
}

TEST(ProgramBuildTest, IsTheIdThatTheLinkerWrote) {
    EXPECT_THAT(programBuild(), MatchesRegex("[0-9a-f]{40}"));
    EXPECT_EQ(&programBuild(), &programBuild()) << "read once";
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
