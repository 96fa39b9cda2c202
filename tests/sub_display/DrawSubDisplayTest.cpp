// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A client's frame on its way into a buffer.
#include <string>
#include <tuple>

#include "sub_display/PackFrame.h"
#include "tests/sub_display/SubDisplayTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using support::LogLine;
using testing::ElementsAre;

class DrawSubDisplayTest : public SubDisplayTest {
  protected:
    // A panel that did not come on: frames may be drawn, and no thread sends them.
    void attachWithoutSender(const PanelOptions& options = {}) {
        start();
        setFault("hid config error EPIPE");
        attachPanel(options);
        clearFaults();
        log.clear();
    }

    Status draw(const hidl_vec<uint32_t>& frame) { return service->drawSubDisplay(frame); }

    static std::string bufferBytes(uint8_t index) {
        const FrameBuffer* const buffer = frameBuffer(index);
        return {reinterpret_cast<const char*>(buffer->data), sizeof(buffer->data)};
    }
};

TEST_F(DrawSubDisplayTest, AFrameIsPackedAndWaitsToBeSent) {
    attachWithoutSender();
    EXPECT_EQ(draw(makeFrame(0x01234567)), Status::OK);
    EXPECT_EQ(bufferState(0), BUFFER_READY);
    EXPECT_EQ(bufferState(1), BUFFER_FREE);
    EXPECT_EQ(bufferBytes(0), frameBytes(0x01234567));
    EXPECT_THAT(log.lines(),
                ElementsAre(infoLine("Draw Sub DISPLAY ++"), infoLine("Draw Sub DISPLAY --")));
}

TEST_F(DrawSubDisplayTest, AFrameReachesThePanel) {
    start();
    attachPanel();
    EXPECT_EQ(draw(makeFrame(0xDEADBEEF)), Status::OK);
    EXPECT_THAT(waitForFrames(1), ElementsAre(frameBytes(0xDEADBEEF)));
}

TEST_F(DrawSubDisplayTest, AFrameDrawnBeforeThePanelIsOnIsSentFirst) {
    attachWithoutSender();
    EXPECT_EQ(draw(makeFrame(1)), Status::OK);
    EXPECT_EQ(service->setSubDisplayPowerState(true), Status::OK);
    EXPECT_EQ(waitForFrames(1).at(0), frameBytes(1));
}

TEST_F(DrawSubDisplayTest, TheFirstPairIsTheLastByteOfTheFrame) {
    attachWithoutSender({.x = 4, .y = 2});
    EXPECT_EQ(draw({0x000000F0, 0x00000010, 0, 0, 0, 0, 0xFFFFFFF7, 0xFFFFFF20}), Status::OK);
    EXPECT_EQ(bufferBytes(0).substr(0, 5), std::string("\xF2\0\0\xF1\0", 5));
}

struct Refusal {
    const char* name;
    bool attached;
    int32_t state;
};
class RefusedDrawTest : public DrawSubDisplayTest, public testing::WithParamInterface<Refusal> {};

TEST_P(RefusedDrawTest, HasNoPanelToDrawOn) {
    start();
    if (GetParam().attached) {
        attachPanel();
        EXPECT_EQ(service->setSubDisplayPowerState(false), Status::OK);
    }
    log.clear();
    EXPECT_EQ(draw(makeFrame(1)), Status::FAIL);
    EXPECT_THAT(log.lines(), ElementsAre(infoLine("Draw Sub DISPLAY ++"),
                                         errorLine("Sub Panel is not ready state(" +
                                                   std::to_string(GetParam().state) +
                                                   "). Could not request to draw.")));
    EXPECT_EQ(bufferState(0), BUFFER_FREE);
    EXPECT_EQ(bufferState(1), BUFFER_FREE);
}

INSTANTIATE_TEST_SUITE_P(States, RefusedDrawTest,
                         testing::Values(Refusal{"Absent", false, 0}, Refusal{"Off", true, 2}),
                         [](const auto& info) { return info.param.name; });

struct Size {
    const char* name;
    uint16_t x;
    uint16_t y;
    size_t words;
    std::string line;  // empty: drawn
};
class FrameSizeTest : public DrawSubDisplayTest, public testing::WithParamInterface<Size> {};

