#include "diagnostics/Latency.h"

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
    ++mBuckets[bucketOf(micros)];
    ++mCount;
    mMax = std::max(mMax, micros);
}

void Latency::add(const Latency& other) {
    for (size_t i = 0; i < kBuckets; ++i) mBuckets[i] += other.mBuckets[i];
    mCount += other.mCount;
    mMax = std::max(mMax, other.mMax);
}

uint64_t Latency::percentile(uint64_t percent) const {
    const uint64_t rank = rankOf(mCount, percent);
    if (rank == 0) return 0;
    uint64_t passed = 0;
    size_t bucket = 0;
    while (bucket < kBuckets - 1 && (passed += mBuckets[bucket]) < rank) ++bucket;
    // Nothing bounds the last bucket but the maximum.
    return bucket == kBuckets - 1 ? mMax : std::min(longestOf(bucket), mMax);
}

Latency::Summary Latency::summary() const {
    return {mCount, percentile(50), percentile(99), mMax};
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
