// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The sub display, its buffers and its frames in the debug dump.
#include "tests/kernel/DumpReader.h"

#include <nlohmann/json.hpp>
#include "tests/sub_display/SubDisplayTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::ElementsAre;

nlohmann::json frames(int drawn, int sent, int dropped, int retries) {
    return {{"drawn", drawn}, {"sent", sent}, {"dropped", dropped}, {"retries", retries}};
}

nlohmann::json buffers(const char* first, const char* second) {
    return {{{"index", 0}, {"state", first}}, {{"index", 1}, {"state", second}}};
}

class SubDisplayDumpTest : public SubDisplayTest {
  protected:
    void SetUp() override {
        start();
        attachPanel();
        awaitIdle();
    }
    nlohmann::json dump() { return dumpJsonOf(*service); }
};

TEST_F(SubDisplayDumpTest, TellsOfThePanel) {
    EXPECT_EQ(dump()["subDisplay"], nlohmann::json({{"attached", true},
                                                    {"path", "/dev/hidraw0"},
                                                    {"state", "ON"},
                                                    {"width", 128},
                                                    {"height", 128},
                                                    {"format", 4},
                                                    {"lastDrawn", 0}}));
    detachPanel();
    EXPECT_EQ(dump()["subDisplay"]["attached"], false);
    EXPECT_EQ(dump()["subDisplay"]["state"], "UNINITIALIZED");
}

TEST_F(SubDisplayDumpTest, CallsTheThreadThatSendsByItsWork) {
    EXPECT_THAT(threadNamesOf(*service), testing::Contains("sub-update"));
}

TEST_F(SubDisplayDumpTest, CountsFramesThatThePanelTook) {
    drawAndAwait(1);
    drawAndAwait(2);
    EXPECT_EQ(dump()["frames"], frames(2, 2, 0, 0));
    EXPECT_EQ(dump()["buffers"], buffers("FREE", "FREE"));
}

TEST_F(SubDisplayDumpTest, CountsRetriesAndFramesThatWereGivenUp) {
    setFault("hid write error EIO");
    drawAndAwait(1);
    EXPECT_EQ(dump()["frames"], frames(1, 0, 1, 6));
    drawAndAwait(2);
    EXPECT_EQ(dump()["frames"], frames(2, 0, 2, 6)) << "the thread has no retry left";
}

TEST_F(SubDisplayDumpTest, CountsAFrameThatANewerOneReplaces) {
    support::hold(HidCall::Write);
    EXPECT_EQ(service->drawSubDisplay(makeFrame(1)), Status::OK);
    support::awaitHeld();
    EXPECT_EQ(service->drawSubDisplay(makeFrame(2)), Status::OK);
    EXPECT_EQ(dump()["buffers"], buffers("CONSUMING", "READY"));
    EXPECT_EQ(dump()["frames"], frames(2, 0, 0, 0));
    EXPECT_EQ(dump()["subDisplay"]["lastDrawn"], 1);
    EXPECT_EQ(service->drawSubDisplay(makeFrame(3)), Status::OK);
    EXPECT_EQ(dump()["frames"], frames(3, 0, 1, 0));
    const size_t from = log.size();
    support::release();
    awaitIdle(from);
    EXPECT_EQ(dump()["frames"], frames(3, 2, 1, 0));
}

TEST_F(SubDisplayDumpTest, CountsAFrameThatIsFreedUnsent) {
    setBufferState(1, BUFFER_READY);
    detachPanel();
    EXPECT_EQ(dump()["frames"]["dropped"], 1);
    EXPECT_EQ(dump()["buffers"], buffers("FREE", "FREE"));
}

TEST_F(SubDisplayDumpTest, CountsNoFrameThatIsRefused) {
    EXPECT_EQ(service->drawSubDisplay(hidl_vec<uint32_t>(3)), Status::FAIL);
    detachPanel();
    EXPECT_EQ(service->drawSubDisplay(makeFrame(1)), Status::FAIL);
    EXPECT_EQ(dump()["frames"], frames(0, 0, 0, 0));
}

