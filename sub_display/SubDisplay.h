// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the sub display is: its state and its client, its panel, and the thread that sends its
// frames. The frames themselves lie in the buffers (FrameBuffer.h).
#pragma once

#include <pthread.h>

#include <atomic>

#include <utils/StrongPointer.h>
#include <vendor/qmx/hardware/bivista/1.0/IBivistaSubDisplayCallback.h>

#include "kernel/base/Mutex.h"
#include "sub_display/FrameBuffer.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

class Bivista;

// The body of the thread that sends frames (UpdateThread.cpp); the argument is the service object.
void* subDisplayUpdateThread(void* service);

// Why a request fails for which there must be a panel; the words of the log.
inline constexpr char kNotInitialized[] = "Sub Display is not initialized yet";

// Locks that are taken together, in their order: threadLock, sub_update_lock, a buffer's lock.
struct SubDisplay {
    // Guards the state and the callback; held while the callback runs. Inside it only the lock of
    // the counts is taken (diagnostics/Statistics.h).
    Mutex sub_state_lock{"sub_state_lock"};
    V1_0::SubScreenState state GUARDED_BY(sub_state_lock) = V1_0::SubScreenState::UNINITIALIZED;
    // The client's, null for none.
    ::android::sp<V1_0::IBivistaSubDisplayCallback> callback GUARDED_BY(sub_state_lock);

    // A power request runs.
    std::atomic<bool> sub_power_in_progress = false;

    // Leaf lock, held only to copy.
    Mutex panelLock;
    // Size and format of the panel that is attached, or was last; zeros before the first one.
    V1_0::SubScreenInfo panel GUARDED_BY(panelLock) = {};
    // The service object that it was attached to. Set by the notify thread.
    std::atomic<Bivista*> service = nullptr;

    // Makes each start and each stop of the thread one step. Held while the thread is joined: no
    // other thread joins it twice, or takes the stop back before it has seen the stop.
    Mutex threadLock ACQUIRED_BEFORE(sub_update_lock){"threadLock"};
    pthread_t thread GUARDED_BY(threadLock) = {};
    // False where the thread's creation failed and counts as a success.
    bool threadExists GUARDED_BY(threadLock) = false;
    // True makes the thread end. Changed under threadLock.
    std::atomic<bool> sub_display_destroyThread = false;

    // Guards the thread's running flag, and its look for work and wait for it. Never held while the
    // thread is joined.
    Mutex sub_update_lock ACQUIRED_BEFORE(&FrameBuffer::lock){"sub_update_lock"};
    pthread_cond_t sub_update_cond = PTHREAD_COND_INITIALIZER;
    // From a creation that counts as a success to the join.
    bool sub_thread_running GUARDED_BY(sub_update_lock) = false;

    // Copies of the state and of the panel. Any thread.
    V1_0::SubScreenState copyState() EXCLUDES(sub_state_lock);
    V1_0::SubScreenInfo copyPanel() EXCLUDES(panelLock);

    // Start, stop and wake the thread that sends frames; `function` names a failing lock. A stop
    // waits for the thread's end, and holds until it is taken back or the thread is started.
    void startThread() EXCLUDES(threadLock);
    void stopThread(const char* function) EXCLUDES(threadLock);
    void takeBackStop() EXCLUDES(threadLock);
    void wakeThread(const char* function) EXCLUDES(sub_update_lock);
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
