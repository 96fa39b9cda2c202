#include "sub_display/PackFrame.h"

#include <cstring>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

// Vector types of g++ and clang, which any machine's vector unit serves; compilers do not find the
// shuffles below in loops over single bytes.
using Words = uint32_t __attribute__((vector_size(32)));
using Pairs = uint64_t __attribute__((vector_size(32)));
using HalfPairs = uint64_t __attribute__((vector_size(16)));
using Bytes = uint8_t __attribute__((vector_size(16)));

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the first word of a pair is its low one");

constexpr uint32_t kGrey = 0xF0;
constexpr size_t kBlock = 32;

// Adds eight words, one a lane, below what is there.
inline void append(const uint32_t* words, Words* lanes) {
    Words grey;
    memcpy(&grey, words, sizeof(grey));
    *lanes = *lanes << 8 | (grey & kGrey);
}

// Sixteen pairs: afterwards pair 4 * k + lane is byte 3 - k of a lane, with rubbish above byte 3.
inline void fold(const uint32_t* words, Pairs* folded) {
    Words lanes = {};
    append(words, &lanes);
    append(words + 8, &lanes);
    append(words + 16, &lanes);
    append(words + 24, &lanes);
    const Pairs pairs = reinterpret_cast<Pairs>(lanes);
    *folded = pairs | pairs >> 36;
}

// One byte of each in turn.
inline void weave(Bytes a, Bytes b, Bytes* lower, Bytes* upper) {
    *lower = __builtin_shufflevector(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
    *upper = __builtin_shufflevector(a, b, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15,
                                     31);
}

// The second sixteen pairs go in the upper halves of the lanes. Two rounds of weaving, the later
// lanes first, then put all the bytes in their places.
inline void packBlock(const uint32_t* words, uint8_t* area) {
    Pairs first, second;
    fold(words, &first);
    fold(words + kBlock, &second);
    const Pairs lanes = (first & 0xFFFFFFFF) | second << 32;
    const HalfPairs lanes01 = __builtin_shufflevector(lanes, lanes, 0, 1);
    const HalfPairs lanes23 = __builtin_shufflevector(lanes, lanes, 2, 3);
    Bytes lanes20, lanes31;
    weave(reinterpret_cast<Bytes>(lanes23), reinterpret_cast<Bytes>(lanes01), &lanes20, &lanes31);
    Bytes firstBytes, secondBytes;
    weave(lanes31, lanes20, &firstBytes, &secondBytes);
    memcpy(area, &secondBytes, sizeof(secondBytes));
    memcpy(area + sizeof(secondBytes), &firstBytes, sizeof(firstBytes));
}

}  // namespace

void packFrame(const uint32_t* words, size_t pairs, uint8_t* area) {
    size_t left = pairs;
    for (; left >= kBlock; left -= kBlock, words += 2 * kBlock) {
        packBlock(words, area + left - kBlock);
    }
    for (; left > 0; --left, words += 2) {
        area[left - 1] = static_cast<uint8_t>((words[0] & kGrey) | (words[1] & kGrey) >> 4);
    }
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
