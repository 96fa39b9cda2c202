// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// From setBrightness, which only queues, to the worker that sends level by level.

#include "display/Brightness.h"

#include <algorithm>
#include <string>

#include "diagnostics/Statistics.h"
#include "kernel/Bivista.h"
#include "kernel/base/ThreadName.h"
#include "kernel/serial/AtQuery.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr size_t kQueueCapacity = 20;
constexpr uint32_t kLevels = 256;

// Signalled once for each level pushed.
pthread_cond_t br_cond = PTHREAD_COND_INITIALIZER;

}  // namespace

// Meant: quirk queue-emptied-once.
std::vector<int32_t>& br_arr = *new std::vector<int32_t>(kQueueCapacity, 0);
size_t br_high_water = 0;
int32_t brightness_value = 0;
std::atomic<int32_t> br_offset = 0;
int32_t br_offset_count = 0;
bool br_offset_bypass = false;

void forgetBrightness() {
    br_arr.clear();
    brightness_value = 0;
}

Return<Status> Bivista::setBrightness(int32_t value) {
    sStatistics.record(EventKind::kSetting, "brightness", {value});
    const MutexLock lock(display_lock, __func__);
    if (static_cast<uint32_t>(value) >= kLevels) {
        // Answered with OK all the same.
        sStatistics.recordFailure(__func__, "invalid brightness value");
        LOG_ERROR("invalid brightness value:%d, old_value:%d", value, brightness_value);
        return Status::OK;
    }
    brightness_value = value;
    if (br_arr.size() >= kQueueCapacity) br_arr.erase(br_arr.begin());
    br_arr.push_back(value);
    br_high_water = std::max(br_high_water, br_arr.size());
    pthread_cond_signal(&br_cond);
    return Status::OK;
}

namespace {

// Waits for the next level and maps it. False when there is none: the queue was emptied between the
// signal and the wake-up.
bool takeLevel(int32_t* level) EXCLUDES(display_lock) {
    static constexpr char kFunction[] = "BrightnessThread";
    const MutexLock lock(display_lock, kFunction);
    if (br_arr.empty()) {
        LOG_INFO("%s: br_arr empty. wait signal, set br_offset_count 0", kFunction);
        br_offset_count = 0;
        // Meant: quirk one-wait.
        display_lock.wait(&br_cond);
        if (br_arr.empty()) return false;
    }
    *level = br_arr.front();
    br_arr.erase(br_arr.begin());
    // Meant: the latest brightness is mapped, not the level taken, so a new offset re-sends it.
    if (br_offset != 0 && brightness_value != 0) *level = br_to_offset_br(brightness_value, 0);
    return true;
}

void sendLevel(Bivista& service, int32_t level, AtQuery<>* query) {
    const std::string command = "AT%DB=" + std::to_string(level) + "\r";
    if (query->send(service, command.c_str()) >= 0) return;
    LOG_ERROR("%s: failed to serial AtCmd: %s, ret: %d", "BrightnessThread", query->text(),
              query->result());
}

}  // namespace

void* BrightnessThread(void* service) {
    nameThread("brightness");
    Bivista& self = *static_cast<Bivista*>(service);
    // Meant: quirk brightness-answer-kept.
    AtQuery<> query;
    for (;;) {
        int32_t level = 0;
        if (takeLevel(&level)) sendLevel(self, level, &query);
    }
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
