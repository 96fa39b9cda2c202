// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Words of a client in, bytes of the panel out.
#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sub_display/PackFrame.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::ElementsAreArray;

std::vector<uint8_t> pack(const std::vector<uint32_t>& words) {
    std::vector<uint8_t> area(words.size() / 2);
    packFrame(words.data(), area.size(), area.data());
    return area;
}

struct Example {
    const char* name;
    std::vector<uint32_t> words;
    std::vector<uint8_t> bytes;
};
class ExampleTest : public testing::TestWithParam<Example> {};

TEST_P(ExampleTest, IsPackedSo) {
    EXPECT_THAT(pack(GetParam().words), ElementsAreArray(GetParam().bytes));
}

INSTANTIATE_TEST_SUITE_P(
        Table, ExampleTest,
        testing::Values(Example{"Nothing", {}, {}}, Example{"FirstIsHigh", {0xF0, 0x10}, {0xF1}},
                        Example{"FirstPairIsLast", {0xF0, 0x10, 0x20, 0x30}, {0x23, 0xF1}},
                        Example{"OtherBitsDoNotCount", {0xFFFFFF0F, 0xFFFFFF0F}, {0x00}},
                        Example{"AllBitsOfTheLevelDo", {0x80, 0x10, 0x40, 0x20}, {0x42, 0x81}},
                        Example{"Noise", {0x12345678, 0x9ABCDEF0}, {0x7F}}),
        [](const auto& info) { return info.param.name; });

// The formula, pixel by pixel.
std::vector<uint8_t> packPlainly(const uint32_t* words, size_t pairs) {
    std::vector<uint8_t> area(pairs);
    for (size_t k = 0; k < pairs; ++k) {
        const uint32_t first = words[2 * k] >> 4 & 0xF;
        const uint32_t second = words[2 * k + 1] >> 4 & 0xF;
        area[pairs - 1 - k] = static_cast<uint8_t>(first << 4 | second);
    }
    return area;
}

class RandomFrameTest : public testing::Test {
  protected:
    // Packs random words, which end with their buffer, into a buffer that ends with the area.
    void compare(size_t pairs, size_t offset) {
        const size_t count = offset + 2 * pairs;
        const auto words = std::make_unique<uint32_t[]>(count);
        std::generate_n(words.get(), count, std::ref(mRandom));
        const auto area = std::make_unique<uint8_t[]>(offset + pairs);
        std::fill_n(area.get(), offset, uint8_t{0xA5});
        packFrame(words.get() + offset, pairs, area.get() + offset);
        const std::vector<uint8_t> expected = packPlainly(words.get() + offset, pairs);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), area.get() + offset))
                << pairs << " pairs at offset " << offset;
        EXPECT_EQ(std::count(area.get(), area.get() + offset, 0xA5),
                  static_cast<std::ptrdiff_t>(offset))
                << "bytes before the area";
    }

  private:
    std::mt19937 mRandom{20210312};
};

TEST_F(RandomFrameTest, AreAsTheFormulaHasThemWhateverTheirSize) {
    for (size_t pairs = 0; pairs <= 300; ++pairs) compare(pairs, 0);
    for (size_t pairs : {8191u, 8192u, 32767u}) compare(pairs, 0);
}

TEST_F(RandomFrameTest, AreAsTheFormulaHasThemWhereverTheyLie) {
    for (size_t offset = 0; offset < 40; ++offset) compare(200 + offset, offset);
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
