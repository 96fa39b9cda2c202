// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The phone's LPWG service, as a client finds it.

#include "emulator/phone/neighbours/Lpwg.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <thread>

#include <vendor/qmx/hardware/lpwg/1.3/ILpwg.h>

#include "tests/support/PhoneTest.h"

namespace {

using android::sp;
using neighbours::Lpwg;
using phone::Kind;
using vendor::qmx::hardware::lpwg::V1_3::ILpwg;

class LpwgTest : public support::PhoneTest {
  protected:
    // What a client that looks it up is answered.
    static int32_t ask(int32_t mode) {
        const sp<ILpwg> service = ILpwg::getService();
        EXPECT_NE(service, nullptr);
        if (service == nullptr) return INT32_MIN;
        const auto result = service->setAesModeToLpwg(mode);
        EXPECT_TRUE(result.isOk());
        return result;
    }

    Lpwg lpwg{phone};
};

TEST_F(LpwgTest, IsAbsentUntilItIsServed) {
    EXPECT_FALSE(lpwg.isServed());
    EXPECT_EQ(ILpwg::getService(), nullptr);
    lpwg.serve();
    EXPECT_TRUE(lpwg.isServed());
    EXPECT_NE(ILpwg::getService(), nullptr);
}

TEST_F(LpwgTest, IsFoundInEveryVersion) {
    lpwg.serve();
    EXPECT_NE(vendor::qmx::hardware::lpwg::V1_0::ILpwg::getService(), nullptr);
    EXPECT_NE(vendor::qmx::hardware::lpwg::V1_1::ILpwg::getService(), nullptr);
    EXPECT_NE(vendor::qmx::hardware::lpwg::V1_2::ILpwg::getService(), nullptr);
}

TEST_F(LpwgTest, AnswersWhatItIsTold) {
    lpwg.serve();
    EXPECT_EQ(lpwg.result(), 0);
    EXPECT_EQ(ask(2), 0);
    lpwg.setResult(-7);
    EXPECT_EQ(lpwg.result(), -7);
    EXPECT_EQ(ask(0), -7);
}

TEST_F(LpwgTest, KeepsItsResultWhileItIsAbsent) {
    for (int32_t i = 0; i < 5; ++i) {
        lpwg.serve();
        lpwg.serve();
        EXPECT_EQ(ask(0), i);
        lpwg.setResult(i + 1);
        lpwg.withdraw();
        lpwg.withdraw();
        EXPECT_EQ(ILpwg::getService(), nullptr);
    }
}

TEST_F(LpwgTest, HoldsItsClientsWhileItIsDeclaredAndNotUp) {
    lpwg.declare();
    EXPECT_TRUE(lpwg.isDeclared());
    EXPECT_FALSE(lpwg.isServed());
    lpwg.setResult(6);
    int32_t result = 0;
    std::thread client([&result] { result = ask(0); });
    lpwg.serve();
    client.join();
    EXPECT_EQ(result, 6);
    EXPECT_FALSE(lpwg.isDeclared());
}

TEST_F(LpwgTest, LetsItsClientsGoWhenItIsUndeclared) {
    lpwg.declare();
    bool isThere = true;
    std::thread client([&isThere] { isThere = ILpwg::getService() != nullptr; });
    lpwg.withdraw();
    client.join();
    EXPECT_FALSE(isThere);
    EXPECT_FALSE(lpwg.isDeclared());
}

TEST_F(LpwgTest, AnswersTheMethodsThatOnlyHoldTheirPlaces) {
    lpwg.serve();
    const sp<ILpwg> service = ILpwg::getService();
    EXPECT_TRUE(service->reserved_1().isOk());
    EXPECT_TRUE(service->reserved_13().isOk());
}

TEST_F(LpwgTest, WhoHoldsItIsAnsweredAlthoughItIsGone) {
    auto gone = std::make_unique<Lpwg>(phone);
    gone->serve();
    gone->setResult(3);
    const sp<ILpwg> service = ILpwg::getService();
    gone.reset();
    const uint64_t from = journal.next();
    const auto result = service->setAesModeToLpwg(1);
    EXPECT_TRUE(result.isOk());
    EXPECT_EQ(int32_t{result}, 3);
    EXPECT_THAT(journal.list(Kind::HidlCall, from), testing::IsEmpty());
}

TEST_F(LpwgTest, EveryCallIsInTheJournalBehindWhatWasWrittenBefore) {
    lpwg.serve();
    lpwg.setResult(5);
    {
        std::FILE* node = std::fopen(phone::kAesMode, "w");
        ASSERT_NE(node, nullptr);
        std::fputs("2", node);
        std::fclose(node);
    }
    ask(-1);
    const std::vector<phone::Entry> entries = journal.since(first);
    ASSERT_GE(entries.size(), 2u);
    EXPECT_EQ(entries[1].bytes, "2");
    EXPECT_EQ(entries.back().kind, Kind::HidlCall);
    EXPECT_EQ(entries.back().path, "ILpwg.setAesModeToLpwg");
    EXPECT_EQ(entries.back().bytes, "-1");
    EXPECT_EQ(entries.back().note, "5");
}

}  // namespace
