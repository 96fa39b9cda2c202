// The service's debug dump: what it knows at this moment, and what it has counted.
//
// Every lock is held for a copy and no longer, and none that another thread may hold for long is
// waited for: the dump is there to tell of such a thread. A reset takes the counters as it reads
// them, so that what is counted meanwhile is in this dump or in the next.

#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "display/Brightness.h"
#include "display/BrightnessOffset.h"
#include "display/Color.h"
#include "display/Power.h"
#include "kernel/Bivista.h"
#include "kernel/DumpOptions.h"
#include "kernel/DumpOutput.h"
#include "kernel/DumpText.h"
#include "kernel/Statistics.h"
#include "kernel/ThreadList.h"
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

uint64_t take(std::atomic<uint64_t>& counter, bool reset) {
    return reset ? counter.exchange(0) : counter.load();
}

struct BrightnessState {
    int32_t value;
    size_t queued;
    int32_t offsetSteps;
    bool offsetBypass;
};

BrightnessState copyBrightness() EXCLUDES(display_lock) {
    const MutexLock lock(display_lock, kFunction);
    return {brightness_value, br_arr.size(), br_offset_count, br_offset_bypass};
}

DumpRow describeBrightness(bool reset) {
    const BrightnessState state = copyBrightness();
    std::atomic<uint64_t>& longest = sStatistics.brightnessHighWater;
    raiseTo(longest, state.queued);
    // What waits now is not forgotten.
    const uint64_t highWater = reset ? longest.exchange(state.queued) : longest.load();
    return DumpRow()
            .number("value", state.value)
            .number("queued", state.queued)
            .number("highWater", highWater)
            .number("offset", br_offset.load())
            .number("offsetSteps", state.offsetSteps)
            .flag("offsetBypass", state.offsetBypass);
}

template <size_t kSize>
std::vector<int64_t> valuesOf(const ColorGroup<kSize>& group) {
    std::vector<int64_t> values;
    for (size_t i = 0; i < group.kValues; ++i) values.push_back(group[i]);
    return values;
}

template <size_t kSize>
DumpRow describeColor(const char* name, const ColorGroup<kSize>& group,
                      const ColorGroup<kSize>& applied) {
    return DumpRow()
            .text("group", name)
            .numbers("values", valuesOf(group))
            .flag("pending", group[group.kValues] != 0)
            .numbers("applied", valuesOf(applied));
}

std::vector<DumpRow> describeColors() {
    return {describeColor("rgb", prgb, prgb_applied),
            describeColor("tune", screentune, screentune_applied),
            describeColor("mode", screen_mode, screen_mode_applied)};
}

const char* nameOf(BufferState state) {
    switch (state) {
        case BUFFER_FREE:
            return "FREE";
        case BUFFER_WRITING:
            return "WRITING";
        case BUFFER_READY:
            return "READY";
        case BUFFER_CONSUMING:
            return "CONSUMING";
    }
    return "?";
}

BufferState copyState(FrameBuffer* buffer) {
    const MutexLock lock(buffer->lock, kFunction);
    return buffer->state;
}

std::vector<DumpRow> describeBuffers() {
    std::vector<DumpRow> rows;
    for (uint8_t index = 0; index < kFrameBuffers; ++index) {
        const BufferState state = copyState(frameBuffer(index));
        rows.push_back(DumpRow().number("index", index).text("state", nameOf(state)));
    }
    return rows;
}

DumpRow describeFrames(bool reset) {
    return DumpRow()
            .number("drawn", take(sStatistics.framesDrawn, reset))
            .number("sent", take(sStatistics.framesSent, reset))
            .number("dropped", take(sStatistics.framesDropped, reset))
            .number("retries", take(sStatistics.frameRetries, reset));
}

struct ExchangeTotals {
    uint64_t exchanges = 0;
    uint64_t failures = 0;
    uint64_t timeouts = 0;
};

