// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover display side: its lock, whether it is up, whether its screen is on.
#pragma once

#include <atomic>

#include "kernel/base/Mutex.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

class Bivista;

// Guards the brightness queue and values, the offset state, changes of the screen state and of the
// applied colour settings, and the attachment status. Inside it only the lock of the counts is
// taken (diagnostics/Statistics.h).
extern Mutex display_lock;

// The cover display side is up: set at attach, cleared at detach, on the notify thread, without the
// lock. While it is false, power and touch performance requests are refused, colours and offsets
// only kept. Any thread reads it.
extern std::atomic<bool> bv2_initialized;

// Why a request fails that comes while the display side is down; the log's words.
inline constexpr char kDisplayNotInitialized[] = "bv2 not initialized";

// The screen was switched on and the cover confirmed it. Changed under display_lock, by
// setPowerStatus and at a detach; any thread reads it.
extern std::atomic<bool> bv2_screen_on;

// The service object of the last attach or detach; null before the first. Written on the notify
// thread, without the lock; any thread reads it.
extern std::atomic<Bivista*> sDisplayService;

// Whether the platform's accessory service says that the cover is attached; false when none is
// declared. Waits for the service while it is declared and not up, and for its answer. Any thread.
bool bv2connected();

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
