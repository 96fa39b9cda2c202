// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The capture of the cover's own log, which it streams over its tty between AT exchanges.
#pragma once

#include <pthread.h>

#include <atomic>

#include "kernel/serial/SerialLink.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// System property: whether a capture is wanted.
inline constexpr char kCaptureProperty[] = "persist.vendor.qmx.service.kernel.enable";

class SerialLog {
  public:
    explicit SerialLog(const SerialLink& link) : mLink(link) {}

    // The capture was asked for. Any thread.
    bool isEnabled() const { return mSerialLogEnabled; }
    // The log thread has the tty open and copies the cover's lines. Any thread.
    bool isRunning() const { return mSerialLogRunning; }

    // Asks for a capture and makes its thread, whose body must call run(). Returns the result of
    // the thread's creation, logged when it is negative. Notify thread.
    int start(void* (*body)(void*), void* argument) EXCLUDES(sSerialMutex);
    // Ends the request for a capture: the thread ends as soon as it can. Notify thread.
    void disable() EXCLUDES(sSerialMutex);
    // Waits for the thread's end, if there is one. Notify thread.
    void join() EXCLUDES(sSerialMutex);

    // Wakes the log thread. Callers have just cleared a flag that the capture depends on. With the
    // display off nothing else would wake the thread, since no tty is open that could hang up.
    void wake() const REQUIRES(sSerialMutex);

    // Captures until the link is detached, or the capture disabled, or something fails. Log thread.
    void run() EXCLUDES(sSerialMutex);

  private:
    const SerialLink& mLink;
    // The log thread, and whether it must be joined.
    pthread_t mSerialLogThread = {};
    std::atomic<bool> mSerialLogThreadExists = false;
    std::atomic<bool> mSerialLogEnabled = false;
    std::atomic<bool> mSerialLogRunning = false;
    // eventfd of one capture, which its thread polls and never reads; -1 while there is none.
    int mSerialLogWakeFd GUARDED_BY(sSerialMutex) = -1;
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
