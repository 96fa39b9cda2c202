// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Raw and delta frames: the answer goes to the log line by line, and nowhere else.
#include "display/TouchFrame.h"

#include <csignal>
#include <ostream>

#include "tests/kernel/ServiceTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::KilledBySignal;
using testing::SizeIs;

std::vector<std::string> takeLines(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) lines.emplace_back(takeFrameLine(&text));
    return lines;
}

TEST(FrameLine, KeepsItsLineFeed) {
    EXPECT_THAT(takeLines("a\nb\n"), ElementsAre("a\n", "b\n"));
}

TEST(FrameLine, IsTakenWithoutALineFeedAtTheEnd) {
    EXPECT_THAT(takeLines("a\nb"), ElementsAre("a\n", "b"));
}

TEST(FrameLine, MayBeALineFeedAlone) {
    EXPECT_THAT(takeLines("\n"), ElementsAre("\n"));
    EXPECT_THAT(takeLines("\n\na"), ElementsAre("\n", "\n", "a"));
}

TEST(FrameLine, MayHold1024Bytes) {
    const std::string line(1024, 'x');
    EXPECT_THAT(takeLines(line), ElementsAre(line));
    const std::string ended = std::string(1023, 'x') + "\n";
    EXPECT_THAT(takeLines(ended + "a"), ElementsAre(ended, "a"));
}

TEST(FrameLineDeathTest, OfMoreBytesEndsTheProcess) {
    EXPECT_EXIT(takeLines(std::string(1025, 'x')), KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(takeLines(std::string(1024, 'x') + "\n"), KilledBySignal(SIGABRT), "");
}

struct Frame {
    const char* method;
    Status (*call)(Bivista& service);
    std::string cmd;
};

void PrintTo(const Frame& frame, std::ostream* out) {
    *out << frame.method;
}

class TouchFrameTest : public AttachedTest, public testing::WithParamInterface<Frame> {
  protected:
    Status call() { return GetParam().call(*service); }
    // The answer's bytes are spelt as faults spell them.
    void answer(const std::string& bytes) {
        phone.faults.set("on AT%TCHDEBUG answer \"" + bytes + "\"");
    }
    // What the method itself logged, without its name.
    std::vector<std::string> frameLines() const {
        const std::string prefix = std::string(GetParam().method) + ": ";
        std::vector<std::string> lines;
        for (const support::LogLine& line : log.lines()) {
            if (line.text.rfind(prefix, 0) != 0) continue;
            EXPECT_EQ(line.priority, ANDROID_LOG_DEBUG);
            lines.push_back(line.text.substr(prefix.size()));
        }
        return lines;
    }
};

TEST_P(TouchFrameTest, IsLoggedLineByLine) {
    answer(R"(\r\n1 2\r\n3 4\r\n5 6\r\nOK\r\n)");
    EXPECT_EQ(call(), Status::OK);
    EXPECT_THAT(commands(from), ElementsAre(GetParam().cmd));
    EXPECT_THAT(frameLines(), ElementsAre("1 2\n", "3 4\n", "5 6"));
}

TEST_P(TouchFrameTest, OfRealisticSizeIsLoggedAsFarAsItIsStored) {
    EXPECT_EQ(call(), Status::OK);
    // 24 lines of 160 characters and a line feed; the last line feed became the text's end.
    EXPECT_THAT(frameLines(), SizeIs(24));
}

TEST_P(TouchFrameTest, ThatIsEmptyLogsNothing) {
    answer(R"(\r\nOK\r\n)");
    EXPECT_EQ(call(), Status::OK);
    EXPECT_THAT(frameLines(), IsEmpty());
}

TEST_P(TouchFrameTest, OfOneLineFeedIsOneLine) {
    // Of two line feeds the last becomes the text's end.
    answer(R"(\r\n\r\n\r\nOK\r\n)");
    EXPECT_EQ(call(), Status::OK);
    EXPECT_THAT(frameLines(), ElementsAre("\n"));
}

TEST_P(TouchFrameTest, EndsAtANul) {
    answer(R"(\r\n1 2\r\n3\x004\r\n5 6\r\nOK\r\n)");
    EXPECT_EQ(call(), Status::OK);
    EXPECT_THAT(frameLines(), ElementsAre("1 2\n", "3"));
}

TEST_P(TouchFrameTest, IsCutAt4096Bytes) {
    std::string bytes = "\\r\\n";
    for (int i = 0; i < 50; ++i) bytes += std::string(99, 'x') + "\\r\\n";
    answer(bytes + "OK\\r\\n");
    EXPECT_EQ(call(), Status::OK);
    const std::vector<std::string> lines = frameLines();
    ASSERT_THAT(lines, SizeIs(41));
    EXPECT_EQ(lines.back(), std::string(95, 'x'));
}

TEST_P(TouchFrameTest, OfAHangUpIsLoggedAsFarAsItCame) {
    answer(R"(\r\n1 2\r\n3 4\r\n)");
    phone.faults.set("on AT%TCHDEBUG hangup after 12");
    EXPECT_EQ(call(), Status::OK);
    EXPECT_THAT(frameLines(), ElementsAre("1 2\n", "3 4\n"));
}

TEST_P(TouchFrameTest, ThatTheCoverRefusesFailsSilently) {
    answer(R"(\r\n1 2\r\nERROR\r\n)");
    EXPECT_EQ(call(), Status::FAIL);
    EXPECT_THAT(frameLines(), IsEmpty());
}

TEST_P(TouchFrameTest, FailsWithoutACover) {
    detach();
    EXPECT_EQ(call(), Status::FAIL);
    EXPECT_THAT(frameLines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
        Methods, TouchFrameTest,
        testing::Values(Frame{"DoRawdata",
                              [](Bivista& service) -> Status { return service.DoRawdata(); },
                              "AT%TCHDEBUG=RAWDATA\r"},
                        Frame{"DoDelta",
                              [](Bivista& service) -> Status { return service.DoDelta(); },
                              "AT%TCHDEBUG=DELTA\r"}),
        [](const auto& info) { return info.param.method; });

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
