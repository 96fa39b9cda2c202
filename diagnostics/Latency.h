// How long something took, time after time: a histogram of microseconds.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

class Latency {
  public:
    void add(uint64_t micros);

    uint64_t count() const { return mCount; }
    // Exact.
    uint64_t max() const { return mMax; }
    // The longest of the shortest `percent` of all durations; 0 without any. Exact below 16; above,
    // at most an eighth too long, and never above the maximum.
    uint64_t percentile(uint64_t percent) const;

  private:
    // A bucket for each number below 16, then eight for each doubling up to 2^32 (71 minutes).
    // Longer durations share the last bucket.
    std::array<uint32_t, 16 + 8 * 28> mBuckets = {};
    uint64_t mCount = 0;
    uint64_t mMax = 0;
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
