// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Lines that a phone's logger cut, merged or dropped: an import tells of them, and goes on.
#include <gmock/gmock.h>

#include <fstream>
#include <iterator>

#include "tests/phonelog/Written.h"

namespace phonelog {
namespace {

using phone::Kind;
using testing::Contains;
using testing::ElementsAre;

const std::vector<Kind> kTty = {Kind::TtyRx, Kind::TtyTx};

TEST(DamageTest, AnAnswerWithoutAnEndIsOk) {
    const Imported imported = importText(Written()
                                                 .start()
                                                 .exchange(kMain, "AT%X", {"a"})
                                                 .exchange(kMain, "AT%Y", {"OK"})
                                                 .text());
    EXPECT_THAT(listEntries(imported, {Kind::TtyTx}),
                ElementsAre(R"(tty-tx /dev/ttyACM0 \r\na\r\nOK\r\n)",
                            R"(tty-tx /dev/ttyACM0 \r\nOK\r\n)"));
    EXPECT_THAT(listUnknown(imported),
                Contains("7: before it the end of the answer to AT%X is missing: OK assumed"));
}

TEST(DamageTest, ACutEndIsTheWordThatItBegins) {
    const Imported imported = importText(Written()
                                                 .start()
                                                 .d("serialAtCmd: wr: [AT%X]")
                                                 .d("serialAtCmd: eh: []")
                                                 .d("serialAtCmd: rd: [ERR")
                                                 .text());
    EXPECT_THAT(listEntries(imported, {Kind::TtyTx}),
                ElementsAre(R"(tty-tx /dev/ttyACM0 \r\nERROR\r\n)"));
    EXPECT_THAT(listUnknown(imported),
                Contains("5: the line is cut: the rest of the text is not known"));
}

TEST(DamageTest, AVoteEndsAnAnswerThatWasCut) {
    const Imported imported =
            importText(Written()
                               .start()
                               .d("serialAtCmd: wr: [AT%DB=1]")
                               .d("serialAtCmd: eh: []")
                               .d("serialAtCmd: rd: [O")
                               .d("usbAutoSuspend: suspend:1 vote:1 disableVote:1")
                               .d("usbAutoSuspend: auto")
                               .i("BrightnessThread: br_arr empty. wait signal")
                               .text());
    EXPECT_THAT(listEntries(imported, {Kind::TtyTx}),
                ElementsAre(R"(tty-tx /dev/ttyACM0 \r\nOK\r\n)"));
}

TEST(DamageTest, ALineOfTheServiceIsNoneOfAnAnswerWithoutAnEnd) {
    const Imported imported = importText(Written()
                                                 .start()
                                                 .attach()
                                                 .exchange(kMain, "AT%TCHDEBUG=RESET", {})
                                                 .i("Draw Sub DISPLAY ++")
                                                 .i("Draw Sub DISPLAY --")
                                                 .text());
    EXPECT_THAT(listEntries(imported, {Kind::TtyTx}),
                Contains(R"(tty-tx /dev/ttyACM0 \r\nOK\r\n)"));
    EXPECT_THAT(listEntries(imported, {Kind::ClientCall}),
                Contains(testing::StartsWith("client-call IBivista.drawSubDisplay")));
}

TEST(DamageTest, TheCoversLogIsToldFromClientsInALogThatBeginsLater) {
    const Imported imported = importText(Written()
                                                 .exchange(kMain, "AT%TCHDEBUG=FWVER", {"T7", "OK"})
                                                 .line(801, 'I', "battery 71 %")
                                                 .text());
    EXPECT_THAT(listEntries(imported, {Kind::TtyTx}),
                Contains(R"(tty-tx /dev/ttyACM0 battery 71 %\r\n)"));
}

TEST(DamageTest, AnOffsetIsTakenWhereTheScreenWasOnBeforeTheLog) {
    const Imported imported =
            importText(Written()
                               .d("serialAtCmd: resp:0x7c5e respCount:1024 cb:0x0 cmd:[AT%HPD]")
                               .d("usbAutoSuspend: suspend:0 vote:1 disableVote:1")
                               .d("serialAtCmd: wr: [AT%HPD]")
                               .d("serialAtCmd: eh: []")
                               .d("serialAtCmd: rd: [OK]")
                               .i("request br_offset is -20")
                               .exchange(kBrightness, "AT%DB=108", {"OK"})
                               .text());
    const std::vector<std::string> calls = listEntries(imported, {Kind::ClientCall});
    EXPECT_THAT(calls, Contains(R"(client-call IBivista.setBVBrightnessOffset [-20] [\"OK\"])"));
    EXPECT_THAT(calls, testing::Not(Contains(testing::HasSubstr("setBrightness"))));
}

TEST(DamageTest, ACommandOfAClientIsNotThatOfAnotherCall) {
    const Imported imported = importText(Written()
                                                 .start()
                                                 .attach()
                                                 .d("sendAtCommand: AT%X")
                                                 .exchange(kMain, "AT%TCHDEBUG=FWVER", {"T7", "OK"})
                                                 .text());
    EXPECT_THAT(listEntries(imported, {Kind::ClientCall}),
                ElementsAre(R"(client-call IBivista.sendAtCommand [\"AT%X\",null])",
                            R"(client-call IBivista.getTouchFirmwareVersion [] [\"OK\",\"T7\"])"));
    EXPECT_THAT(listUnknown(imported),
                Contains(testing::HasSubstr("what became of the command is missing")));
}

TEST(DamageTest, RemarksAreBoundedAndShort) {
    Written log;
    log.start().d("serialAtCmd: wr: [AT%" + std::string(3000, 'x') + "]");
    for (size_t i = 0; i < 2 * kMostRemarks; ++i) log.d("serialAtCmd: wr: [AT%X]");
    const Imported imported = importText(log.text());
    EXPECT_LE(imported.findings.unknown.size(), kMostRemarks + 10);
    EXPECT_THAT(imported.recording.header.unknown,
                Contains("There is more than these 1000 remarks."));
    for (const std::string& text : imported.recording.header.unknown) {
        EXPECT_LE(text.size(), kLongestRemark + 20) << text;
    }
}

TEST(DamageTest, ARecordingThatNoReplayReadsIsRefused) {
    Written frame;
    frame.line(806, 'I', "FB0 is being consumed.");
    frame.line(806, 'I', "HID-DISPLAY: write Palette done 3.000ms");
    constexpr size_t kEntries = 8;  // of a frame
    std::string log;
    for (size_t i = 0; i <= recording::kMostEntries / kEntries; ++i) log += frame.text();
    EXPECT_THROW(importText(log), TooLong);
}

TEST(DamageTest, AnAnswerWithoutACommandIsLeftOut) {
    const Imported imported = importText(Written().start().d("serialAtCmd: rd: [OK]").text());
    EXPECT_THAT(listEntries(imported, kTty), ElementsAre());
    EXPECT_THAT(listUnknown(imported),
                ElementsAre("3: an answer whose command is missing: left out"));
}

TEST(DamageTest, ARequestOrAWriteAloneIsEnough) {
    const std::string request = "serialAtCmd: resp:0x0 respCount:0 cb:0x0 cmd:[AT%X]";
    for (const std::string& line : {request, std::string("serialAtCmd: wr: [AT%X]")}) {
        const Imported imported = importText(Written()
                                                     .start()
                                                     .d(line)
                                                     .d("serialAtCmd: eh: []")
                                                     .d("serialAtCmd: rd: [OK]")
                                                     .text());
        EXPECT_THAT(listEntries(imported, kTty), ElementsAre(R"(tty-rx /dev/ttyACM0 AT%X\r)",
                                                             R"(tty-tx /dev/ttyACM0 \r\nOK\r\n)"))
                << line;
    }
}

TEST(DamageTest, TwoLinesInOneAreTwo) {
    Written log = Written().start().exchange(kMain, "AT%X", {"OK"});
    std::string text = log.text();
    const size_t eh = text.find("eh: []") + 6;
    text.erase(eh, 1);
    const Imported imported = importText(text);
    EXPECT_THAT(listEntries(imported, kTty),
                ElementsAre(R"(tty-rx /dev/ttyACM0 AT%X\r)", R"(tty-tx /dev/ttyACM0 \r\nOK\r\n)"));
    EXPECT_THAT(listUnknown(imported), Contains("5: two lines are merged into one"));
}

TEST(DamageTest, ALostWriteOfAVoteIsPutBack) {
    const Imported imported =
            importText(Written()
                               .start()
                               .d("usbAutoSuspend: suspend:0 vote:1 disableVote:0")
                               .exchange(kMain, "AT%X", {"OK"})
                               .d("usbAutoSuspend: suspend:1 vote:1 disableVote:1")
                               .d("usbAutoSuspend: auto")
                               .d("usbAutoSuspend: suspend:0 vote:1 disableVote:1")
                               .text());
    const std::string write = "node-write /sys/devices/platform/soc/usb1/1-1/power/control ";
    EXPECT_THAT(listEntries(imported, {Kind::NodeWrite}),
                ElementsAre(write + "on", write + "auto"));
    EXPECT_THAT(listUnknown(imported),
                Contains("3: the line after it, \"usbAutoSuspend: on\", is missing: put back"));
}

std::string keptText(const std::string& name) {
    std::ifstream file(std::string(PHONELOG_FOLDER) + "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Whatever is lost, an import ends, with entries in the order of time.
void expectOrder(const std::string& text) {
    const Imported imported = importText(text);
    EXPECT_FALSE(recording::toJson(imported.recording.header).empty());
    std::chrono::nanoseconds last{-1};
    for (const phone::Entry& entry : imported.recording.entries) {
        ASSERT_GT(entry.time, last);
        EXPECT_FALSE(phone::toJson(entry).empty());
        last = entry.time;
    }
}

TEST(DamageTest, EachLineOfALogMayBeMissing) {
    const std::string text = keptText("recovery-rewritten.log");
    ASSERT_FALSE(text.empty());
    for (size_t at = 0; at < text.size();) {
        const size_t end = text.find('\n', at) + 1;
        expectOrder(text.substr(0, at) + text.substr(end));
        at = end;
    }
}

TEST(DamageTest, ALogMayEndOrBeginAnywhere) {
    const std::string text = keptText("upgrade-cancelled-rewritten.log");
    ASSERT_FALSE(text.empty());
    for (size_t at = 200; at < text.size(); at += 97) {
        expectOrder(text.substr(0, at));
        if (text.size() - at > 200) expectOrder(text.substr(at));
    }
}

TEST(DamageTest, BytesOfALogMayBeAny) {
    std::string text = keptText("upgrade-done-rewritten.log");
    ASSERT_FALSE(text.empty());
    for (size_t at = 0; at < text.size(); at += 31) text[at] = static_cast<char>(at * 7);
    expectOrder(text);
}

}  // namespace
}  // namespace phonelog
