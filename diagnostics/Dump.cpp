// The service's debug dump: what it knows at this moment, and what it has counted.
//
// Every lock is held for a copy and no longer, and none that another thread may hold for long is
// waited for: the dump is there to tell of such a thread. A reset takes the counters as it reads
// them, so that what is counted meanwhile is in this dump or in the next, and in one alone.

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "diagnostics/DumpOptions.h"
#include "diagnostics/DumpOutput.h"
#include "diagnostics/DumpText.h"
#include "diagnostics/Statistics.h"
#include "diagnostics/ThreadList.h"
#include "display/Brightness.h"
#include "display/BrightnessOffset.h"
#include "display/Color.h"
#include "display/Power.h"
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

uint64_t take(std::atomic<uint64_t>& counter, bool reset) {
    return reset ? counter.exchange(0) : counter.load();
}

struct BrightnessState {
    int32_t value;
    size_t queued;
    size_t highWater;
    int32_t offsetSteps;
    bool offsetBypass;
};

BrightnessState copyBrightness(bool reset) EXCLUDES(display_lock) {
    const MutexLock lock(display_lock, kFunction);
    const size_t queued = br_arr.size();
    const size_t highWater = std::max(br_high_water, queued);
    // What waits now is not forgotten.
    br_high_water = reset ? queued : highWater;
    return {brightness_value, queued, highWater, br_offset_count, br_offset_bypass};
}

DumpRow describeBrightness(bool reset) {
    const BrightnessState state = copyBrightness(reset);
    return DumpRow()
            .number("value", state.value)
            .number("queued", state.queued)
            .number("highWater", state.highWater)
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

DumpRow describeCommand(const std::string& name, const CommandStatistics& command) {
    const Latency::Summary latency = command.latency.summary();
    return DumpRow()
            .text("name", name)
            .number("count", latency.count)
            .number("failures", command.failures)
            .number("timeouts", command.timeouts)
            .number("p50us", latency.p50)
            .number("p99us", latency.p99)
            .number("maxus", latency.max);
}

uint64_t secondsSince(uint64_t micros) {
    return (monotonicMicros() - micros) / 1'000'000;
}

DumpRow describeOrder() {
    DumpRow row;
    row.number("orders", sStatistics.orders.load());
    const auto order = sStatistics.lastOrder.take(false);
    if (!order) return row.unknown("order").unknown("status").unknown("secondsAgo");
    return row.text("order", order->what.name)
            .text("status", order->what.accepted ? "OK" : "FAIL")
            .number("secondsAgo", secondsSince(order->micros));
}

// As the log has it.
const char* causeOf(int error) {
    return error == EPROTONOSUPPORT ? "Command not supported" : strerror(error);
}

DumpRow describeFailure(bool reset) {
    const auto failure = sStatistics.lastFailure.take(reset);
    if (!failure) return DumpRow().unknown("command").unknown("cause").unknown("secondsAgo");
    return DumpRow()
            .text("command", failure->what.name.text())
            .text("cause", causeOf(failure->what.error))
            .number("secondsAgo", secondsSince(failure->micros));
}

void dumpExchanges(DumpText* dump, bool reset) {
    ExchangeStatistics& exchanges = sStatistics.exchanges;
    const std::vector<CommandStatistics> commands = exchanges.gather(reset);
    std::vector<DumpRow> rows;
    CommandStatistics total;
    for (size_t row = 0; row < commands.size(); ++row) {
        // Not sent since the last reset, or no row of a name yet.
        if (commands[row].latency.count() == 0) continue;
        rows.push_back(describeCommand(exchanges.nameOf(row), commands[row]));
        total.add(commands[row]);
    }
    dump->add("at", DumpRow()
                            .number("exchanges", total.latency.count())
                            .number("failures", total.failures)
                            .number("timeouts", total.timeouts)
                            .number("refused", take(sStatistics.refused, reset))
                            .number("recoveries", take(sStatistics.recoveries, reset)));
    dump->add("lastFailure", describeFailure(reset));
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
                             .flag("loader", mLoaderAttached)
                             .flag("watched", mUsbWatches.mInotifyFd != -1)
                             .number("votes", mAutoSuspendVotes.mUsbAutoSuspendDisableVote.load()));
    dump->add("serial", DumpRow()
                                .flag("attached", mSerialLink.isAttached())
                                .text("path", textOf(mSerialLink.mSerialDevicePath))
                                .flag("logAsked", mSerialLog.isEnabled())
                                .flag("logRunning", mSerialLog.isRunning()));
}

void Bivista::dumpSubDisplay(DumpText* dump, bool reset) {
    const SubScreenInfo info = subScreenInfo();
    DumpRow row;
    row.flag("attached", mHidLink.isAttached()).text("path", textOf(mHidLink.mHidDevicePath));
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
    dump.add("upgrade", describeOrder());
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
