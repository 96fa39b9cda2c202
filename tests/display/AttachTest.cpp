// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover display side coming up with the cover, and going down with it.
#include "display/Brightness.h"
#include "display/Cutout.h"
#include "display/Display.h"
#include "tests/display/DisplayTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kCutout[] = "M 0,0 H -36 V 60 H 36 V 0 H 0 Z";
constexpr char kGetCutout[] = "AT%GETBVCUTOUT\r";

class AttachTest : public DisplayTest {
  protected:
    // What clients get as the cutout.
    std::string cutout() {
        std::string text;
        const Return<void> done = service->getCoverDisplayCutout(
                [&](Status /*status*/, const hidl_string& answer) { text = answer; });
        EXPECT_TRUE(done.isOk());
        return text;
    }

    // The levels among the commands since mark().
    std::vector<std::string> levels() const {
        std::vector<std::string> found;
        for (const std::string& command : commands()) {
            if (command.starts_with("AT%DB=")) found.push_back(command);
        }
        return found;
    }
};

TEST_F(AttachTest, FetchesTheCutoutAndSaysSo) {
    start();
    mark();
    attach();
    EXPECT_THAT(commands(),
                ElementsAre("ATE0\r", kGetCutout, "AT%LOGSAVE=3\r", kUpdateStateCommand));
    EXPECT_THAT(lines("bv2_display_init"),
                ElementsAre(infoLine("bv2_display_init ++, bv2_initialized:0"),
                            debugLine(std::string("bv2_display_init: ") + kCutout),
                            infoLine("bv2_display_init --, bv2_initialized:1")));
    EXPECT_TRUE(bv2_initialized);
    EXPECT_EQ(sDisplayService, service.get());
}

TEST_F(AttachTest, ADetachBeforeAnyAttachLogsTheTwoLinesAlone) {
    start();
    log.waitFor("usbThread: creating");
    mark();
    service->bv2_display_deinit(service.get());
    EXPECT_THAT(lines(), ElementsAre(infoLine("bv2_display_deinit ++, bv2_initialized:0"),
                                     infoLine("bv2_display_deinit --, bv2_initialized:0")));
    EXPECT_EQ(queue(), std::vector<int32_t>(20, 0));
    EXPECT_EQ(sDisplayService, service.get());
}

TEST_F(AttachTest, ASecondAttachmentDoesNotFetchTheCutoutAgain) {
    bringUp();
    detach();
    mark();
    attach();
    EXPECT_THAT(commands(), ElementsAre("ATE0\r", "AT%LOGSAVE=3\r", kUpdateStateCommand));
    EXPECT_THAT(lines("bv2_display_init"),
                ElementsAre(infoLine("bv2_display_init ++, bv2_initialized:0"),
                            infoLine("bv2_display_init --, bv2_initialized:1")));
}

TEST_F(AttachTest, ASecondInitOnlyLogsAndKeepsTheQueue) {
    bringUp();
    blockWorkerWith(1);
    for (const int32_t level : {2, 3}) service->setBrightness(level);
    mark();
    service->bv2_display_init(service.get());
    EXPECT_THAT(lines("bv2_"), ElementsAre(infoLine("bv2_display_init ++, bv2_initialized:1"),
                                           infoLine("bv2_display_init --, bv2_initialized:1")));
    EXPECT_THAT(queue(), ElementsAre(2, 3));
    freeLink();
    awaitSent(3);
    EXPECT_THAT(commands(), ElementsAre("AT%DB=1\r", "AT%DB=2\r", "AT%DB=3\r"));
}

// The zeros that the queue begins with never reach the cover.
TEST_F(AttachTest, TheFirstAttachmentEmptiesTheQueue) {
    start();
    EXPECT_EQ(queue(), std::vector<int32_t>(20, 0));
    mark();
    attach();
    EXPECT_THAT(queue(), IsEmpty());
    log.waitFor(kRestLine);
    service->setBrightness(7);
    awaitSent(7);
    EXPECT_THAT(levels(), ElementsAre("AT%DB=7\r"));
}

TEST_F(AttachTest, AFailedCutoutEmptiesTheQueueToo) {
    phone.faults.set("on AT%GETBVCUTOUT error times 1");
    start();
    mark();
    attach();
    EXPECT_THAT(queue(), IsEmpty());
    log.waitFor(kRestLine);
    service->setBrightness(7);
    awaitSent(7);
    EXPECT_THAT(levels(), ElementsAre("AT%DB=7\r"));
}

TEST_F(AttachTest, AFailedCutoutIsForgottenAndFetchedAtTheNextAttachment) {
    phone.faults.set(R"(on AT%GETBVCUTOUT answer "\r\nM 0\r\nERROR\r\n" times 1)");
    start();
    mark();
    attach();
    EXPECT_THAT(lines("bv2_display_init"),
                ElementsAre(infoLine("bv2_display_init ++, bv2_initialized:0"),
                            errorLine("bv2_display_init: CUTOUT info: M 0\n: ret:-1"),
                            infoLine("bv2_display_init --, bv2_initialized:1")));
    EXPECT_FALSE(isCutoutFetched());
    phone.faults.set("on AT%GETBVCUTOUT error times 1");
    EXPECT_EQ(cutout(), "") << "the text is empty again";
    detach();
    mark();
    attach();
    EXPECT_THAT(commands(), Contains(kGetCutout));
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, std::string("bv2_display_init: ") + kCutout));
    EXPECT_EQ(cutout(), kCutout);
}

