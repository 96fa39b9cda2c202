// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The sub display: its panel's record, power, brightness, frames, and the clients' callbacks.
#include "BivistaTest.h"

#include <chrono>
#include <cstdint>
#include <thread>

namespace bivista_vts {
namespace {

using vendor::qmx::hardware::bivista::V1_0::IBivistaSubDisplayCallback;
using States = std::vector<SubScreenState>;
using Clock = std::chrono::steady_clock;

// The time that the service gives a panel for each change of its power.
constexpr std::chrono::milliseconds kSettlingTime(500);

// Any thread.
class StateRecorder : public IBivistaSubDisplayCallback {
  public:
    Return<void> onSubDisplayStateChanged(SubScreenState state) override EXCLUDES(mLock) {
        const android::AutoMutex lock(mLock);
        mStates.push_back(state);
        mTimes.push_back(Clock::now());
        return Void();
    }
    // The time of each callback.
    std::vector<Clock::time_point> times() const EXCLUDES(mLock) {
        const android::AutoMutex lock(mLock);
        return mTimes;
    }
    States states() const EXCLUDES(mLock) {
        const android::AutoMutex lock(mLock);
        return mStates;
    }

  private:
    mutable android::Mutex mLock;
    States mStates GUARDED_BY(mLock);
    std::vector<Clock::time_point> mTimes GUARDED_BY(mLock);
};

class NoPanelTest : public BivistaTest {
  protected:
    void SetUp() override {
        BivistaTest::SetUp();
        if (HasFatalFailure()) return;
        // A cover that has just been put on has its panel a little later.
        const auto hasPanel = [this] { return subDisplayState() != SubScreenState::UNINITIALIZED; };
        if (options().with.count(kPanel) != 0) await(hasPanel);
        if (!hasPanel()) return;
        if (options().without.count(kPanel) != 0) FAIL() << "there is a panel";
        GTEST_SKIP() << "there is a panel";
    }
};

TEST_P(NoPanelTest, IsRefused) {
    EXPECT_EQ(subDisplayInfo().status, Status::FAIL);
    for (const bool enable : {false, true}) {
        EXPECT_EQ(statusOf(service->setSubDisplayPowerState(enable)), Status::FAIL) << enable;
    }
    for (const int32_t level : {0, 90, 255, 256, -1}) {
        EXPECT_EQ(statusOf(service->setSubDisplayBrightness(level)), Status::FAIL) << level;
    }
    for (const size_t words : {0u, 1u, 16384u}) {
        EXPECT_EQ(statusOf(service->drawSubDisplay(std::vector<uint32_t>(words))), Status::FAIL)
                << words;
    }
    EXPECT_EQ(subDisplayState(), SubScreenState::UNINITIALIZED);
}

TEST_P(NoPanelTest, CallbacksAreTakenAndNotCalled) {
    const sp<StateRecorder> recorder = new StateRecorder;
    expectDone(service->setSubDisplayCallback(recorder));
    expectDone(service->setSubDisplayCallback(recorder));
    EXPECT_EQ(statusOf(service->setSubDisplayPowerState(true)), Status::FAIL);
    expectDone(service->setSubDisplayCallback(nullptr));
    expectDone(service->setSubDisplayCallback(nullptr));
    EXPECT_EQ(recorder->states(), States());
}

// Waits for a panel that is on its way.
class AnyPanelTest : public BivistaTest {
  protected:
    void SetUp() override {
        BivistaTest::SetUp();
        if (HasFatalFailure()) return;
        // A panel is switched on as it comes, unless it refuses that.
        const bool isPromised = options().with.count(kPanel) != 0;
        await([&] {
            const SubScreenState state = subDisplayState();
            return state == SubScreenState::ON || state == SubScreenState::OFF || refuses() ||
                   (state == SubScreenState::UNINITIALIZED && (!isPromised || isCoverOff()));
        });
        if (subDisplayState() == SubScreenState::UNINITIALIZED) {
            return miss(kPanel, "the cover has no sub display");
        }
    }

    // The panel is there, and cannot be switched on.
    bool refuses() const {
        return subDisplayState() == SubScreenState::INITIALIZED &&
               statusOf(service->setSubDisplayPowerState(true)) == Status::FAIL &&
               subDisplayState() == SubScreenState::INITIALIZED;
    }

