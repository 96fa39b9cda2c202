// What AT exchanges are counted under.
#include "kernel/Statistics.h"

#include <memory>
#include <string>

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

class ExchangeStatisticsTest : public testing::Test {
  protected:
    void count(const std::string& cmd, uint64_t micros = 5, bool failed = false,
               bool timedOut = false) {
        const MutexLock lock(sSerialMutex, "test");
        statistics->count(cmd.c_str(), micros, failed, timedOut);
    }
    uint64_t countOf(size_t row) const { return (*statistics)[row].latency.summary().count; }

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
    const CommandStatistics& row = (*statistics)[0];
    EXPECT_EQ(row.failures, 2u);
    EXPECT_EQ(row.timeouts, 1u);
    EXPECT_EQ(row.latency.summary().max, 5'000'000u);
}

TEST_F(ExchangeStatisticsTest, ShareARowAfterThirtyTwoNames) {
    for (int i = 0; i < 34; ++i) count("AT%N" + std::to_string(i) + "\r");
    EXPECT_EQ(statistics->names(), ExchangeStatistics::kNames);
    EXPECT_EQ(statistics->nameOf(31), "AT%N31");
    EXPECT_EQ(countOf(31), 1u);
    EXPECT_EQ(statistics->nameOf(32), "other");
    EXPECT_EQ(countOf(32), 2u);
    count("AT%N31\r");
    EXPECT_EQ(countOf(31), 2u) << "a name that is known keeps its row";
}

TEST_F(ExchangeStatisticsTest, TellNoCaseFromAnother) {
    count("AT%SWV\r", 10);
    count("at%swv\r", 10);
    EXPECT_EQ(statistics->names(), 1u);
    EXPECT_EQ(statistics->nameOf(0), "AT%SWV");
    EXPECT_EQ(countOf(0), 2u);
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
