// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A histogram of durations in microseconds.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

class Latency {
  public:
    void add(uint64_t micros) {
        ++mBuckets[bucketOf(micros)];
        ++mCount;
        mMax = std::max(mMax, micros);
    }

    uint64_t count() const { return mCount; }
    // Exact.
    uint64_t max() const { return mMax; }
    // At least `percent` percent of all durations are no longer than this; 0 when none was added.
    // Exact below 16 us. From there on at most an eighth too long, and never above the maximum.
    uint64_t percentile(uint64_t percent) const {
        const uint64_t rank = (mCount * percent + 99) / 100;
        uint64_t passed = 0;
        for (size_t bucket = 0; bucket < mBuckets.size() - 1; ++bucket) {
            passed += mBuckets[bucket];
            if (passed >= rank) return std::min(longestOf(bucket), mMax);
        }
        // Only the maximum bounds the last bucket.
        return mMax;
    }

  private:
    // The three bits after the highest one choose among the eight buckets of its doubling.
    static size_t bucketOf(uint64_t micros) {
        if (micros < 16) return micros;
        const uint64_t kept = std::min<uint64_t>(micros, UINT32_MAX);
        const unsigned highest = 63 - static_cast<unsigned>(__builtin_clzll(kept));
        return 16 + (highest - 4) * 8 + (kept >> (highest - 3)) % 8;
    }
    static uint64_t longestOf(size_t bucket) {
        if (bucket < 16) return bucket;
        return ((8 + bucket % 8 + 1) << ((bucket - 16) / 8 + 1)) - 1;
    }

    // A bucket for each number below 16, then eight for each doubling up to 2^32 (71 minutes).
    // Longer durations share the last bucket.
    std::array<uint32_t, 16 + 8 * 28> mBuckets = {};
    uint64_t mCount = 0;
    uint64_t mMax = 0;
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
