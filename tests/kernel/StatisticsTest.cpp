// What AT exchanges are counted under, and that nothing is lost or torn while somebody reads.
#include "diagnostics/Statistics.h"

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include <gtest/gtest.h>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

struct Named {
    std::string cmd;
    std::string name;
};

void PrintTo(const Named& named, std::ostream* out) {
    *out << named.name;
}

class CommandNameTest : public testing::TestWithParam<Named> {};

TEST_P(CommandNameTest, EndsWhereTheArgumentsBegin) {
    EXPECT_EQ(CommandName(GetParam().cmd.c_str()).text(), GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(
        All, CommandNameTest,
        testing::Values(Named{"AT%SWV\r", "AT%SWV"}, Named{"AT%DB=128\r", "AT%DB"},
                        Named{"AT%X=\r=\r", "AT%X"}, Named{"at%swv\r", "AT%SWV"},
                        Named{"AT\r\r", "AT"}, Named{"AT \x01\xFF\n\r", "AT \x01\xFF\n"},
                        Named{"", ""}, Named{std::string(63, 'A') + "\r", std::string(63, 'A')},
                        Named{std::string(64, 'A') + "=1\r", std::string(63, 'A')}));

// Those that the service sends; what else a client may send with these commands shares a row.
INSTANTIATE_TEST_SUITE_P(
        WithTheirArgument, CommandNameTest,
        testing::Values(Named{"AT%TCHNOTIFY=SD\r", "AT%TCHNOTIFY=SD"},
                        Named{"at%tchnotify=sd\r", "AT%TCHNOTIFY=SD"},
                        Named{"AT%TCHNOTIFY=LPWG_SD\r", "AT%TCHNOTIFY=LPWG_SD"},
                        Named{"AT%TCHNOTIFY=PULL_SD_RESULT\r", "AT%TCHNOTIFY=PULL_SD_RESULT"},
                        Named{"AT%TCHNOTIFY=FW_UPGRADE\r", "AT%TCHNOTIFY=FW_UPGRADE"},
                        Named{"AT%TCHNOTIFY=SWTICH_AES,2\r", "AT%TCHNOTIFY=SWTICH_AES"},
                        Named{"AT%TCHNOTIFY=LPWG_NOTIFY,1,2\r", "AT%TCHNOTIFY=LPWG_NOTIFY"},
                        Named{"AT%TCHDEBUG=FWVER\r", "AT%TCHDEBUG=FWVER"},
                        Named{"AT%TCHDEBUG=RAWDATA\r", "AT%TCHDEBUG=RAWDATA"},
                        Named{"AT%TCHDEBUG=DELTA\r", "AT%TCHDEBUG=DELTA"},
                        Named{"AT%TCHDEBUG=RESET\r", "AT%TCHDEBUG=RESET"},
                        Named{"AT%TCHDEBUG=GPIO_PIN\r", "AT%TCHDEBUG=GPIO_PIN"},
                        Named{"AT%TCHNOTIFY=SDX\r", "AT%TCHNOTIFY"},
                        Named{"AT%TCHNOTIFY=S\r", "AT%TCHNOTIFY"},
                        Named{"AT%TCHNOTIFY=\r", "AT%TCHNOTIFY"},
                        Named{"AT%TCHNOTIFY\r", "AT%TCHNOTIFY"},
                        Named{"AT%TCHDEBUG=SD\r", "AT%TCHDEBUG"}));

class ExchangeStatisticsTest : public testing::Test {
  protected:
    void count(const std::string& cmd, uint64_t micros = 5, bool failed = false,
               bool timedOut = false) {
        const MutexLock lock(sSerialMutex, "test");
        statistics->count(cmd.c_str(), micros, failed, timedOut);
    }
    uint64_t countOf(size_t row) { return statistics->gather(false)[row].latency.count(); }

    const std::unique_ptr<ExchangeStatistics> statistics = std::make_unique<ExchangeStatistics>();
};

TEST_F(ExchangeStatisticsTest, HaveARowANameInTheOrderOfTheFirstCommand) {
    count("AT%DB=1\r");
    count("AT%HPD\r");
    count("AT%DB=2\r");
    ASSERT_EQ(statistics->names(), 2u);
    EXPECT_EQ(statistics->nameOf(0), "AT%DB");
    EXPECT_EQ(countOf(0), 2u);
    EXPECT_EQ(statistics->nameOf(1), "AT%HPD");
    EXPECT_EQ(countOf(1), 1u);
}

TEST_F(ExchangeStatisticsTest, TellNamesApartThatBeginAlike) {
    for (const char* cmd : {"AT\r", "AT%\r", "AT%%\r", "ATE0\r", "AT\r"}) count(cmd);
    EXPECT_EQ(statistics->names(), 4u);
    EXPECT_EQ(countOf(0), 2u);
}

TEST_F(ExchangeStatisticsTest, KeepWhatFailedAndWhatTimedOut) {
    count("AT%DB=1\r", 10);
    count("AT%DB=1\r", 20, true);
    count("AT%DB=1\r", 5'000'000, true, true);
    const CommandStatistics row = statistics->gather(false)[0];
    EXPECT_EQ(row.failures, 2u);
    EXPECT_EQ(row.timeouts, 1u);
    EXPECT_EQ(row.latency.summary().max, 5'000'000u);
}

TEST_F(ExchangeStatisticsTest, ShareARowAfterFortyNames) {
    for (int i = 0; i < 42; ++i) count("AT%N" + std::to_string(i) + "\r");
    EXPECT_EQ(statistics->names(), 40u);
    EXPECT_EQ(statistics->nameOf(39), "AT%N39");
    EXPECT_EQ(countOf(39), 1u);
    EXPECT_EQ(statistics->nameOf(40), "other");
    EXPECT_EQ(countOf(40), 2u);
    count("AT%N39\r");
    EXPECT_EQ(countOf(39), 2u) << "a name that is known keeps its row";
}

TEST_F(ExchangeStatisticsTest, TellNoCaseFromAnother) {
    count("AT%SWV\r", 10);
    count("at%swv\r", 10);
    EXPECT_EQ(statistics->names(), 1u);
    EXPECT_EQ(statistics->nameOf(0), "AT%SWV");
    EXPECT_EQ(countOf(0), 2u);
}

TEST_F(ExchangeStatisticsTest, ForgetOnAReset) {
    count("AT%SWV\r", 1000, true, true);
    EXPECT_EQ(countOf(0), 1u);
    count("AT%SWV\r", 7);
    EXPECT_EQ(statistics->gather(true)[0].latency.summary().max, 1000u) << "told once more";
    EXPECT_EQ(countOf(0), 0u);
    count("AT%SWV\r", 7);
    const CommandStatistics row = statistics->gather(false)[0];
    EXPECT_EQ(row.latency.count(), 1u);
    EXPECT_EQ(row.latency.summary().max, 7u);
    EXPECT_EQ(row.failures, 0u);
    EXPECT_EQ(row.timeouts, 0u);
    EXPECT_EQ(statistics->nameOf(0), "AT%SWV");
}

// What is under way when the reader turns is not read before it is whole.
TEST(TwoSidesTest, AreQuietWhenAllHaveLeft) {
    TwoSides sides;
    const size_t early = sides.enter();
    const size_t late = sides.enter();
    EXPECT_EQ(late, early);
    EXPECT_EQ(sides.turn(), early);
    EXPECT_FALSE(sides.isQuiet(early));
    const size_t next = sides.enter();
    EXPECT_NE(next, early);
    sides.leave(next);
    EXPECT_FALSE(sides.isQuiet(early)) << "that one was on the other side";
    sides.leave(late);
    EXPECT_FALSE(sides.isQuiet(early));
    sides.leave(early);
    EXPECT_TRUE(sides.isQuiet(early));
}

TEST(TwoSidesTest, AreTurnedAgainAndAgain) {
    TwoSides sides;
    size_t before = sides.turn();
    EXPECT_TRUE(sides.isQuiet(before)) << "nobody has ever entered";
    for (int i = 0; i < 5; ++i) {
        const size_t side = sides.enter();
        EXPECT_NE(side, before);
        EXPECT_EQ(sides.turn(), side);
        EXPECT_FALSE(sides.isQuiet(side));
        sides.leave(side);
        EXPECT_TRUE(sides.isQuiet(side));
        before = side;
    }
}

// The i-th exchange takes i microseconds, so that a maximum tells up to which one was counted.
TEST_F(ExchangeStatisticsTest, AddUpOverResetsToWhatWasCounted) {
    std::atomic<bool> enough = false;
    uint64_t exchanges = 0;
    std::thread exchanging([&] {
        while (!enough) {
            ++exchanges;
            count("AT%SWV\r", exchanges, exchanges % 3 == 0, exchanges % 6 == 0);
        }
    });
    uint64_t total = 0, failures = 0, timeouts = 0;
    const auto look = [&] {
        const CommandStatistics row = statistics->gather(true)[0];
        const Latency::Summary latency = row.latency.summary();
        total += latency.count;
        failures += row.failures;
        timeouts += row.timeouts;
        const bool hasNews = latency.count > 0;
        EXPECT_EQ(latency.max, hasNews ? total : 0);
        EXPECT_EQ(latency.p50 > 0, hasNews);
        EXPECT_EQ(failures, total / 3);
        EXPECT_EQ(timeouts, total / 6);
        return hasNews;
    };
    for (int told = 0; told < 500 && !HasFailure();) {
        if (look()) {
            ++told;
        } else {
            std::this_thread::yield();
        }
    }
    enough = true;
    exchanging.join();
    look();
    EXPECT_EQ(total, exchanges);
}

// A client that is being told of something may ask for a dump while another one has its own.
TEST_F(ExchangeStatisticsTest, AreGatheredByOneAtATime) {
    std::atomic<uint64_t> total = 0;
    std::atomic<bool> ended = false;
    const auto gatherAll = [&] {
        for (bool last = false; !last;) {
            last = ended;
            total += statistics->gather(true)[0].latency.count();
        }
    };
    std::thread one(gatherAll), other(gatherAll);
    for (uint64_t i = 1; i <= 5000; ++i) count("AT%SWV\r", i);
    ended = true;
    one.join();
    other.join();
    EXPECT_EQ(total, 5000u);
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