TEST_F(AttachTest, AClientThatFetchesTheCutoutSparesTheNextAttachmentThat) {
    phone.faults.set("on AT%GETBVCUTOUT error times 1");
    bringUp();
    EXPECT_EQ(cutout(), kCutout);
    detach();
    mark();
    attach();
    EXPECT_THAT(commands(), ElementsAre("ATE0\r", "AT%LOGSAVE=3\r", kUpdateStateCommand));
}

// Meant: a hang-up counts as an answer, and the empty text as the cutout.
TEST_F(AttachTest, AHangUpMakesAnEmptyCutoutTheCutoutForGood) {
    phone.faults.set("on AT%GETBVCUTOUT hangup times 1");
    start();
    phone.cover.attach(support::withoutPanel());
    log.waitFor(ANDROID_LOG_DEBUG, "bv2_display_init: ");
    log.waitFor("serialLogEnable: 0");
    mark();
    attach();
    EXPECT_EQ(cutout(), "");
    EXPECT_THAT(commands(), ElementsAre("ATE0\r", "AT%LOGSAVE=3\r", kUpdateStateCommand));
}

// Meant: the queue is emptied only before the cutout is fetched. So a client that fetches it
// between an attachment that failed and the next one lets the first zeros out.
TEST_F(AttachTest, ACutoutFetchedEarlyLetsTheTwentyZerosOut) {
    phone.faults.set("on ATE0 error times 1");
    start();
    phone.cover.attach(support::withoutPanel());
    log.waitFor("serialDeviceAdded: failed to write ATE0: Protocol not supported");
    EXPECT_EQ(cutout(), kCutout);
    detach();
    mark();
    attach();
    log.waitFor(kRestLine);
    EXPECT_EQ(levels(), std::vector<std::string>(20, "AT%DB=0\r"));
}

TEST_F(AttachTest, WithoutAServiceNeitherCutoutNorThreadIsAskedFor) {
    start();
    log.waitFor("usbThread: creating");
    mark();
    service->bv2_display_init(nullptr);
    EXPECT_THAT(lines(), ElementsAre(infoLine("bv2_display_init ++, bv2_initialized:0"),
                                     infoLine("bv2_display_init --, bv2_initialized:1")));
    EXPECT_EQ(sDisplayService, nullptr);
    EXPECT_EQ(queue(), std::vector<int32_t>(20, 0));
}

TEST_F(AttachTest, ADetachResetsWhatThePanelHolds) {
    bringUp();
    powerOn();
    service->setRgbTune(9, 8, 7, 6);
    service->setScreenTune(5, 4, 3, 2);
    service->setScreenMode(ScreenMode::MODE_1);
    EXPECT_EQ(service->setPowerStatus(false, false), Status::OK);
    EXPECT_EQ(service->setPowerStatus(true, false), Status::OK);
    service->setBrightness(50);
    awaitSent(50);
    fillQueue({60, 70});
    mark();
    detach();
    EXPECT_THAT(lines("bv2_"), ElementsAre(infoLine("bv2_display_deinit ++, bv2_initialized:1"),
                                           infoLine("bv2_display_deinit --, bv2_initialized:0")));
    EXPECT_FALSE(bv2_initialized);
    EXPECT_FALSE(bv2_screen_on);
    EXPECT_THAT(queue(), IsEmpty());
    EXPECT_EQ(lastBrightness(), 0);
    EXPECT_THAT(elements(prgb_applied), ElementsAre(2, 0, 0, 0, 0));
    EXPECT_THAT(elements(screentune_applied), ElementsAre(2, 2, 2, 0));
    EXPECT_THAT(elements(screen_mode_applied), ElementsAre(0, 0));
}

TEST_F(AttachTest, ADetachKeepsWhatClientsAskedFor) {
    bringUp();
    powerOn();
    service->setRgbTune(9, 8, 7, 6);
    service->setScreenTune(5, 4, 3, 2);
    service->setScreenMode(ScreenMode::MODE_1);
    service->setBVBrightnessOffset(-4);
    service->setBVBrightnessOffset(100);
    detach();
    EXPECT_THAT(elements(prgb), ElementsAre(9, 8, 7, 6, 0));
    EXPECT_THAT(elements(screentune), ElementsAre(5, 4, 3, 0));
    EXPECT_THAT(elements(screen_mode), ElementsAre(1, 0));
    EXPECT_EQ(br_offset, -4);
    const MutexLock lock(display_lock, __func__);
    EXPECT_TRUE(br_offset_bypass);
}

TEST_F(AttachTest, TheWorkerServesTheNextAttachmentToo) {
    bringUp();
    detach();
    attach();
    mark();
    service->setBrightness(42);
    awaitSent(42);
    EXPECT_THAT(levels(), ElementsAre("AT%DB=42\r"));
    EXPECT_EQ(phone.cover.state().screen.brightness, 42);
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
