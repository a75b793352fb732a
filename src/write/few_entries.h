// The nearest of at most sixteen palette entries, for eight colours at once, by looking at every
// entry: quick from the question to the answer, without a table.
#pragma once

#include <cstdint>

#include "write/lanes.h"
#include "write/rows.h"

namespace tivar {

constexpr uint32_t kFewEntries = 16;

#ifdef TIVAR_SSE2
// An entry's key for a colour is 16 times its squared distance, less what all entries have in
// common, with its index in the lowest bits: the least key is the nearest entry's, the first of
// several. Each number stands four times, for as many colours.
struct WeighedEntry {
    int16_t redGreen[8];  // one after the other, times -32
    int16_t blue[8];      // and zeros between
    int32_t bias[4];      // 16 times the squares' sum, the index, and kKeyBase
};

// Keys are positive, and normal numbers when they are compared as floats: SSE2 finds the least of
// those quickest.
constexpr int32_t kKeyBase = 0x40000000;
constexpr int32_t kNoKey = 0x7F000000;

struct FewEntries {
    uint32_t count;  // even: there may be none behind the last
    WeighedEntry at[kFewEntries];
};

inline void weighEntries(const ColorTable& table, FewEntries& few) {
    few.count = table.count + table.count % 2;
    few.at[few.count - 1] = {};
    for (int32_t& bias : few.at[few.count - 1].bias) bias = kNoKey;
    for (uint32_t i = 0; i < table.count; ++i) {
        const int red = table.entries[i][0];
        const int green = table.entries[i][1];
        const int blue = table.entries[i][2];
        WeighedEntry& entry = few.at[i];
        for (uint32_t color = 0; color < 4; ++color) {
            entry.redGreen[2 * color] = static_cast<int16_t>(-32 * red);
            entry.redGreen[2 * color + 1] = static_cast<int16_t>(-32 * green);
            entry.blue[2 * color] = static_cast<int16_t>(-32 * blue);
            entry.blue[2 * color + 1] = 0;
            entry.bias[color] =
                16 * (red * red + green * green + blue * blue) + static_cast<int32_t>(i) + kKeyBase;
        }
    }
}

inline __m128i lesserKeys(__m128i a, __m128i b) {
    return _mm_castps_si128(_mm_min_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b)));
}

inline __m128i keysOf(const WeighedEntry& entry, __m128i redGreen, __m128i blue) {
    const __m128i sum = _mm_add_epi32(_mm_madd_epi16(loadLanes(entry.redGreen), redGreen),
                                      _mm_madd_epi16(loadLanes(entry.blue), blue));
    return _mm_add_epi32(sum, loadLanes(entry.bias));
}

// Of four colours. Two entries at a time: each waits for the least of every second one only.
inline __m128i leastKeys(const FewEntries& few, __m128i redGreen, __m128i blue) {
    __m128i even = _mm_set1_epi32(kNoKey);
    __m128i odd = even;
    for (uint32_t i = 0; i < few.count; i += 2) {
        even = lesserKeys(even, keysOf(few.at[i], redGreen, blue));
        odd = lesserKeys(odd, keysOf(few.at[i + 1], redGreen, blue));
    }
    return lesserKeys(even, odd);
}

// The indices for eight colours, whose channels stand in a vector each: a byte each, the first
// one's lowest.
inline uint64_t nearestOfFew(const FewEntries& few, const __m128i (&color)[3]) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i lower =
        leastKeys(few, _mm_unpacklo_epi16(color[0], color[1]), _mm_unpacklo_epi16(color[2], zero));
    const __m128i upper =
        leastKeys(few, _mm_unpackhi_epi16(color[0], color[1]), _mm_unpackhi_epi16(color[2], zero));
    const __m128i indexBits = _mm_set1_epi32(kFewEntries - 1);
    return lowBytes(
        _mm_packs_epi32(_mm_and_si128(lower, indexBits), _mm_and_si128(upper, indexBits)));
}
#endif

}  // namespace tivar
