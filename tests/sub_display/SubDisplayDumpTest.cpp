// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The sub display, its buffers and its frames in the debug dump.
#include "tests/kernel/DumpReader.h"

#include <nlohmann/json.hpp>
#include "tests/sub_display/SubDisplayTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

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

// A client's callback that asks for a dump: the state's lock is held.
class DumpingClient : public IBivistaSubDisplayCallback {
  public:
    explicit DumpingClient(Bivista& service) : mService(service) {}
    Return<void> onSubDisplayStateChanged(SubScreenState) override {
        state = dumpJsonOf(mService)["subDisplay"]["state"];
        return Void();
    }
    nlohmann::json state = "not told";

  private:
    Bivista& mService;
};

TEST_F(SubDisplayDumpTest, DoesNotWaitForAClientThatIsBeingTold) {
    const sp<DumpingClient> client = new DumpingClient(*service);
    service->setSubDisplayCallback(client);
    EXPECT_EQ(service->setSubDisplayPowerState(false), Status::OK);
    EXPECT_EQ(client->state, nullptr);
    EXPECT_EQ(dump()["subDisplay"]["state"], "OFF");
    service->setSubDisplayCallback(nullptr);
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
