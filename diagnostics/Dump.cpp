// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The service's debug dump: its state at this moment, its counts, or its last events.
//
// The dump holds each lock for a copy and no longer. It waits for no lock that another thread may
// hold for long, since people read the dump to find such a thread.

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <dirent.h>

#include "diagnostics/DumpHistory.h"
#include "diagnostics/DumpOptions.h"
#include "diagnostics/DumpOutput.h"
#include "diagnostics/DumpText.h"
#include "diagnostics/Statistics.h"
#include "display/Brightness.h"
#include "display/Color.h"
#include "display/Display.h"
#include "kernel/Bivista.h"
#include "sub_display/FrameBuffer.h"
#include "sub_display/SubDisplay.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr char kFunction[] = "debug";

std::string textOf(const DevicePath& path) {
    char text[DevicePath::kCapacity];
    path.copyTo(text);
    return text;
}

uint64_t secondsSince(uint64_t micros) {
    return (monotonicMicros() - micros) / 1'000'000;
}

DumpRow describeOrder(const Counts& counts) {
    const auto& order = counts.lastOrder;
    const char* const status = order && order->accepted ? "OK" : "FAIL";
    return {{"orders", counts.orders},
            {"order", order ? DumpValue(order->name) : nullptr},
            {"status", order ? DumpValue(status) : nullptr},
            {"secondsAgo", order ? DumpValue(secondsSince(order->micros)) : nullptr}};
}

DumpRow describeBrightness(bool reset) {
    const MutexLock lock(display_lock, kFunction);
    const size_t queued = br_arr.size();
    const size_t highWater = std::max(br_high_water, queued);
    // A reset keeps the levels that wait now.
    br_high_water = reset ? queued : highWater;
    return {{"value", brightness_value},      {"queued", queued},
            {"highWater", highWater},         {"offset", br_offset.load()},
            {"offsetSteps", br_offset_count}, {"offsetBypass", br_offset_bypass}};
}

template <size_t kSize>
DumpRow describeColor(const char* name, const ColorGroup<kSize>& group,
                      const ColorGroup<kSize>& applied) {
    std::vector<int64_t> asked, held;
    for (size_t i = 0; i < group.kValues; ++i) {
        asked.push_back(group[i]);
        held.push_back(applied[i]);
    }
    const bool isPending = group[group.kValues] != 0;
    return {{"group", name}, {"values", asked}, {"pending", isPending}, {"applied", held}};
}

std::vector<DumpRow> describeBuffers() {
    static constexpr const char* kStates[] = {"", "FREE", "WRITING", "READY", "CONSUMING"};
    std::vector<DumpRow> rows;
    for (uint8_t index = 0; index < kFrameBuffers; ++index) {
        FrameBuffer* const buffer = frameBuffer(index);
        const MutexLock lock(buffer->lock, kFunction);
        rows.push_back({{"index", index}, {"state", kStates[buffer->state]}});
    }
    return rows;
}

DumpRow describeExchanges(const Counts& counts) {
    uint64_t exchanges = 0, failures = 0, timeouts = 0;
    for (const CommandCounts& command : counts.commands) {
        exchanges += command.latency.count();
        failures += command.failures;
        timeouts += command.timeouts;
    }
    return {{"exchanges", exchanges},
            {"failures", failures},
            {"timeouts", timeouts},
            {"refused", counts.refused},
            {"recoveries", counts.recoveries}};
}

DumpRow describeFailure(const Counts& counts) {
    const auto& failure = counts.lastFailure;
    return {{"command", failure ? DumpValue(failure->name) : nullptr},
            {"cause", failure ? DumpValue(textOf(Cause::ofError(failure->error))) : nullptr},
            {"secondsAgo", failure ? DumpValue(secondsSince(failure->micros)) : nullptr}};
}

