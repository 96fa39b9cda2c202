// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The thread that sends frames to the panel.
#include "sub_display/SubDisplay.h"

#include <cstdio>
#include <thread>

#include "tests/sub_display/SubDisplayTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using support::LogLine;
using testing::ElementsAre;
using testing::SizeIs;

constexpr char kIdle[] = "There is no buffer to be consumed.";
constexpr char kGivenUp[] = "Could not send palette data.";

class UpdateThreadTest : public SubDisplayTest {
  protected:
    void SetUp() override {
        start();
        attachPanel();
        awaitIdle();
        log.clear();
        mFrom = journal.next();
    }

    std::vector<std::string> writes() const { return bytes(transfers(Kind::HidWrite, mFrom)); }

  private:
    uint64_t mFrom = 0;
};

std::string header(const std::string& report) {
    return report.substr(0, 7);
}

TEST_F(UpdateThreadTest, AFrameIsThreeReportsAndAnEmptyOne) {
    drawAndAwait(0x12345678);
    const std::vector<std::string> reports = writes();
    ASSERT_THAT(reports, SizeIs(4));
    EXPECT_THAT(reports[0], SizeIs(4096));
    EXPECT_EQ(header(reports[0]), std::string("\2\xF9\x0F\0\0\0\0", 7));
    EXPECT_THAT(reports[1], SizeIs(4096));
    EXPECT_EQ(header(reports[1]), std::string("\2\xF9\x0F\xF9\x0F\0\0", 7));
    EXPECT_THAT(reports[2], SizeIs(21));
    EXPECT_EQ(header(reports[2]), std::string("\2\x0E\0\xF2\x1F\0\0", 7));
    EXPECT_EQ(reports[3], std::string("\2\0\0\0\0\0\0", 7));
    EXPECT_THAT(shownFrames(), ElementsAre(frameBytes(0x12345678)));
}

TEST_F(UpdateThreadTest, AFrameCostsEightCalls) {
    const uint64_t from = journal.next();
    drawAndAwait(1);
    EXPECT_THAT(kinds(transfers(from)),
                ElementsAre(Kind::HidOpen, Kind::HidWrite, Kind::HidWrite, Kind::HidWrite,
                            Kind::HidClose, Kind::HidOpen, Kind::HidWrite, Kind::HidClose));
}

TEST_F(UpdateThreadTest, SaysWhatItDoes) {
    drawAndAwait(1);
    size_t at = log.waitFor(ANDROID_LOG_INFO, "FB0 is being consumed.");
    at = log.waitUntil(
            [](const LogLine& line) {
                float time = -1;
                char rest = 0;
                return line.priority == ANDROID_LOG_INFO &&
                       sscanf(line.text.c_str(), "HID-DISPLAY: write Palette done %fm%c", &time,
                              &rest) == 2 &&
                       time >= 0 && rest == 's' && line.text.find('.') + 6 == line.text.size();
            },
            at);
    log.waitFor(ANDROID_LOG_INFO, kIdle, at);
}

// The kernel waits at each first open of the panel, and a frame opens it twice.
TEST_F(UpdateThreadTest, AFrameTakesTheTimeOfTwoOpens) {
    phone.panel.setOpenTime(std::chrono::milliseconds(20));
    drawAndAwait(1);
    EXPECT_THAT(shownFrames(), ElementsAre(frameBytes(1)));
    const size_t at = log.waitForPrefix("HID-DISPLAY: write Palette done ");
    float time = 0;
    ASSERT_EQ(sscanf(log.lines().at(at - 1).text.c_str(), "HID-DISPLAY: write Palette done %f",
                     &time),
              1);
    EXPECT_GE(time, 40);
}

TEST_F(UpdateThreadTest, TheFirstBufferIsSentFirst) {
    EXPECT_EQ(service->setSubDisplayPowerState(false), Status::OK);
    setFault("hid config error EPIPE");
    // Drawable again, without a thread that sends.
    service->initSubDisplay(service.get(), {2, 128, 128, 4, 1});
    clearFaults();
    setBufferState(0, BUFFER_WRITING);
    EXPECT_EQ(service->drawSubDisplay(makeFrame(1)), Status::OK);
    setBufferState(0, BUFFER_FREE);
    setBufferState(1, BUFFER_WRITING);
    EXPECT_EQ(service->drawSubDisplay(makeFrame(2)), Status::OK);
    setBufferState(1, BUFFER_READY);
    EXPECT_EQ(service->setSubDisplayPowerState(true), Status::OK);
    EXPECT_THAT(waitForFrames(2), ElementsAre(frameBytes(2), frameBytes(1)));
    const size_t at = log.waitFor("FB0 is being consumed.");
    log.waitFor("FB1 is being consumed.", at);
}

