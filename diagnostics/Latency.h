// How long something took, time after time: a histogram.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Durations in microseconds. Exact below 16; above, a percentile is given as the longest duration
// of its bucket, at most an eighth too long, and never longer than the maximum. Durations of 2^32
// and more (71 minutes) share the last bucket. One thread at a time; allocates nothing.
class Latency {
  public:
    struct Summary {
        uint64_t count = 0;
        uint64_t p50 = 0;  // half of the durations are no longer; 0 without any
        uint64_t p99 = 0;
        uint64_t max = 0;  // exact
    };

    void add(uint64_t micros);
    // All durations of another one.
    void add(const Latency& other);
    uint64_t count() const { return mCount; }
    Summary summary() const;

  private:
    static constexpr size_t kExact = 16;
    // Buckets for each doubling above.
    static constexpr size_t kSteps = 8;
    static constexpr size_t kDoublings = 28;
    static constexpr size_t kBuckets = kExact + kSteps * kDoublings;

    uint64_t percentile(uint64_t percent) const;
    static size_t bucketOf(uint64_t micros);
    static uint64_t longestOf(size_t bucket);

    std::array<uint32_t, kBuckets> mBuckets = {};
    uint64_t mCount = 0;
    uint64_t mMax = 0;
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