    // Words of a frame.
    size_t frameSize() const {
        const SubScreenInfo info = subDisplayInfo().info;
        return static_cast<uint16_t>(uint32_t{info.x} * info.y);
    }
    Status draw(size_t words, uint32_t word = 0) const {
        return statusOf(service->drawSubDisplay(std::vector<uint32_t>(words, word)));
    }
};

// Needs a panel that can be switched, and leaves it as it was, but for its picture.
class PanelTest : public AnyPanelTest {
  protected:
    void SetUp() override {
        AnyPanelTest::SetUp();
        if (HasFatalFailure() || IsSkipped()) return;
        if (refuses()) return miss(kPanel, "the panel refuses to be switched");
        const bool isOn = subDisplayState() == SubScreenState::ON;
        // The state that it has is refused, unless the request that led to it is still under way.
        await([&] { return statusOf(service->setSubDisplayPowerState(isOn)) == Status::FAIL; });
        mWasOff = !isOn;
        mIsReady = true;
    }
    void TearDown() override {
        if (!mIsReady) return;
        expectDone(service->setSubDisplayCallback(nullptr));
        if (mWasOff) switchTo(false);
    }

    // Leaves a panel that is in the state already.
    void switchTo(bool enable) const {
        const SubScreenState wanted = enable ? SubScreenState::ON : SubScreenState::OFF;
        if (subDisplayState() == wanted) return;
        EXPECT_EQ(statusOf(service->setSubDisplayPowerState(enable)), Status::OK) << enable;
        EXPECT_EQ(subDisplayState(), wanted);
    }

  private:
    bool mIsReady = false;
    bool mWasOff = false;
};

class PanelPluggingTest : public PanelTest {
  protected:
    void SetUp() override {
        PanelTest::SetUp();
        if (HasFatalFailure() || IsSkipped()) return;
        needPlugging();
        if (HasFatalFailure() || IsSkipped()) return;
        mRecorder = new StateRecorder;
    }
    // The next test waits for the cover.
    void TearDown() override {
        if (mRecorder != nullptr && isCoverOff()) runCommand(options().attachCommand);
        PanelTest::TearDown();
    }

    // Takes the panel off, and registers a callback for the states that follow.
    void takeOff() {
        detachCover();
        mRecorder = new StateRecorder;
        expectDone(service->setSubDisplayCallback(mRecorder));
    }

    // Puts the panel on, and sends a frame and a request while the service switches it on. False
    // when they came at another time, which no program can prevent.
    bool meetsItAsItComes(size_t words) {
        takeOff();
        // The command may last longer than that.
        std::thread command([] { runCommand(options().attachCommand); });
        EXPECT_TRUE(await([this] { return !mRecorder->states().empty(); }));
        EXPECT_EQ(draw(words), Status::OK);
        const bool isComing = subDisplayState() == SubScreenState::INITIALIZED;
        EXPECT_EQ(statusOf(service->setSubDisplayPowerState(false)), Status::OK);
        command.join();
        EXPECT_TRUE(await([this] { return subDisplayState() != SubScreenState::INITIALIZED; }));
        return isComing && !isCarriedOut();
    }

    // The request came first, or when the panel had settled, and has settled again.
    bool isCarriedOut() const {
        const States states = mRecorder->states();
        if (states == States{SubScreenState::INITIALIZED, SubScreenState::OFF}) return true;
        if (states != States{SubScreenState::INITIALIZED, SubScreenState::ON, SubScreenState::OFF})
            return false;
        const std::vector<Clock::time_point> times = mRecorder->times();
        return times[2] - times[1] >= kSettlingTime;
    }

