// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The two frame buffers, which hand frames from the thread that draws to the thread that sends.
//
// Where two threads may change a state, each does so in one test-and-set under the buffer's lock.
// So a buffer belongs to one thread at a time, and its bytes need no lock.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "kernel/base/Mutex.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

enum BufferState : int32_t {
    BUFFER_FREE = 1,       // may be written
    BUFFER_WRITING = 2,    // a frame is being drawn into it
    BUFFER_READY = 3,      // holds a frame that was not sent yet; may be written
    BUFFER_CONSUMING = 4,  // is being sent
};

struct FrameBuffer {
    static constexpr uint16_t kCapacity = 8192;

    explicit constexpr FrameBuffer(uint8_t index) : idx(index) {}

    const uint8_t idx;
    // Inside it only the lock of the counts is taken (diagnostics/Statistics.h).
    Mutex lock{"FrameBuffer::lock"};
    BufferState state GUARDED_BY(lock) = BUFFER_FREE;
    // Packed pixels (PackFrame.h). The bytes after the last frame's are those of earlier ones.
    uint8_t data[kCapacity] = {};
    // Bytes sent per frame, whatever the panel's size.
    const uint16_t size = kCapacity;
};

inline constexpr uint8_t kFrameBuffers = 2;

// Index of the buffer that was last drawn into. Changed by the RPC thread.
extern std::atomic<uint8_t> cur_fb;

// Null, logged, when there is no such buffer.
FrameBuffer* frameBuffer(uint8_t index);

// Any thread. Changes nothing, logged, when there is no such buffer.
void setBufferState(uint8_t index, BufferState state);

// BUFFER_FREE or BUFFER_READY to BUFFER_WRITING; false when the buffer is in another state.
bool claimForDrawing(FrameBuffer* buffer);
// BUFFER_READY to BUFFER_CONSUMING; false when the buffer is in another state.
bool claimForSending(FrameBuffer* buffer);

// Drops the unsent frames. The thread that sends a buffer frees that buffer itself; until then no
// frame is drawn into it.
void freeFrameBuffers();

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
