// The search of nearest.h for a colour in lanes, with the table in lanes beside it.
#pragma once

#include "color/grey.h"
#include "color/lanes.h"
#include "color/nearest.h"

#if TIVAR_SIMD

namespace tivar {

inline bool isGreyQuery(LaneColor color) {
    const Lanes lanes = join(color, 0);
    const Lanes apart = lanes - __builtin_shufflevector(lanes, lanes, 1, 2, 0, 3, 4, 5, 6, 7);
    return part((apart > kGreyTolerance) | (apart < -kGreyTolerance))[0] == 0;
}

// Of small cells: the upper six bits of each lane, which a product brings side by side.
inline uint32_t smallCellOf(LaneColor color) {
    static_assert(NearestFinder::kSmallSideBits == 2);
    constexpr LaneColor kSixBitsEach = 0x003F003F003F;
    constexpr LaneColor kGather = LaneColor{1} << 44 | LaneColor{1} << 22 | 1;
    const LaneColor intervals = color >> NearestFinder::kSmallSideBits & kSixBitsEach;
    return static_cast<uint32_t>(intervals * kGather >> 32) & 0x3FFFF;
}

inline uint32_t nearerOfTwo(uint32_t word, LaneColor color, const LaneColor* entries) {
    typedef uint16_t Squares __attribute__((vector_size(16)));
    typedef uint32_t Pairs __attribute__((vector_size(16)));
    const uint32_t lower = NearestFinder::lowerOf(word);
    const uint32_t upper = NearestFinder::upperOf(word);
    const Lanes apart = join(entries[lower], entries[upper]) - join(color, color);
    // 255 squared fits a lane.
    const auto squares = reinterpret_cast<Squares>(apart) * reinterpret_cast<Squares>(apart);
    const auto pairs = reinterpret_cast<Pairs>(squares);
    const Pairs halves = (pairs & 0xFFFF) + (pairs >> 16);
    const Pairs distances = halves + __builtin_shufflevector(halves, halves, 1, 0, 3, 2);
    // Signed, which compilers choose by without a branch, one that would be mispredicted too often.
    const auto toLower = static_cast<int32_t>(distances[0]);
    const auto toUpper = static_cast<int32_t>(distances[2]);
    return toUpper < toLower ? upper : lower;
}

// The same as NearestFinder::find.
inline uint32_t findNearest(NearestFinder& finder, LaneColor color, const LaneColor* entries) {
    const auto red = static_cast<uint8_t>(color);
    const auto green = static_cast<uint8_t>(color >> 16);
    const auto blue = static_cast<uint8_t>(color >> 32);
    // Where a colour does not fit a register, its components are as quick.
    constexpr bool kFitsRegister = sizeof(LaneColor) <= sizeof(void*);
    if (!kFitsRegister || !finder.hasSmallCells()) return finder.find(red, green, blue);
    const uint32_t word = finder.wordOf(smallCellOf(color), isGreyQuery(color));
    if (NearestFinder::isOneOfTwo(word)) return nearerOfTwo(word, color, entries);
    return finder.searchWord(word, red, green, blue);
}

}  // namespace tivar

#endif