TEST_F(SubDisplayDumpTest, TellsOfABufferThatIsDrawnInto) {
    setBufferState(1, BUFFER_WRITING);
    EXPECT_EQ(dump()["buffers"], buffers("FREE", "WRITING"));
}

TEST_F(SubDisplayDumpTest, CountsAnewAfterAReset) {
    drawAndAwait(1);
    dumpOf(*service, {"--reset"});
    EXPECT_EQ(dump()["frames"], frames(0, 0, 0, 0));
}

class SubDisplayEventsTest : public SubDisplayDumpTest {
  protected:
    void SetUp() override {
        SubDisplayDumpTest::SetUp();
        forget();
    }
    void forget() { mBefore = lastEventOf(*service); }
    std::vector<std::string> events() { return eventsButUsbOf(*service, mBefore); }

  private:
    uint64_t mBefore = 0;
};

TEST_F(SubDisplayEventsTest, TellOfThePanelsLife) {
    detachPanel();
    attachPanel();
    EXPECT_THAT(events(),
                ElementsAre("detach panel", "panel UNINITIALIZED", "attach panel",
                            "panel INITIALIZED", "setting subDisplay.power [1]", "panel ON"));
}

TEST_F(SubDisplayEventsTest, TellOfAPanelThatDoesNotSayItsSize) {
    detachPanel();
    forget();
    EXPECT_LT(service->hidDisplayDeviceAdded(), 0);
    EXPECT_THAT(events(),
                ElementsAre("attach panel", "failure hidDisplayGetInfo No such file or directory"));
    EXPECT_EQ(service->hidDisplayDeviceRemoved(), 0);
}

TEST_F(SubDisplayEventsTest, TellOfSettingsAndWhyTheyFail) {
    service->setSubDisplayBrightness(7);
    service->setSubDisplayBrightness(256);
    service->setSubDisplayPowerState(true);
    EXPECT_THAT(events(), ElementsAre("setting subDisplay.brightness [256] +1",
                                      "failure setSubDisplayBrightness invalid brightness value",
                                      "setting subDisplay.power [1]",
                                      "failure setSubDisplayPowerState Same status is requested"));
}

TEST_F(SubDisplayEventsTest, TellOfAPanelThatRefuses) {
    setFault("hid config error EIO");
    EXPECT_EQ(service->setSubDisplayBrightness(7), Status::FAIL);
    EXPECT_EQ(service->setSubDisplayPowerState(false), Status::FAIL);
    EXPECT_THAT(events(), ElementsAre("setting subDisplay.brightness [7]",
                                      "failure setSubDisplayBrightness Input/output error",
                                      "setting subDisplay.power [0]",
                                      "failure setSubDisplayPowerState Input/output error"));
}

TEST_F(SubDisplayEventsTest, TellOfCallsWithoutAPanel) {
    detachPanel();
    forget();
    service->setSubDisplayBrightness(7);
    service->setSubDisplayPowerState(true);
    service->getSubDisplayInfo([](auto...) {});
    service->drawSubDisplay(makeFrame(1));
    EXPECT_THAT(events(),
                ElementsAre("setting subDisplay.brightness [7]",
                            "failure setSubDisplayBrightness Sub Display is not initialized yet",
                            "setting subDisplay.power [1]",
                            "failure setSubDisplayPowerState Sub Display is not initialized yet",
                            "failure getSubDisplayInfo Sub Display is not initialized yet",
                            "failure drawSubDisplay Sub Panel is not ready state"));
}

