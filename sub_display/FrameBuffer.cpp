// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "sub_display/FrameBuffer.h"

#include "diagnostics/Statistics.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

std::atomic<uint8_t> cur_fb = 0;

namespace {

FrameBuffer sFrameBuffers[kFrameBuffers] = {FrameBuffer(0), FrameBuffer(1)};

// Function names in the log of a failing lock, in a claim and in a change.
constexpr char kLook[] = "getBufferState";
constexpr char kChange[] = "setBufferState";

}  // namespace

FrameBuffer* frameBuffer(uint8_t index) {
    if (index < kFrameBuffers) return &sFrameBuffers[index];
    LOG_ERROR("Buffer index is out of bounce!");
    return nullptr;
}

void setBufferState(uint8_t index, BufferState state) {
    FrameBuffer* const buffer = frameBuffer(index);
    if (buffer == nullptr) {
        LOG_ERROR("There is no buffer indicated idx %d!", index);
        return;
    }
    const MutexLock lock(buffer->lock, kChange);
    buffer->state = state;
}

bool claimForDrawing(FrameBuffer* buffer) {
    const MutexLock lock(buffer->lock, kLook);
    if (buffer->state != BUFFER_FREE && buffer->state != BUFFER_READY) return false;
    if (buffer->state == BUFFER_READY) sStatistics.countDropped("replaced");
    buffer->state = BUFFER_WRITING;
    return true;
}

bool claimForSending(FrameBuffer* buffer) {
    const MutexLock lock(buffer->lock, kLook);
    if (buffer->state != BUFFER_READY) return false;
    buffer->state = BUFFER_CONSUMING;
    return true;
}

void freeFrameBuffers() {
    for (FrameBuffer& buffer : sFrameBuffers) {
        const MutexLock lock(buffer.lock, kChange);
        if (buffer.state == BUFFER_READY) sStatistics.countDropped("freed");
        if (buffer.state != BUFFER_CONSUMING) buffer.state = BUFFER_FREE;
    }
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
