// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The names that AT exchanges are counted under. No count is lost or torn while a thread reads.
#include "diagnostics/Statistics.h"

#include <atomic>
#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kernel/base/CommandName.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::ElementsAre;

struct Named {
    std::string cmd;
    std::string name;
};

void PrintTo(const Named& named, std::ostream* out) {
    *out << named.name;
}

class CommandNameTest : public testing::TestWithParam<Named> {};

TEST_P(CommandNameTest, EndsWhereTheArgumentsBegin) {
    EXPECT_EQ(nameOfCommand(GetParam().cmd.c_str()), GetParam().name);
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
    void count(const std::string& cmd, uint64_t micros = 5, int error = 0) {
        statistics.countExchange(cmd.c_str(), micros, error);
    }
    std::vector<CommandCounts> rows() { return statistics.take(false).commands; }
    // "name count" of each row.
    std::vector<std::string> counted() {
        std::vector<std::string> texts;
        for (const CommandCounts& row : rows()) {
            texts.push_back(row.name + " " + std::to_string(row.latency.count()));
        }
        return texts;
    }

    Statistics statistics;
};

TEST_F(ExchangeStatisticsTest, HaveARowANameInTheOrderOfTheFirstCommand) {
    for (const char* cmd : {"AT%DB=1\r", "AT%HPD\r", "AT%DB=2\r"}) count(cmd);
    EXPECT_THAT(counted(), ElementsAre("AT%DB 2", "AT%HPD 1"));
}

TEST_F(ExchangeStatisticsTest, TellNamesApartThatBeginAlike) {
    for (const char* cmd : {"AT\r", "AT%\r", "AT%%\r", "ATE0\r", "AT\r"}) count(cmd);
    EXPECT_THAT(counted(), ElementsAre("AT 2", "AT% 1", "AT%% 1", "ATE0 1"));
}

TEST_F(ExchangeStatisticsTest, TellNoCaseFromAnother) {
    count("AT%SWV\r");
    count("at%swv\r");
    EXPECT_THAT(counted(), ElementsAre("AT%SWV 2"));
}

TEST_F(ExchangeStatisticsTest, KeepWhatFailedAndWhatTimedOut) {
    count("AT%DB=1\r", 10);
    count("AT%DB=1\r", 20, EPROTONOSUPPORT);
    count("AT%DB=1\r", 5'000'000, ETIME);
    const CommandCounts row = rows()[0];
    EXPECT_EQ(row.failures, 2u);
    EXPECT_EQ(row.timeouts, 1u);
    EXPECT_EQ(row.latency.max(), 5'000'000u);
}

TEST_F(ExchangeStatisticsTest, ShareARowAfterFortyNames) {
    for (int i = 0; i < 42; ++i) count("AT%N" + std::to_string(i) + "\r");
    count("AT%N39\r");
    const std::vector<std::string> texts = counted();
    ASSERT_EQ(texts.size(), 41u);
    EXPECT_EQ(texts[39], "AT%N39 2") << "a name that is known keeps its row";
    EXPECT_EQ(texts[40], "other 2");
}

TEST_F(ExchangeStatisticsTest, ForgetOnAReset) {
    count("AT%SWV\r", 1000, ETIME);
    statistics.countOrder("UPGRADE", true);
    const Counts taken = statistics.take(true);
    EXPECT_EQ(taken.commands[0].latency.max(), 1000u) << "told once more";
    EXPECT_EQ(taken.lastFailure->name, "AT%SWV");
    count("AT%SWV\r", 7);
    const Counts counts = statistics.take(false);
    EXPECT_EQ(counts.commands[0].name, "AT%SWV");
    EXPECT_EQ(counts.commands[0].latency.count(), 1u);
    EXPECT_EQ(counts.commands[0].latency.max(), 7u);
    EXPECT_EQ(counts.commands[0].failures, 0u);
    EXPECT_EQ(counts.commands[0].timeouts, 0u);
    EXPECT_FALSE(counts.lastFailure.has_value());
    EXPECT_EQ(counts.orders, 1u) << "a reset leaves the orders";
}

// The i-th exchange takes i microseconds, so that a maximum shows the last one that was counted.
TEST_F(ExchangeStatisticsTest, AddUpOverResetsToWhatWasCounted) {
    std::atomic<bool> enough = false;
    uint64_t exchanges = 0;
    std::thread exchanging([&] {
        while (!enough) {
            ++exchanges;
            count("AT%SWV\r", exchanges,
                  exchanges % 6 == 0   ? ETIME
                  : exchanges % 3 == 0 ? EPROTONOSUPPORT
                                       : 0);
        }
    });
    uint64_t total = 0, failures = 0, timeouts = 0;
    const auto look = [&] {
        const Counts counts = statistics.take(true);
        if (counts.commands.empty()) return false;
        const CommandCounts& row = counts.commands[0];
        total += row.latency.count();
        failures += row.failures;
        timeouts += row.timeouts;
        const bool hasNews = row.latency.count() > 0;
        EXPECT_EQ(row.latency.max(), hasNews ? total : 0);
        EXPECT_EQ(row.latency.percentile(50) > 0, hasNews);
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

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