TEST_F(SubDisplayEventsTest, TellOfFramesThatAreRefused) {
    service->drawSubDisplay(hidl_vec<uint32_t>(3));
    service->drawSubDisplay(hidl_vec<uint32_t>(128 * 128 + 1));
    setBufferState(0, BUFFER_CONSUMING);
    setBufferState(1, BUFFER_WRITING);
    service->drawSubDisplay(makeFrame(1));
    EXPECT_THAT(events(), ElementsAre("failure drawSubDisplay Input buffer size is underflow",
                                      "failure drawSubDisplay Input buffer size is overflow",
                                      "failure drawSubDisplay There is no Writable Buffer"));
    setBufferState(0, BUFFER_FREE);
    setBufferState(1, BUFFER_FREE);
}

TEST_F(SubDisplayEventsTest, TellNothingOfFramesThatThePanelTook) {
    drawAndAwait(1);
    drawAndAwait(2);
    EXPECT_THAT(events(), testing::IsEmpty());
}

TEST_F(SubDisplayEventsTest, TellOfRetriesAndOfTheFrameThatIsGivenUp) {
    setFault("hid write error EIO");
    drawAndAwait(1);
    std::vector<std::string> expected(6, "failure hidDisplayPalette Input/output error");
    expected.emplace_back("frameDropped Input/output error");
    EXPECT_EQ(events(), expected);
}

TEST_F(SubDisplayEventsTest, TellOfAFrameThatIsReplacedOrFreed) {
    setBufferState(0, BUFFER_READY);
    EXPECT_TRUE(claimForDrawing(frameBuffer(0)));
    setBufferState(0, BUFFER_READY);
    freeFrameBuffers();
    EXPECT_THAT(events(), ElementsAre("frameDropped replaced", "frameDropped freed"));
}

struct DeadClient : IBivistaSubDisplayCallback {
    Return<void> onSubDisplayStateChanged(SubScreenState /*state*/) override {
        return ::android::hardware::Status::fromStatusT(::android::DEAD_OBJECT);
    }
};

TEST_F(SubDisplayEventsTest, TellOfTheCallback) {
    const auto isRegistered = [&] { return dump()["callbacks"]["subDisplay"]; };
    service->setSubDisplayCallback(nullptr);
    EXPECT_EQ(isRegistered(), false);
    service->setSubDisplayCallback(new StateRecorder);
    service->setSubDisplayCallback(new DeadClient);
    service->setSubDisplayState(SubScreenState::ON);
    service->setSubDisplayState(SubScreenState::ON);
    EXPECT_EQ(isRegistered(), true);
    service->setSubDisplayCallback(nullptr);
    EXPECT_EQ(isRegistered(), false);
    EXPECT_THAT(events(),
                ElementsAre("callback subDisplay registered", "callback subDisplay replaced",
                            "panel ON", "callback subDisplay died", "panel ON",
                            "callback subDisplay cleared"));
}

// A client's callback that asks for a dump: the state's lock is held.
class DumpingClient : public IBivistaSubDisplayCallback {
  public:
    explicit DumpingClient(Bivista& service) : mService(service) {}
    Return<void> onSubDisplayStateChanged(SubScreenState) override {
        const nlohmann::json dump = dumpJsonOf(mService);
        state = dump["subDisplay"]["state"];
        callbacks = dump["callbacks"];
        events = eventsOf(mService);
        return Void();
    }
    nlohmann::json state = "not told";
    nlohmann::json callbacks;
    std::vector<std::string> events;

  private:
    Bivista& mService;
};

TEST_F(SubDisplayDumpTest, DoesNotWaitForAClientThatIsBeingTold) {
    const sp<DumpingClient> client = new DumpingClient(*service);
    service->setSubDisplayCallback(client);
    EXPECT_EQ(service->setSubDisplayPowerState(false), Status::OK);
    EXPECT_EQ(client->state, nullptr);
    EXPECT_EQ(client->callbacks["subDisplay"], true);
    EXPECT_EQ(client->events.back(), "panel OFF") << "before the client hangs on it";
    EXPECT_EQ(dump()["subDisplay"]["state"], "OFF");
    service->setSubDisplayCallback(nullptr);
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
