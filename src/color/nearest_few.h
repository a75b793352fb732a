// The search of nearest.h in a table of up to 16 entries: all of them are weighed at once. For
// processors that find the least of eight numbers in one instruction.
#pragma once

#include "base/processor.h"
#include "color/grey.h"
#include "color/lanes.h"

#if TIVAR_HAS_V3

#include <immintrin.h>

#include <algorithm>
#include <cstddef>

namespace tivar {

struct FewEntries {
    static constexpr int kMost = 16;

    FewEntries(const uint8_t* table, int count) {
        for (size_t i = 0; i < kMost; ++i) {
            int16_t* redGreen = redGreens[i / 8] + placeOf(i);
            int16_t* blueKind = blueKinds[i / 8] + placeOf(i);
            redGreen[0] = redGreen[1] = blueKind[0] = 0;
            blueKind[1] = kNoKind;
            if (i >= static_cast<size_t>(std::max(count, 0))) continue;
            const uint8_t* entry = table + i * 3;
            redGreen[0] = entry[0];
            redGreen[1] = entry[1];
            blueKind[0] = entry[2];
            blueKind[1] = isGreyEntry(entry) ? kGreyKind : int16_t{0};
        }
    }

    // Two levels with the kind of entry that each is looked for among in its idle lane.
    TIVAR_V3_PART static Lanes withKinds(Lanes levels) {
        const Lanes apart =
            levels - __builtin_shufflevector(levels, levels, 1, 2, 0, 3, 5, 6, 4, 7);
        const Lanes far = (apart > kGreyTolerance) | (apart < -kGreyTolerance);
        const auto grey = reinterpret_cast<Lanes>(reinterpret_cast<LanePair>(far) == LanePair{});
        const Lanes kinds = {0, 0, 0, kGreyKind, 0, 0, 0, kGreyKind};
        return levels | (grey & kinds);
    }

    // The index of the entry nearest to one of two levels with kinds, -1 where the distance passes
    // 16 bits: far from all entries of its kind, or without any.
    template <int kWhich>
    TIVAR_V3_PART int32_t find(Lanes levels) const {
        const __m256i both = _mm256_broadcastsi128_si256(reinterpret_cast<__m128i>(levels));
        const __m256i redGreen = _mm256_shuffle_epi32(both, kWhich == 0 ? 0x00 : 0xAA);
        const __m256i blueKind = _mm256_shuffle_epi32(both, kWhich == 0 ? 0x55 : 0xFF);
        const __m256i distances =
            _mm256_packus_epi32(squares<0>(redGreen, blueKind), squares<1>(redGreen, blueKind));
        const __m128i even = _mm256_castsi256_si128(distances);
        const __m128i nearer = _mm_min_epu16(even, _mm256_extracti128_si256(distances, 1));
        const auto found = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_minpos_epu16(nearer)));
        const auto evens = static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi16(nearer, even)));
        if ((found & 0xFFFF) == 0xFFFF) return -1;
        const uint32_t lane = found >> 16;
        return static_cast<int32_t>(2 * lane + (~evens >> 2 * lane & 1));
    }

  private:
    // Kinds lie so far apart that no distance of another kind is within 16 bits.
    static constexpr int16_t kGreyKind = 0x1000;
    static constexpr int16_t kNoKind = 0x2000;

    // Ties go to the lowest index: even entries stand in the lower half of a vector, odd ones in
    // the upper half, and lane by lane the lower one wins.
    static constexpr size_t placeOf(size_t index) { return index % 2 * 8 + index % 8 / 2 * 2; }

    template <int kHalf>
    TIVAR_V3_PART __m256i squares(__m256i redGreen, __m256i blueKind) const {
        const __m256i toRedGreen = _mm256_sub_epi16(redGreen, load(redGreens[kHalf]));
        const __m256i toBlueKind = _mm256_sub_epi16(blueKind, load(blueKinds[kHalf]));
        return _mm256_add_epi32(_mm256_madd_epi16(toRedGreen, toRedGreen),
                                _mm256_madd_epi16(toBlueKind, toBlueKind));
    }

    TIVAR_V3_PART static __m256i load(const int16_t* lanes) {
        return _mm256_load_si256(reinterpret_cast<const __m256i*>(lanes));
    }

    // Of each eight entries.
    alignas(32) int16_t redGreens[2][16];
    alignas(32) int16_t blueKinds[2][16];
};

}  // namespace tivar

#endif