TEST_F(UpdateThreadTest, AFrameThatFailsIsTriedAgain) {
    setFault("hid write error EIO times 2");
    drawAndAwait(1);
    EXPECT_THAT(shownFrames(), ElementsAre(frameBytes(1)));
    EXPECT_THAT(writes(), SizeIs(2 + 4));
    EXPECT_FALSE(log.contains(kGivenUp));
}

TEST_F(UpdateThreadTest, ARetryBeginsWithTheFirstByte) {
    setFault("hid write error EIO after 1 times 1");
    drawAndAwait(1);
    const std::vector<std::string> reports = writes();
    ASSERT_THAT(reports, SizeIs(2 + 4));
    EXPECT_EQ(header(reports[2]), header(reports[0]));
    EXPECT_THAT(shownFrames(), ElementsAre(frameBytes(1)));
}

// Meant: six retries in the thread's life, then one attempt a frame.
TEST_F(UpdateThreadTest, RetriesAreCountedOverItsLife) {
    setFault("hid write error EIO times 4");
    drawAndAwait(1);
    EXPECT_THAT(shownFrames(), ElementsAre(frameBytes(1)));
    setFault("hid write error EIO");
    drawAndAwait(2);
    EXPECT_THAT(writes(), SizeIs(4 + 4 + 3)) << "two retries were left";
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, kGivenUp));
    drawAndAwait(3);
    EXPECT_THAT(writes(), SizeIs(4 + 4 + 3 + 1));
    EXPECT_EQ(log.count(kGivenUp), 2u);
    clearFaults();
    drawAndAwait(4);
    EXPECT_THAT(shownFrames(), ElementsAre(frameBytes(1), frameBytes(4)));
}

TEST_F(UpdateThreadTest, TheNextThreadHasItsOwnRetries) {
    setFault("hid write error ENODEV");
    drawAndAwait(1);
    EXPECT_THAT(writes(), SizeIs(7));
    EXPECT_EQ(service->setSubDisplayPowerState(false), Status::OK);
    const size_t next = log.size();
    EXPECT_EQ(service->setSubDisplayPowerState(true), Status::OK);
    log.waitFor(kIdle, next);
    drawAndAwait(2);
    EXPECT_THAT(writes(), SizeIs(7 + 7));
}

TEST_F(UpdateThreadTest, AnOpenThatFailsCountsAsAnAttempt) {
    setFault("hid open error ENOMEM");
    drawAndAwait(1);
    EXPECT_EQ(
            log.count("hidDisplayPalette: failed to open \"/dev/hidraw0\": Cannot allocate memory"),
            7u);
    EXPECT_TRUE(log.contains(kGivenUp));
}

// Meant: the service ignores the result of the empty report.
TEST_F(UpdateThreadTest, AFrameIsDoneWhateverItsEndSays) {
    setFault("hid write error EIO after 3 times 1");
    drawAndAwait(1);
    EXPECT_THAT(writes(), SizeIs(4));
    log.waitForPrefix("HID-DISPLAY: write Palette done ");
    EXPECT_FALSE(log.contains(kGivenUp));
}

TEST_F(UpdateThreadTest, AFrameThatIsBeingSentDelaysTheStop) {
    support::hold(HidCall::Write);
    EXPECT_EQ(service->drawSubDisplay(makeFrame(1)), Status::OK);
    support::awaitHeld();
    std::thread client([&] {
        // The lock of the node keeps the configuration back, too.
        EXPECT_EQ(service->setSubDisplayPowerState(false), Status::OK);
    });
    log.waitFor("setSubDisplayPowerState ++, enable : 0");
    support::release();
    client.join();
    EXPECT_THAT(shownFrames(), ElementsAre(frameBytes(1)));
    EXPECT_EQ(bufferState(0), BUFFER_FREE);
}

TEST_F(UpdateThreadTest, EndsAtOnceWhenItIsToEnd) {
    EXPECT_EQ(service->setSubDisplayPowerState(false), Status::OK);
    setBufferState(0, BUFFER_READY);
    log.clear();
    EXPECT_EQ(subDisplayUpdateThread(service.get()), nullptr);
    EXPECT_THAT(log.lines(), ElementsAre(infoLine("Sub DISPLAY UPDATE Thread is running, "
                                                  "sub_display_destroyThread : 1"),
                                         infoLine("Sub DISPLAY UPDATE Thread is over")));
    EXPECT_EQ(bufferState(0), BUFFER_READY);
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