TEST_P(FrameSizeTest, MustBeThePanels) {
    attachWithoutSender({.x = GetParam().x, .y = GetParam().y});
    hidl_vec<uint32_t> frame;
    frame.resize(GetParam().words);
    std::fill(frame.begin(), frame.end(), 0xFFFFFFFF);
    const bool drawn = GetParam().line.empty();
    EXPECT_EQ(draw(frame), drawn ? Status::OK : Status::FAIL);
    EXPECT_EQ(bufferState(0), drawn ? BUFFER_READY : BUFFER_FREE);
    EXPECT_EQ(bufferState(1), BUFFER_FREE);
    std::vector<LogLine> lines = {infoLine("Draw Sub DISPLAY ++")};
    if (!drawn) lines.push_back(errorLine(GetParam().line));
    lines.push_back(infoLine("Draw Sub DISPLAY --"));
    EXPECT_EQ(log.lines(), lines);
    const std::string bytes = bufferBytes(0);
    EXPECT_EQ(std::count(bytes.begin(), bytes.end(), '\xFF'),
              drawn ? std::min<std::ptrdiff_t>(GetParam().words / 2, 8192) : 0);
}

INSTANTIATE_TEST_SUITE_P(
        Panels, FrameSizeTest,
        testing::Values(Size{"Exact", 128, 128, 16384, ""},
                        Size{"OneTooMany", 128, 128, 16385,
                             "Input buffer size is overflow! screen buffer size = 16384, input "
                             "size = 16385"},
                        Size{"OneTooFew", 128, 128, 16383,
                             "Input buffer size is underflow! screen buffer size = 16384, input "
                             "size = 16383"},
                        Size{"Empty", 128, 128, 0,
                             "Input buffer size is underflow! screen buffer size = 16384, input "
                             "size = 0"},
                        Size{"Small", 8, 3, 24, ""}, Size{"Odd", 3, 3, 9, ""},
                        Size{"OnePixel", 1, 1, 1, ""}, Size{"NoPixel", 0, 128, 0, ""},
                        Size{"NoPixelButAWord", 0, 0, 1,
                             "Input buffer size is overflow! screen buffer size = 0, input size = "
                             "1"},
                        // Meant: sizes have 16 bits.
                        Size{"Largest", 255, 257, 65535, ""},
                        Size{"LargerThanTheBuffer", 16, 1025, 16400, ""},
                        Size{"WrapsToNothing", 256, 256, 0, ""},
                        Size{"WrapsToNothingButIsWhole", 256, 256, 65536,
                             "Input buffer size is overflow! screen buffer size = 0, input size = "
                             "65536"},
                        Size{"HugeWrapsToOne", 65535, 65535, 1, ""},
                        Size{"HugeWithAFrame", 65535, 65535, 16384,
                             "Input buffer size is overflow! screen buffer size = 1, input size = "
                             "16384"}),
        [](const auto& info) { return info.param.name; });

// Of a frame that is larger than the buffer, the buffer holds the bytes that have a place in it.
TEST_F(DrawSubDisplayTest, AFrameLargerThanTheBufferIsCutToIt) {
    attachWithoutSender({.x = 16, .y = 1030});
    EXPECT_EQ(draw(makeFrame(0x89ABCDEF, 8240)), Status::OK);
    EXPECT_EQ(bufferBytes(0), frameBytes(0x89ABCDEF));
}

TEST_F(DrawSubDisplayTest, BytesBehindASmallFrameAreLeftOver) {
    start();
    attachPanel();
    EXPECT_EQ(draw(makeFrame(0x11111111)), Status::OK);
    waitForFrames(1);
    detachPanel();
    attachPanel({.node = 1, .x = 4, .y = 2});
    EXPECT_EQ(draw(makeFrame(0x22222222, 4)), Status::OK);
    EXPECT_EQ(waitForFrames(2).at(1), "\x22\x22\x22\x22" + std::string(8188, '\x11'));
}

// A buffer that was not sent yet is overwritten, unless the frame is of the wrong size: then it is
// lost.
TEST_F(DrawSubDisplayTest, ANewerFrameReplacesOneThatWasNotSent) {
    attachWithoutSender();
    EXPECT_EQ(draw(makeFrame(1)), Status::OK);
    EXPECT_EQ(draw(makeFrame(2)), Status::OK);
    EXPECT_EQ(bufferBytes(0), frameBytes(2));
    EXPECT_EQ(bufferState(0), BUFFER_READY);
    EXPECT_EQ(bufferState(1), BUFFER_FREE);
}

