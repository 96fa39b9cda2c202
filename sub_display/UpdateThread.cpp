// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The thread that sends drawn frames to the panel, and what wakes and ends it.

#include <cerrno>
#include <cstring>
#include <ctime>

#include "diagnostics/Statistics.h"
#include "kernel/Bivista.h"
#include "kernel/base/ThreadName.h"
#include "kernel/base/TraceSlice.h"
#include "sub_display/SubDisplay.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr int kRetries = 6;

double now() {
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC_RAW, &time);
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

void waitForWork(SubDisplay& display) REQUIRES(display.sub_update_lock) {
    LOG_INFO("There is no buffer to be consumed.");
    // A stop sets the flag before it takes the lock to signal. So this check sees the flag, or the
    // signal ends the wait below.
    if (display.sub_display_destroyThread) return;
    const int result = display.sub_update_lock.wait(&display.sub_update_cond);
    if (result == EINVAL) {
        LOG_ERROR("The value specified by abstime, cond or mutex is invalid.\n");
    } else if (result == EPERM) {
        LOG_ERROR("The mutex was not owned by the current thread at the time of the call.\n");
    }
}

// A frame to send, which then belongs to the caller. Null after a wait.
FrameBuffer* takeFrame(SubDisplay& display) {
    const MutexLock lock(display.sub_update_lock, "subDisplayUpdateThread");
    for (uint8_t index = 0; index < kFrameBuffers; ++index) {
        FrameBuffer* const buffer = frameBuffer(index);
        if (claimForSending(buffer)) return buffer;
    }
    waitForWork(display);
    return nullptr;
}

void sendFrame(Bivista& service, const FrameBuffer& buffer, int* retries) {
    const TraceSlice slice("frame");
    for (;;) {
        const double start = now();
        if (service.hidDisplayPalette(buffer.size, 0, buffer.data) >= 0) {
            // An empty report ends the frame. Meant: quirk empty-report-ignored.
            service.hidDisplayPalette(0, 0, nullptr);
            sStatistics.count(&Counts::framesSent);
            LOG_INFO("HID-DISPLAY: write Palette done %.3fms", (now() - start) / 1e6);
            return;
        }
        const int error = errno;
        // Meant: quirk retries-for-a-life.
        if (*retries >= kRetries) {
            LOG_ERROR("Could not send palette data.");
            sStatistics.countDropped(Cause::ofError(error));
            return;
        }
        ++*retries;
        sStatistics.countRetry(error);
    }
}

}  // namespace

void* subDisplayUpdateThread(void* service) {
    nameThread("sub-update");
    Bivista& self = *static_cast<Bivista*>(service);
    SubDisplay& display = self.subDisplay();
    LOG_INFO("Sub DISPLAY UPDATE Thread is running, sub_display_destroyThread : %d",
             display.sub_display_destroyThread.load());
    int retries = 0;
    while (!display.sub_display_destroyThread) {
        FrameBuffer* const buffer = takeFrame(display);
        if (buffer == nullptr) continue;
        LOG_INFO("FB%d is being consumed.", buffer->idx);
        sendFrame(self, *buffer, &retries);
        setBufferState(buffer->idx, BUFFER_FREE);
    }
    LOG_INFO("Sub DISPLAY UPDATE Thread is over");
    return nullptr;
}

void SubDisplay::wakeThread(const char* function) {
    const MutexLock lock(sub_update_lock, function);
    pthread_cond_signal(&sub_update_cond);
}

void SubDisplay::takeBackStop() {
    const MutexLock lock(threadLock, "initSubDisplay");
    sub_display_destroyThread = false;
}

void SubDisplay::startThread() {
    static constexpr char kFunction[] = "setSubDisplayPowerState";
    const MutexLock step(threadLock, kFunction);
    {
        const MutexLock lock(sub_update_lock, kFunction);
        if (sub_thread_running) return;
    }
    sub_display_destroyThread = false;
    const int result = pthread_create(&thread, nullptr, subDisplayUpdateThread, service.load());
    threadExists = result == 0;
    const MutexLock lock(sub_update_lock, kFunction);
    // Meant: quirk negative-only.
    if (result < 0) LOG_ERROR("Failed to create sub display pthread: %s", strerror(result));
    sub_thread_running = result >= 0;
}

void SubDisplay::stopThread(const char* function) {
    const MutexLock step(threadLock, function);
    sub_display_destroyThread = true;
    // Meant: quirk name-of-the-other-function.
    LOG_INFO("deinitSubDisplay : sub_display_destroyThread = %d", sub_display_destroyThread.load());
    {
        const MutexLock lock(sub_update_lock, function);
        if (!sub_thread_running) return;
        pthread_cond_signal(&sub_update_cond);
    }
    if (threadExists) pthread_join(thread, nullptr);
    const MutexLock lock(sub_update_lock, function);
    sub_thread_running = false;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
