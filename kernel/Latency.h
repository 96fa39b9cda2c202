// How long something took, time after time: a histogram that threads fill while others read it.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Durations in microseconds. Exact below 16; above, a percentile is given as the longest duration
// of its bucket, at most an eighth too long, and never longer than the maximum. Durations of 2^32
// and more (71 minutes) share the last bucket. Any thread; takes no lock and allocates nothing.
class Latency {
  public:
    struct Summary {
        uint64_t count = 0;
        uint64_t p50 = 0;  // half of the durations are no longer; 0 without any
        uint64_t p99 = 0;
        uint64_t max = 0;  // exact
    };

    void add(uint64_t micros);
    Summary summary() const;
    // The same, and forgets what is in it. A duration that another thread adds meanwhile is in this
    // summary or in the next; only its being the longest may be told too early.
    Summary take();

  private:
    static constexpr size_t kExact = 16;
    // Buckets for each doubling above.
    static constexpr size_t kSteps = 8;
    static constexpr size_t kDoublings = 28;
    static constexpr size_t kBuckets = kExact + kSteps * kDoublings;

    using Counts = std::array<uint32_t, kBuckets>;

    static Summary summarise(const Counts& counts, uint64_t max);
    static size_t bucketOf(uint64_t micros);
    static uint64_t longestOf(size_t bucket);

    std::array<std::atomic<uint32_t>, kBuckets> mBuckets = {};
    std::atomic<uint64_t> mMax = 0;
};

// Raises `highest` to `value` if that is more.
void raiseTo(std::atomic<uint64_t>& highest, uint64_t value);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
