// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The states of the two frame buffers, and the side that gets a buffer when both want it.
#include <atomic>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sub_display/FrameBuffer.h"
#include "tests/support/LogCapture.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using support::LogLine;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr BufferState kStates[] = {BUFFER_FREE, BUFFER_WRITING, BUFFER_READY, BUFFER_CONSUMING};

class FrameBufferTest : public testing::Test {
  protected:
    static BufferState state(uint8_t index) {
        FrameBuffer* const buffer = frameBuffer(index);
        const MutexLock lock(buffer->lock, __func__);
        return buffer->state;
    }

    support::LogCapture log;
};

TEST_F(FrameBufferTest, BothAreFreeAtFirst) {
    for (uint8_t index : {0, 1}) {
        EXPECT_EQ(state(index), BUFFER_FREE);
        EXPECT_EQ(frameBuffer(index)->idx, index);
        EXPECT_EQ(frameBuffer(index)->size, 8192);
    }
    EXPECT_EQ(cur_fb, 0);
}

TEST_F(FrameBufferTest, TakeAnyState) {
    for (const BufferState next : kStates) {
        setBufferState(1, next);
        EXPECT_EQ(state(1), next);
        EXPECT_EQ(state(0), BUFFER_FREE);
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FrameBufferTest, ThereIsNoThird) {
    for (uint8_t index : {2, 255}) {
        log.clear();
        setBufferState(index, BUFFER_READY);
        EXPECT_THAT(log.lines(), ElementsAre(LogLine{ANDROID_LOG_ERROR, BIVISTA_LOG_TAG,
                                                     "Buffer index is out of bounce!"},
                                             LogLine{ANDROID_LOG_ERROR, BIVISTA_LOG_TAG,
                                                     "There is no buffer indicated idx " +
                                                             std::to_string(index) + "!"}));
        EXPECT_EQ(state(0), BUFFER_FREE);
        EXPECT_EQ(state(1), BUFFER_FREE);
    }
}

TEST_F(FrameBufferTest, OneThatIsInUseIsNotToBeDrawnInto) {
    for (const BufferState before : kStates) {
        setBufferState(0, before);
        const bool idle = before == BUFFER_FREE || before == BUFFER_READY;
        EXPECT_EQ(claimForDrawing(frameBuffer(0)), idle);
        EXPECT_EQ(state(0), idle ? BUFFER_WRITING : before);
    }
}

TEST_F(FrameBufferTest, OnlyOneThatIsReadyIsToBeSent) {
    for (const BufferState before : kStates) {
        setBufferState(0, before);
        EXPECT_EQ(claimForSending(frameBuffer(0)), before == BUFFER_READY);
        EXPECT_EQ(state(0), before == BUFFER_READY ? BUFFER_CONSUMING : before);
    }
}

TEST_F(FrameBufferTest, OneThatIsBeingSentStaysItsSenders) {
    for (const BufferState before : kStates) {
        setBufferState(0, before);
        setBufferState(1, BUFFER_READY);
        freeFrameBuffers();
        EXPECT_EQ(state(0), before == BUFFER_CONSUMING ? BUFFER_CONSUMING : BUFFER_FREE);
        EXPECT_EQ(state(1), BUFFER_FREE);
    }
}

// A buffer that is ready is wanted by both sides: one of them gets it.
TEST_F(FrameBufferTest, OneSideAloneGetsABuffer) {
    constexpr int kRounds = 20000;
    std::atomic<int> round = 0, done = 0, sent = 0;
    std::thread sender([&] {
        for (int i = 1; i <= kRounds; ++i) {
            while (round < i) std::this_thread::yield();
            if (claimForSending(frameBuffer(0))) ++sent;
            ++done;
        }
    });
    int drawn = 0;
    for (int i = 1; i <= kRounds; ++i) {
        setBufferState(0, BUFFER_READY);
        round = i;
        if (claimForDrawing(frameBuffer(0))) ++drawn;
        while (done < i) std::this_thread::yield();
    }
    sender.join();
    EXPECT_EQ(sent + drawn, kRounds);
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