    sp<StateRecorder> mRecorder;
};

class RefusingPanelTest : public AnyPanelTest {
  protected:
    void SetUp() override {
        AnyPanelTest::SetUp();
        if (HasFatalFailure() || IsSkipped()) return;
        if (!refuses()) GTEST_SKIP() << "the panel does not refuse to be switched";
    }
};

TEST_P(RefusingPanelTest, StaysAsItCame) {
    const sp<StateRecorder> recorder = new StateRecorder;
    expectDone(service->setSubDisplayCallback(recorder));
    for (const bool enable : {true, false}) {
        EXPECT_EQ(statusOf(service->setSubDisplayPowerState(enable)), Status::FAIL) << enable;
    }
    EXPECT_EQ(statusOf(service->setSubDisplayBrightness(90)), Status::FAIL);
    EXPECT_EQ(draw(frameSize()), Status::OK);
    EXPECT_EQ(subDisplayState(), SubScreenState::INITIALIZED);
    EXPECT_EQ(subDisplayInfo().status, Status::OK);
    expectDone(service->setSubDisplayCallback(nullptr));
    EXPECT_EQ(recorder->states(), States());
}

TEST_P(PanelTest, TellsItsSize) {
    const InfoResult first = subDisplayInfo();
    EXPECT_EQ(first.status, Status::OK);
    EXPECT_GT(first.info.x, 0);
    EXPECT_GT(first.info.y, 0);
    if (!options().panel.empty()) {
        EXPECT_EQ(std::to_string(first.info.x) + "x" + std::to_string(first.info.y) + "x" +
                          std::to_string(first.info.format),
                  options().panel);
    }
    const InfoResult second = subDisplayInfo();
    EXPECT_EQ(second.info.x, first.info.x);
    EXPECT_EQ(second.info.y, first.info.y);
    EXPECT_EQ(second.info.format, first.info.format);
}

TEST_P(PanelTest, EachChangeOfItsPowerIsToldOnceBeforeTheResult) {
    switchTo(true);
    const sp<StateRecorder> recorder = new StateRecorder;
    expectDone(service->setSubDisplayCallback(recorder));
    EXPECT_EQ(recorder->states(), States()) << "of the state that holds already";
    EXPECT_EQ(statusOf(service->setSubDisplayPowerState(false)), Status::OK);
    EXPECT_EQ(recorder->states(), States{SubScreenState::OFF});
    EXPECT_EQ(subDisplayState(), SubScreenState::OFF);
    EXPECT_EQ(statusOf(service->setSubDisplayPowerState(true)), Status::OK);
    EXPECT_EQ(recorder->states(), (States{SubScreenState::OFF, SubScreenState::ON}));
    EXPECT_EQ(subDisplayState(), SubScreenState::ON);
}

TEST_P(PanelTest, IsGivenItsTimeToSettleByEachChange) {
    switchTo(true);
    const sp<StateRecorder> recorder = new StateRecorder;
    expectDone(service->setSubDisplayCallback(recorder));
    for (const bool enable : {false, true}) {
        const Clock::time_point begin = Clock::now();
        EXPECT_EQ(statusOf(service->setSubDisplayPowerState(enable)), Status::OK) << enable;
        EXPECT_GE(Clock::now() - begin, kSettlingTime);
        ASSERT_FALSE(recorder->times().empty());
        EXPECT_GE(recorder->times().back() - begin, kSettlingTime) << "told too early";
    }
}

TEST_P(PanelTest, RefusesTheStateThatItHas) {
    for (const bool enable : {true, false}) {
        switchTo(enable);
        const sp<StateRecorder> recorder = new StateRecorder;
        expectDone(service->setSubDisplayCallback(recorder));
        EXPECT_EQ(statusOf(service->setSubDisplayPowerState(enable)), Status::FAIL) << enable;
        EXPECT_EQ(recorder->states(), States());
    }
    switchTo(true);
}

TEST_P(PanelTest, TellsTheLatestCallbackAlone) {
    switchTo(true);
    const sp<StateRecorder> replaced = new StateRecorder;
    const sp<StateRecorder> latest = new StateRecorder;
    expectDone(service->setSubDisplayCallback(replaced));
    expectDone(service->setSubDisplayCallback(latest));
    EXPECT_EQ(statusOf(service->setSubDisplayPowerState(false)), Status::OK);
    expectDone(service->setSubDisplayCallback(nullptr));
    EXPECT_EQ(statusOf(service->setSubDisplayPowerState(true)), Status::OK);
    EXPECT_EQ(replaced->states(), States());
    EXPECT_EQ(latest->states(), States{SubScreenState::OFF});
}

TEST_P(PanelTest, TakesBrightnessOf8Bits) {
    for (const bool enable : {false, true}) {
        switchTo(enable);
        for (const int32_t level : {0, 255, 90}) {
            EXPECT_EQ(statusOf(service->setSubDisplayBrightness(level)), Status::OK) << level;
        }
        for (const int32_t level : {-1, 256, INT32_MAX, INT32_MIN}) {
            EXPECT_EQ(statusOf(service->setSubDisplayBrightness(level)), Status::FAIL) << level;
        }
    }
}

TEST_P(PanelTest, DrawsFramesOfItsSizeAlone) {
    switchTo(true);
    const size_t words = frameSize();
    ASSERT_GT(words, 0u);
    EXPECT_EQ(draw(words - 1), Status::FAIL);
    EXPECT_EQ(draw(words + 1), Status::FAIL);
    EXPECT_EQ(draw(0), Status::FAIL);
    EXPECT_EQ(draw(2 * words), Status::FAIL);
    EXPECT_EQ(draw(words), Status::OK);
}

TEST_P(PanelTest, DrawsAnyWords) {
    switchTo(true);
    for (const uint32_t word : {UINT32_MAX, 0x80000000u, 0x7fffffffu, 0xf0u, 0u}) {
        EXPECT_EQ(draw(frameSize(), word), Status::OK) << word;
    }
}

TEST_P(PanelTest, SendsAFrameAsTheDumpTells) {
    if (options().with.count(kDump) == 0) GTEST_SKIP() << "--with=dump was not given";
    switchTo(true);
    const auto sent = [this] {
        int32_t frames = -1;
        EXPECT_TRUE(takeNumbers(readDump(service.get(), {"--json"}), "\"sent\":", &frames, 1));
        return frames;
    };
    const int32_t before = sent();
    EXPECT_EQ(draw(frameSize()), Status::OK);
    EXPECT_TRUE(await([&] { return sent() > before; }));
}

TEST_P(PanelTest, DrawsABurst) {
    switchTo(true);
    const size_t words = frameSize();
    for (int i = 0; i < 50; ++i) EXPECT_EQ(draw(words), Status::OK) << i;
}

TEST_P(PanelTest, DrawsNothingWhileOff) {
    switchTo(false);
    EXPECT_EQ(draw(frameSize()), Status::FAIL);
    EXPECT_EQ(subDisplayInfo().status, Status::OK) << "the panel is known";
    switchTo(true);
    EXPECT_EQ(draw(frameSize()), Status::OK);
}

TEST_P(PanelPluggingTest, TellsThatItGoesAndComes) {
    switchTo(true);
    const size_t words = frameSize();
    expectDone(service->setSubDisplayCallback(mRecorder));
    detachCover();
    EXPECT_EQ(mRecorder->states(), States{SubScreenState::UNINITIALIZED});
    EXPECT_EQ(subDisplayInfo().status, Status::FAIL);
    EXPECT_EQ(draw(words), Status::FAIL) << "before any panel";
    EXPECT_EQ(statusOf(service->setSubDisplayPowerState(true)), Status::FAIL);
    attachCover();
    ASSERT_TRUE(await([this] { return subDisplayState() == SubScreenState::ON; }));
    EXPECT_EQ(mRecorder->states(), (States{SubScreenState::UNINITIALIZED,
                                           SubScreenState::INITIALIZED, SubScreenState::ON}));
}

// While the service switches on a panel that has come, it drops a request, and a frame waits.
TEST_P(PanelPluggingTest, TakesFramesAndNoRequestsWhileItComes) {
    switchTo(true);
    const size_t words = frameSize();
    const bool isMet = await([&] { return meetsItAsItComes(words); });
    if (HasFailure()) return;
    if (!isMet) {
        switchTo(true);
        GTEST_SKIP() << "no request came while the panel was being switched on";
    }
    EXPECT_EQ(mRecorder->states(), (States{SubScreenState::INITIALIZED, SubScreenState::ON}));
    EXPECT_EQ(statusOf(service->setSubDisplayPowerState(true)), Status::FAIL) << "it is on";
}

BIVISTA_PER_INSTANCE(RefusingPanelTest);
BIVISTA_PER_INSTANCE(NoPanelTest);
BIVISTA_PER_INSTANCE(PanelPluggingTest);
BIVISTA_PER_INSTANCE(PanelTest);

}  // namespace
}  // namespace bivista_vts