TEST_F(DrawSubDisplayTest, AFrameOfTheWrongSizeLosesTheOneThatWaited) {
    attachWithoutSender();
    EXPECT_EQ(draw(makeFrame(1)), Status::OK);
    EXPECT_EQ(draw({1, 2, 3}), Status::FAIL);
    EXPECT_EQ(bufferState(0), BUFFER_FREE);
}

TEST_F(DrawSubDisplayTest, OnlyTheNewestFrameFollowsTheOneThatIsBeingSent) {
    start();
    attachPanel();
    support::hold(HidCall::Write);
    EXPECT_EQ(draw(makeFrame(1)), Status::OK);
    support::awaitHeld();
    EXPECT_EQ(draw(makeFrame(2)), Status::OK);
    EXPECT_EQ(bufferState(1), BUFFER_READY);
    EXPECT_EQ(draw(makeFrame(3)), Status::OK);
    EXPECT_EQ(bufferState(0), BUFFER_CONSUMING);
    EXPECT_EQ(cur_fb, 1);
    support::release();
    EXPECT_THAT(waitForFrames(2), ElementsAre(frameBytes(1), frameBytes(3)));
}

// All that a draw may find: the buffer drawn into last, and the states of both.
class ChoiceTest : public DrawSubDisplayTest {
  protected:
    static constexpr BufferState kStates[] = {BUFFER_FREE, BUFFER_WRITING, BUFFER_READY,
                                              BUFFER_CONSUMING};

    // The buffer to be taken, by the order of preference; -1 for none.
    static int choose(uint8_t last, const BufferState (&states)[2]) {
        const auto busy = [](BufferState state) {
            return state == BUFFER_WRITING || state == BUFFER_CONSUMING;
        };
        if (!busy(states[last])) return last;
        const std::pair<int, BufferState> preferences[] = {
                {0, BUFFER_FREE}, {0, BUFFER_READY}, {1, BUFFER_FREE}, {1, BUFFER_READY}};
        for (const auto& [index, state] : preferences) {
            if (states[index] == state) return index;
        }
        return -1;
    }
};

TEST_F(ChoiceTest, IsTheLastBufferElseTheFirstThatMayBeWritten) {
    attachWithoutSender();
    const hidl_vec<uint32_t> frame = makeFrame(1);
    for (uint8_t last : {0, 1}) {
        for (BufferState first : kStates) {
            for (BufferState second : kStates) {
                const BufferState states[] = {first, second};
                const int choice = choose(last, states);
                SCOPED_TRACE(testing::Message() << int{last} << " " << first << " " << second);
                cur_fb = last;
                setBufferState(0, first);
                setBufferState(1, second);
                EXPECT_EQ(draw(frame), choice < 0 ? Status::FAIL : Status::OK);
                for (uint8_t index : {0, 1}) {
                    EXPECT_EQ(bufferState(index), index == choice ? BUFFER_READY : states[index]);
                }
                EXPECT_EQ(cur_fb, choice < 0 ? last : choice);
            }
        }
    }
}

TEST_F(ChoiceTest, ThereMayBeNone) {
    attachWithoutSender();
    setBufferState(0, BUFFER_CONSUMING);
    setBufferState(1, BUFFER_WRITING);
    EXPECT_EQ(draw(makeFrame(1)), Status::FAIL);
    EXPECT_THAT(log.lines(),
                ElementsAre(infoLine("Draw Sub DISPLAY ++"),
                            errorLine("There is no Writable Buffer. Try again later.")));
    // A sender that is not there would never free it.
    setBufferState(0, BUFFER_FREE);
}

// The buffer that was picked is remembered although nothing was drawn into it.
TEST_F(ChoiceTest, IsKeptWhenTheFrameIsOfTheWrongSize) {
    attachWithoutSender();
    setBufferState(0, BUFFER_WRITING);
    EXPECT_EQ(draw({1}), Status::FAIL);
    EXPECT_EQ(cur_fb, 1);
    EXPECT_EQ(bufferState(1), BUFFER_FREE);
}

TEST_F(ChoiceTest, OfABufferThatDoesNotExistIsRefused) {
    attachWithoutSender();
    cur_fb = 2;
    EXPECT_EQ(draw(makeFrame(1)), Status::FAIL);
    EXPECT_THAT(log.lines(),
                ElementsAre(infoLine("Draw Sub DISPLAY ++"),
                            errorLine("Buffer index is out of bounce!"),
                            errorLine("Buffer index is out of bounce!"),
                            errorLine("There is no Palette Buffer. Try again later.")));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