// Nothing for a command that was not sent since the last reset.
void describeCommand(const std::string& name, CommandStatistics& command, bool reset,
                     std::vector<DumpRow>* rows, ExchangeTotals* totals) {
    const Latency::Summary latency = reset ? command.latency.take() : command.latency.summary();
    if (latency.count == 0) return;
    const uint64_t failures = take(command.failures, reset);
    const uint64_t timeouts = take(command.timeouts, reset);
    totals->exchanges += latency.count;
    totals->failures += failures;
    totals->timeouts += timeouts;
    rows->push_back(DumpRow()
                            .text("name", name)
                            .number("count", latency.count)
                            .number("failures", failures)
                            .number("timeouts", timeouts)
                            .number("p50us", latency.p50)
                            .number("p99us", latency.p99)
                            .number("maxus", latency.max));
}

void dumpExchanges(DumpText* dump, bool reset) {
    ExchangeStatistics& commands = sStatistics.exchanges;
    const size_t names = commands.names();
    constexpr size_t kShared = ExchangeStatistics::kNames;
    std::vector<DumpRow> rows;
    ExchangeTotals totals;
    for (size_t row = 0; row < names; ++row) {
        describeCommand(commands.nameOf(row), commands[row], reset, &rows, &totals);
    }
    describeCommand(commands.nameOf(kShared), commands[kShared], reset, &rows, &totals);
    dump->add("at", DumpRow()
                            .number("exchanges", totals.exchanges)
                            .number("failures", totals.failures)
                            .number("timeouts", totals.timeouts)
                            .number("refused", take(sStatistics.refused, reset))
                            .number("recoveries", take(sStatistics.recoveries, reset)));
    dump->add("commands", std::move(rows));
}

std::vector<DumpRow> describeThreads() {
    std::vector<DumpRow> rows;
    for (const ThreadEntry& thread : listThreads()) {
        rows.push_back(DumpRow().number("tid", thread.tid).text("name", thread.name));
    }
    return rows;
}

DumpOptions readOptions(const hidl_vec<hidl_string>& options) {
    std::vector<std::string> texts;
    for (const hidl_string& option : options) texts.emplace_back(option.c_str(), option.size());
    return readDumpOptions(texts);
}

}  // namespace

void Bivista::dumpLink(DumpText* dump) const {
    dump->add("usb", DumpRow()
                             .flag("attached", mUsbAttached)
                             .flag("watched", mInotifyFd != -1)
                             .number("votes", mUsbAutoSuspendDisableVote.load()));
    dump->add("serial", DumpRow()
                                .flag("attached", mSerialAttached)
                                .text("path", textOf(mSerialDevicePath))
                                .flag("log", mSerialLogEnabled));
}

void Bivista::dumpSubDisplay(DumpText* dump, bool reset) {
    const SubScreenInfo info = subScreenInfo();
    DumpRow row;
    row.flag("attached", mHidDisplayAttached).text("path", textOf(mHidDevicePath));
    // A client's callback runs under this lock, and may hang.
    if (sub_state_lock.tryLock()) {
        const SubScreenState state = mSubDisplayState;
        sub_state_lock.unlock(kFunction);
        row.text("state", toString(state));
    } else {
        row.unknown("state");
    }
    row.number("width", info.x).number("height", info.y).number("format", info.format);
    dump->add("subDisplay", row.number("lastDrawn", cur_fb.load()));
    dump->add("buffers", describeBuffers());
    dump->add("frames", describeFrames(reset));
}

Return<void> Bivista::debug(const hidl_handle& fd, const hidl_vec<hidl_string>& options) {
    const native_handle_t* const handle = fd.getNativeHandle();
    if (handle == nullptr || handle->numFds < 1) return Void();
    const int output = handle->data[0];
    const DumpOptions asked = readOptions(options);
    if (asked.isWrong) {
        writeDump(output, "Unknown option " + spelled(asked.wrong) + "; --help lists them.\n");
        return Void();
    }
    if (asked.help) {
        writeDump(output, kDumpHelp);
        return Void();
    }
    DumpText dump;
    dumpLink(&dump);
    dump.add("display",
             DumpRow().flag("initialized", bv2_initialized).flag("screenOn", bv2_screen_on));
    dump.add("brightness", describeBrightness(asked.reset));
    dump.add("colour", describeColors());
    dumpSubDisplay(&dump, asked.reset);
    dumpExchanges(&dump, asked.reset);
    dump.add("threads", describeThreads());
    writeDump(output, asked.json ? dump.json() : dump.words());
    return Void();
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
