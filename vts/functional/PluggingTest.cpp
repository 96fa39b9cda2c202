// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A cover that is taken off and put on, falls silent, hangs up.
#include "BivistaTest.h"

#include <chrono>

namespace bivista_vts {
namespace {

class PluggingTest : public CoverTest {
  protected:
    void SetUp() override {
        CoverTest::SetUp();
        if (HasFatalFailure() || IsSkipped()) return;
        needPlugging();
        if (HasFatalFailure() || IsSkipped()) return;
        mIsReady = true;
        mVersion = version();
    }
    // The next test waits for the cover.
    void TearDown() override {
        if (mIsReady && isCoverOff()) runCommand(options().attachCommand);
    }

    void switchOn() const { ASSERT_EQ(statusOf(service->setPowerStatus(true, false)), Status::OK); }
    // The cover answers, and has lost its earlier state.
    bool awaitFreshCover() const {
        return await([this] { return isCoverOn() && !isScreenOn() && version() == mVersion; });
    }
    std::string version() const { return query(&V1_0::IBivista::getFirmwareVersion).text; }

    std::string mVersion;

  private:
    bool mIsReady = false;
};

class SilenceTest : public PluggingTest {
  protected:
    void SetUp() override {
        needCommand(kSilence, options().silenceCommand);
        if (!HasFatalFailure() && !IsSkipped()) PluggingTest::SetUp();
    }
};

class HangupTest : public PluggingTest {
  protected:
    void SetUp() override {
        needCommand(kHangup, options().hangupCommand);
        if (!HasFatalFailure() && !IsSkipped()) PluggingTest::SetUp();
    }
};

TEST_P(PluggingTest, TakesTheScreenAlong) {
    const TextResult cutout = query(&V1_0::IBivista::getCoverDisplayCutout);
    switchOn();
    detachCover();
    for (const bool enable : {true, false}) {
        EXPECT_EQ(statusOf(service->setPowerStatus(enable, false)), Status::FAIL) << enable;
    }
    EXPECT_EQ(query(&V1_0::IBivista::getFirmwareVersion).status, Status::FAIL);
    const TextResult remembered = query(&V1_0::IBivista::getCoverDisplayCutout);
    EXPECT_EQ(remembered.status, cutout.status);
    EXPECT_EQ(remembered.text, cutout.text);
    attachCover();
    EXPECT_TRUE(awaitFreshCover());
}

TEST_P(PluggingTest, IsToldByBusAndAccessoryService) {
    if (options().with.count(kAccessory) == 0) GTEST_SKIP() << "--with=accessory was not given";
    const auto isTold = [this] {
        bool isConnected = false;
        expectDone(service->getBV2Status(
                [&](Status, const auto& status) { isConnected = status.connected; }));
        return isConnected;
    };
    EXPECT_TRUE(await(isTold));
    detachCover();
    EXPECT_TRUE(await([&] { return !isTold(); }));
    attachCover();
    EXPECT_TRUE(await(isTold));
}

TEST_P(SilenceTest, EndsInAFailureAndAReset) {
    // The cover that comes back from its reset has its screen off.
    switchOn();
    ASSERT_TRUE(runCommand(options().silenceCommand));
    const sp<LineRecorder> recorder = new LineRecorder;
    const auto begin = std::chrono::steady_clock::now();
    const TextResult result = send("AT%SWV", recorder);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_EQ(result.status, Status::FAIL);
    EXPECT_EQ(result.text, "");
    EXPECT_TRUE(recorder->lines().empty());
    EXPECT_TRUE(awaitFreshCover());
}

TEST_P(HangupTest, IsNoFailureAndEndsTheAnswer) {
    switchOn();
    ASSERT_TRUE(runCommand(options().hangupCommand));
    const TextResult result = send("AT%SWV");
    EXPECT_EQ(result.status, Status::OK);
    EXPECT_LT(result.text.size(), mVersion.size());
    EXPECT_EQ(mVersion.compare(0, result.text.size(), result.text), 0) << result.text;
    ASSERT_TRUE(await([this] { return isCoverOff(); }));
    attachCover();
    EXPECT_TRUE(awaitFreshCover());
}

BIVISTA_PER_INSTANCE(PluggingTest);
BIVISTA_PER_INSTANCE(SilenceTest);
BIVISTA_PER_INSTANCE(HangupTest);

}  // namespace
}  // namespace bivista_vts
