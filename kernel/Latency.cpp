#include "kernel/Latency.h"

#include <algorithm>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr unsigned kExactBits = 4;
constexpr unsigned kStepBits = 3;

// The smallest duration that at least `percent` of `count` do not exceed is this one in order.
uint64_t rankOf(uint64_t count, uint64_t percent) {
    return (count * percent + 99) / 100;
}

}  // namespace

size_t Latency::bucketOf(uint64_t micros) {
    if (micros < kExact) return micros;
    if (micros > UINT32_MAX) return kBuckets - 1;
    const unsigned top = 63 - static_cast<unsigned>(__builtin_clzll(micros));
    const size_t step = (micros >> (top - kStepBits)) % kSteps;
    return kExact + (top - kExactBits) * kSteps + step;
}

uint64_t Latency::longestOf(size_t bucket) {
    if (bucket < kExact) return bucket;
    const size_t doubling = (bucket - kExact) / kSteps;
    const uint64_t step = (bucket - kExact) % kSteps;
    const size_t width = kExactBits + doubling - kStepBits;
    return ((kSteps + step + 1) << width) - 1;
}

void Latency::add(uint64_t micros) {
    raiseTo(mMax, micros);
    mBuckets[bucketOf(micros)].fetch_add(1, std::memory_order_relaxed);
}

Latency::Summary Latency::summary() const {
    Counts counts = {};
    for (size_t i = 0; i < kBuckets; ++i) counts[i] = mBuckets[i].load(std::memory_order_relaxed);
    return summarise(counts, mMax.load(std::memory_order_relaxed));
}

Latency::Summary Latency::take() {
    Counts counts = {};
    for (size_t i = 0; i < kBuckets; ++i) {
        counts[i] = mBuckets[i].exchange(0, std::memory_order_relaxed);
    }
    return summarise(counts, mMax.exchange(0, std::memory_order_relaxed));
}

Latency::Summary Latency::summarise(const Counts& counts, uint64_t max) {
    Summary summary;
    summary.max = max;
    for (const uint32_t count : counts) summary.count += count;
    const auto percentile = [&](uint64_t percent) {
        const uint64_t rank = rankOf(summary.count, percent);
        if (rank == 0) return uint64_t{0};
        uint64_t passed = 0;
        size_t bucket = 0;
        while (bucket < kBuckets - 1 && (passed += counts[bucket]) < rank) ++bucket;
        // Nothing bounds the last bucket but the maximum.
        if (bucket == kBuckets - 1) return max;
        return std::min(longestOf(bucket), max);
    };
    summary.p50 = percentile(50);
    summary.p99 = percentile(99);
    return summary;
}

void raiseTo(std::atomic<uint64_t>& highest, uint64_t value) {
    uint64_t known = highest.load(std::memory_order_relaxed);
    while (known < value &&
           !highest.compare_exchange_weak(known, value, std::memory_order_relaxed)) {
    }
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