std::vector<DumpRow> describeCommands(const Counts& counts) {
    std::vector<DumpRow> rows;
    for (const CommandCounts& command : counts.commands) {
        const Latency& latency = command.latency;
        if (latency.count() == 0) continue;
        rows.push_back({{"name", command.name},
                        {"count", latency.count()},
                        {"failures", command.failures},
                        {"timeouts", command.timeouts},
                        {"p50us", latency.percentile(50)},
                        {"p99us", latency.percentile(99)},
                        {"maxus", latency.max()}});
    }
    return rows;
}

// The threads of this process, by their ids. A thread that ends meanwhile is left out.
std::vector<DumpRow> describeThreads() {
    constexpr char kTasks[] = "/proc/self/task/";
    std::map<int, std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> tasks(opendir(kTasks), closedir);
    while (const dirent* const entry = tasks == nullptr ? nullptr : readdir(tasks.get())) {
        const int tid = atoi(entry->d_name);
        std::ifstream file(std::string(kTasks) + entry->d_name + "/comm");
        std::string name;
        // The parent folder holds a name, too.
        if (tid > 0 && std::getline(file, name)) names[tid] = name;
    }
    std::vector<DumpRow> rows;
    for (const auto& [tid, name] : names) rows.push_back({{"tid", tid}, {"name", name}});
    return rows;
}

DumpRow describeSubDisplay(SubDisplay& display, const HidLink& link) {
    DumpValue state = nullptr;
    // A client's callback runs under this lock, and may hang.
    if (display.sub_state_lock.tryLock()) {
        state = toString(display.state);
        display.sub_state_lock.unlock(kFunction);
    }
    const SubScreenInfo panel = display.copyPanel();
    return {{"attached", link.isAttached()},
            {"path", textOf(link.mHidDevicePath)},
            {"state", state},
            {"width", panel.x},
            {"height", panel.y},
            {"format", panel.format},
            {"lastDrawn", cur_fb.load()}};
}

}  // namespace

void Bivista::describeState(bool reset, DumpText* dump) {
    const Counts counts = sStatistics.take(reset);
    dump->add("usb", {{"attached", mUsbAttached.load()},
                      {"loader", mLoaderAttached.load()},
                      {"watched", mUsbWatches.mInotifyFd != -1},
                      {"votes", mAutoSuspendVotes.mUsbAutoSuspendDisableVote.load()}});
    dump->add("serial", {{"attached", mSerialLink.isAttached()},
                         {"path", textOf(mSerialLink.mSerialDevicePath)},
                         {"logAsked", mSerialLog.isEnabled()},
                         {"logRunning", mSerialLog.isRunning()}});
    dump->add("upgrade", describeOrder(counts));
    dump->add("display",
              {{"initialized", bv2_initialized.load()}, {"screenOn", bv2_screen_on.load()}});
    dump->add("brightness", describeBrightness(reset));
    dump->addList("colour", {describeColor("rgb", prgb, prgb_applied),
                             describeColor("tune", screentune, screentune_applied),
                             describeColor("mode", screen_mode, screen_mode_applied)});
    dump->add("subDisplay", describeSubDisplay(*mSubDisplay, mHidLink));
    dump->addList("buffers", describeBuffers());
    dump->add("frames", {{"drawn", counts.framesDrawn},
                         {"sent", counts.framesSent},
                         {"dropped", counts.framesDropped},
                         {"retries", counts.frameRetries}});
    dump->add("at", describeExchanges(counts));
    dump->add("lastFailure", describeFailure(counts));
    dump->addList("commands", describeCommands(counts));
    dump->addList("threads", describeThreads());
}

Return<void> Bivista::debug(const hidl_handle& fd, const hidl_vec<hidl_string>& options) {
    const native_handle_t* const handle = fd.getNativeHandle();
    if (handle == nullptr || handle->numFds < 1) return Void();
    const int output = handle->data[0];
    const DumpOptions asked = readOptions(options);
    if (!asked.answer.empty()) {
        writeDump(output, asked.answer);
        return Void();
    }
    DumpText dump(asked.json);
    describeService(&dump);
    if (asked.events) {
        describeEvents(asked.since, &dump);
    } else {
        describeState(asked.reset, &dump);
    }
    writeDump(output, dump.text());
    return Void();
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
