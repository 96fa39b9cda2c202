#include "kernel/Statistics.h"

#include <algorithm>
#include <cstring>
#include <ctime>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

Statistics sStatistics;

namespace {

char capital(char letter) {
    return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

}  // namespace

CommandName::CommandName(const char* cmd)
    : mLength(static_cast<uint8_t>(std::min(strcspn(cmd, "=\r"), mText.size()))) {
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
    mRows[rowOf(CommandName(cmd))].count(micros, failed, timedOut);
}

uint64_t monotonicMicros() {
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<uint64_t>(time.tv_sec) * 1'000'000 +
           static_cast<uint64_t>(time.tv_nsec) / 1'000;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
