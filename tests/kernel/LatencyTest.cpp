// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The histogram of durations: what it keeps, and how far its percentiles may be off.
#include "diagnostics/Latency.h"

#include <vector>

#include <gtest/gtest.h>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

struct Summary {
    uint64_t count, p50, p99, max;
};

struct Given {
    const char* what;
    std::vector<uint64_t> durations;
    Summary expected;
};

void PrintTo(const Given& given, std::ostream* out) {
    *out << given.what;
}

std::vector<uint64_t> upTo(uint64_t last) {
    std::vector<uint64_t> all;
    for (uint64_t i = 1; i <= last; ++i) all.push_back(i);
    return all;
}

std::vector<uint64_t> with(std::vector<uint64_t> durations, uint64_t more) {
    durations.push_back(more);
    return durations;
}

class LatencyTest : public testing::TestWithParam<Given> {};

TEST_P(LatencyTest, IsSummedUp) {
    Latency latency;
    for (const uint64_t duration : GetParam().durations) latency.add(duration);
    const Summary& expected = GetParam().expected;
    EXPECT_EQ(latency.count(), expected.count);
    EXPECT_EQ(latency.percentile(50), expected.p50);
    EXPECT_EQ(latency.percentile(99), expected.p99);
    EXPECT_EQ(latency.max(), expected.max);
}

INSTANTIATE_TEST_SUITE_P(
        All, LatencyTest,
        testing::Values(
                Given{"none", {}, {0, 0, 0, 0}}, Given{"nothing at all", {0}, {1, 0, 0, 0}},
                Given{"one", {7}, {1, 7, 7, 7}},
                Given{"one that is not exact is its own maximum", {1000}, {1, 1000, 1000, 1000}},
                Given{"the lower one of two", {3, 9}, {2, 3, 9, 9}},
                Given{"the last exact one", {15, 15, 900}, {3, 15, 900, 900}},
                // 16 and 17 share a bucket.
                Given{"the first one that is not exact", {16, 16, 900}, {3, 17, 900, 900}},
                Given{"the longest of its bucket", {1024, 1024, 5000}, {3, 1151, 5000, 5000}},
                Given{"the end of its bucket", {1151, 1151, 5000}, {3, 1151, 5000, 5000}},
                Given{"the next bucket", {1152, 1152, 5000}, {3, 1279, 5000, 5000}},
                Given{"one in a hundred is beyond",
                      with(std::vector<uint64_t>(99, 5), 1'000'000),
                      {100, 5, 5, 1'000'000}},
                Given{"two in a hundred are not",
                      with(with(std::vector<uint64_t>(98, 5), 1'000'000), 1'000'000),
                      {100, 5, 1'000'000, 1'000'000}},
                // 500 lies in 480..511, 990 in 960..1023.
                Given{"a thousand", upTo(1000), {1000, 511, 1000, 1000}},
                Given{"the longest that has a bucket",
                      {UINT32_MAX},
                      {1, UINT32_MAX, UINT32_MAX, UINT32_MAX}},
                Given{"longer", {1ull << 32}, {1, 1ull << 32, 1ull << 32, 1ull << 32}},
                Given{"much longer", {5, UINT64_MAX}, {2, 5, UINT64_MAX, UINT64_MAX}}));

TEST(LatencyBound, OfAPercentileIsAnEighth) {
    for (uint64_t duration = 0; duration < (1ull << 33); duration += 1 + duration / 37) {
        Latency latency;
        latency.add(duration);
        latency.add(duration);
        latency.add(UINT64_MAX);
        const uint64_t p50 = latency.percentile(50);
        EXPECT_GE(p50, duration);
        // All from 2^32 - 2^29 on may share the last bucket, which only the maximum bounds.
        if (duration < 0xF0000000) EXPECT_LE(p50 - duration, duration / 8) << duration;
    }
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
