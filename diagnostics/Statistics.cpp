#include "diagnostics/Statistics.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <string_view>

#include <strings.h>
#include <unistd.h>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

Statistics sStatistics;

thread_local bool UpgradeOrderPause::sIsPaused = false;

namespace {

// Commands that differ in their first argument, as the service sends them.
constexpr std::string_view kWithArgument[] = {
        "AT%TCHDEBUG=DELTA",       "AT%TCHDEBUG=FWVER",       "AT%TCHDEBUG=GPIO_PIN",
        "AT%TCHDEBUG=RAWDATA",     "AT%TCHDEBUG=RESET",       "AT%TCHNOTIFY=FW_UPGRADE",
        "AT%TCHNOTIFY=LPWG_SD",    "AT%TCHNOTIFY=SD",         "AT%TCHNOTIFY=PULL_SD_RESULT",
        "AT%TCHNOTIFY=SWTICH_AES", "AT%TCHNOTIFY=LPWG_NOTIFY"};

constexpr useconds_t kCountingUs = 100;

char capital(char letter) {
    return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

size_t nameLength(const char* cmd) {
    const size_t length = strcspn(cmd, ",\r");
    for (const std::string_view known : kWithArgument) {
        if (known.size() == length && strncasecmp(known.data(), cmd, length) == 0) return length;
    }
    return strcspn(cmd, "=\r");
}

}  // namespace

CommandName::CommandName(const char* cmd)
    : mLength(static_cast<uint8_t>(std::min(nameLength(cmd), mText.size()))) {
    std::transform(cmd, cmd + mLength, mText.begin(), capital);
}

bool CommandName::operator==(const CommandName& other) const {
    return mLength == other.mLength && memcmp(mText.data(), other.mText.data(), mLength) == 0;
}

void CommandStatistics::count(uint64_t micros, bool failed, bool timedOut) {
    latency.add(micros);
    if (failed) ++failures;
    if (timedOut) ++timeouts;
}

void CommandStatistics::add(const CommandStatistics& other) {
    latency.add(other.latency);
    failures += other.failures;
    timeouts += other.timeouts;
}

std::string ExchangeStatistics::nameOf(size_t row) const {
    return row < kNames ? mName[row].text() : kOther;
}

size_t ExchangeStatistics::rowOf(const CommandName& name) {
    const size_t known = mNames.load(std::memory_order_relaxed);
    size_t row = 0;
    while (row < known && !(mName[row] == name)) ++row;
    if (row == known && row < kNames) {
        mName[row] = name;
        mNames.store(row + 1, std::memory_order_release);
    }
    return row;
}

void ExchangeStatistics::count(const char* cmd, uint64_t micros, bool failed, bool timedOut) {
    const size_t row = rowOf(CommandName(cmd));
    const size_t side = mSides.enter();
    mCounted[side][row].count(micros, failed, timedOut);
    mSides.leave(side);
}

std::vector<CommandStatistics> ExchangeStatistics::gather(bool reset) {
    const MutexLock lock(mGatherLock, "debug");
    const size_t side = mSides.turn();
    // Whoever counts waits for nobody, so this is over when its thread has had the processor.
    while (!mSides.isQuiet(side)) usleep(kCountingUs);
    for (size_t row = 0; row < mGathered.size(); ++row) {
        CommandStatistics& counted = mCounted[side][row];
        if (counted.latency.count() == 0) continue;
        mGathered[row].add(counted);
        counted = {};
    }
    std::vector<CommandStatistics> gathered(mGathered.begin(), mGathered.end());
    if (reset) mGathered.fill({});
    return gathered;
}

uint64_t monotonicMicros() {
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<uint64_t>(time.tv_sec) * 1'000'000 +
           static_cast<uint64_t>(time.tv_nsec) / 1'000;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
