#include "diagnostics/Latency.h"

#include <algorithm>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

// The three bits after the highest one choose among the eight buckets of its doubling.
size_t bucketOf(uint64_t micros) {
    if (micros < 16) return micros;
    const uint64_t kept = std::min<uint64_t>(micros, UINT32_MAX);
    const unsigned highest = 63 - static_cast<unsigned>(__builtin_clzll(kept));
    return 16 + (highest - 4) * 8 + (kept >> (highest - 3)) % 8;
}

uint64_t longestOf(size_t bucket) {
    if (bucket < 16) return bucket;
    const size_t doubling = (bucket - 16) / 8;
    return ((8 + (bucket - 16) % 8 + 1) << (doubling + 1)) - 1;
}

}  // namespace

void Latency::add(uint64_t micros) {
    ++mBuckets[bucketOf(micros)];
    ++mCount;
    mMax = std::max(mMax, micros);
}

uint64_t Latency::percentile(uint64_t percent) const {
    const uint64_t rank = (mCount * percent + 99) / 100;
    uint64_t passed = 0;
    for (size_t bucket = 0; bucket < mBuckets.size() - 1; ++bucket) {
        passed += mBuckets[bucket];
        if (passed >= rank) return std::min(longestOf(bucket), mMax);
    }
    // Nothing bounds the last bucket but the maximum.
    return mMax;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
