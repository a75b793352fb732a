// The search of nearest.h in a table of up to 16 entries: all of them are weighed at once. For
// processors that find the least of eight numbers in one instruction.
#pragma once

#include "base/processor.h"
#include "color/grey.h"
#include "color/lanes.h"

#if TIVAR_HAS_V3

#include <immintrin.h>

namespace tivar {

struct FewEntries {
    static constexpr int kMost = 16;

    FewEntries(const uint8_t* table, int count) {
        for (int i = 0; i < kMost; ++i) {
            const uint8_t* entry = table + size_t{3} * static_cast<size_t>(i);
            const bool there = i < count;
            const bool grey = there && isGreyEntry(entry);
            for (int channel = 0; channel < 3; ++channel)
                channels[channel][i % 2][i / 2] = there ? entry[channel] : 0;
            forColors[i % 2][i / 2] = static_cast<int16_t>(there && !grey ? 0 : -1);
            forGreys[i % 2][i / 2] = static_cast<int16_t>(grey ? 0 : -1);
        }
    }

    // Of two levels at once: -1 in each of the lanes of those that are looked for as greys.
    TIVAR_V3_PART static Lanes greysAmong(Lanes levels) {
        const Lanes apart =
            levels - __builtin_shufflevector(levels, levels, 1, 2, 0, 3, 5, 6, 4, 7);
        const Lanes far = (apart > kGreyTolerance) | (apart < -kGreyTolerance);
        return reinterpret_cast<Lanes>(reinterpret_cast<LanePair>(far) == LanePair{});
    }

    // The index of the entry nearest to one of two levels, -1 where distances pass 16 bits: far
    // from all entries of its kind, or without any.
    template <int kWhich>
    TIVAR_V3_PART int32_t find(Lanes levels, Lanes greys) const {
        constexpr int kFirst = kWhich * 4;
        const Lanes red = everyLane<kFirst>(levels);
        const Lanes green = everyLane<kFirst + 1>(levels);
        const Lanes blue = everyLane<kFirst + 2>(levels);
        const Lanes grey = everyLane<kFirst>(greys);
        // Ties go to the lowest index, so even entries stand in front of odd ones lane by lane.
        const __m128i even = distances<0>(red, green, blue, grey);
        const __m128i odd = distances<1>(red, green, blue, grey);
        const __m128i nearer = _mm_min_epu16(even, odd);
        const auto found = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_minpos_epu16(nearer)));
        const auto evens = static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi16(nearer, even)));
        if ((found & 0xFFFF) == 0xFFFF) return -1;
        const uint32_t lane = found >> 16;
        return static_cast<int32_t>(2 * lane + (~evens >> 2 * lane & 1));
    }

  private:
    template <int kLane>
    TIVAR_V3_PART static Lanes everyLane(Lanes lanes) {
        return __builtin_shufflevector(lanes, lanes, kLane, kLane, kLane, kLane, kLane, kLane,
                                       kLane, kLane);
    }

    template <int kOdd>
    TIVAR_V3_PART __m128i distances(Lanes red, Lanes green, Lanes blue, Lanes grey) const {
        const Lanes toRed = red - channels[0][kOdd];
        const Lanes toGreen = green - channels[1][kOdd];
        const Lanes toBlue = blue - channels[2][kOdd];
        const __m128i sum = _mm_adds_epu16(square(toRed), square(toGreen));
        const Lanes others = (grey & forGreys[kOdd]) | (~grey & forColors[kOdd]);
        return _mm_or_si128(_mm_adds_epu16(sum, square(toBlue)), reinterpret_cast<__m128i>(others));
    }

    // 255 squared fits a lane without a sign.
    TIVAR_V3_PART static __m128i square(Lanes lanes) {
        const auto words = reinterpret_cast<__m128i>(lanes);
        return _mm_mullo_epi16(words, words);
    }

    // Entry 2 * i + k is in lane i of vector k.
    Lanes channels[3][2];
    Lanes forColors[2];  // -1 for the entries that a colour does not take
    Lanes forGreys[2];
};

}  // namespace tivar

#endif
