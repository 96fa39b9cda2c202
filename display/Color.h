// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover screen's colour settings: what clients asked for, and what the panel is known to hold.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "display/Display.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// A group's values and, as its last element, the flag that it waits to be sent. Any thread.
template <size_t kSize>
class ColorGroup {
  public:
    static constexpr size_t kValues = kSize - 1;

    explicit ColorGroup(const int32_t (&fresh)[kSize]) { copy(fresh); }
    ColorGroup(const ColorGroup&) = delete;
    ColorGroup& operator=(const ColorGroup&) = delete;

    // Element by element, the flag included.
    template <typename From>
    void copy(const From& from) {
        for (size_t i = 0; i < kSize; ++i) mElements[i].store(from[i]);
    }

    std::atomic<int32_t>& operator[](size_t index) { return mElements[index]; }
    const std::atomic<int32_t>& operator[](size_t index) const { return mElements[index]; }
    std::atomic<int32_t>& waiting() { return mElements[kValues]; }

  private:
    std::atomic<int32_t> mElements[kSize];
};

// What clients asked for; used without display_lock. RGB tuning, screen tuning, and the number of
// the ScreenMode.
extern ColorGroup<5> prgb;
extern ColorGroup<4> screentune;
extern ColorGroup<2> screen_mode;

// What the panel is known to hold; changed under display_lock, compared without.
extern ColorGroup<5> prgb_applied;
extern ColorGroup<4> screentune_applied;
extern ColorGroup<2> screen_mode_applied;

// The screen goes off: the applied copies become the current settings, flags included.
void saveAppliedColor() REQUIRES(display_lock);

// The cover goes: the applied copies become what a fresh panel holds.
void resetAppliedColor() REQUIRES(display_lock);

// Marks the groups that differ from their applied copies as waiting. True when there is one. Takes
// no lock.
bool markChangedColor();

// Sends the waiting groups in the order RGB, tuning, mode. Result of the last send, 0 when nothing
// waited. Takes no lock but the transport's.
int32_t bv2_display_color_control();

// Sends one command. Bytes stored of the answer, or negative. Takes no lock but the transport's.
int32_t bv2_display_color_mode_send(const char* command);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
