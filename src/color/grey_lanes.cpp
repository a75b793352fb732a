#include "color/grey_lanes.h"

#if TIVAR_SIMD

#include <algorithm>
#include <cstring>

#include "base/processor.h"
#include "base/turn_bytes.h"
#include "color/lanes.h"
#include "color/pixel.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tivar {
namespace {

constexpr int kLanes = GreyLanes::kLanes;
constexpr int kFlights = GreyLanes::kRows / kLanes;
constexpr int32_t kFlightLag = kRowLag * kLanes;
constexpr int32_t kLastLag = kRowLag * (GreyLanes::kRows - 1);

using Rows = Lanes;                                         // of each row, one value
typedef uint8_t HalfBytes __attribute__((vector_size(8)));  // of each row, one level

Rows everyRow(int16_t value) {
    return Rows{} + value;
}

// Bit k tells of row k's mask, 0 or -1.
uint8_t bitsOf(Rows mask) {
#if defined(__SSE2__)
    const auto words = reinterpret_cast<__m128i>(mask);
    return static_cast<uint8_t>(_mm_movemask_epi8(_mm_packs_epi16(words, words)));
#else
    const auto bytes = __builtin_convertvector(mask, HalfBytes);
    const auto word = reinterpret_cast<const uint64_t&>(bytes) & 0x8040201008040201;
    return static_cast<uint8_t>(word * 0x0101010101010101 >> 56);
#endif
}

uint64_t eightAt(const uint8_t* bytes) {
    uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

// The levels of eight rows, eight steps each, as the steps want them: two steps a vector.
struct EightSteps {
    TwoRows pairs[4];

    Rows at(int step) const {
        const TwoRows pair = pairs[step / 2];
        const TwoRows zero = {};
        const auto low = __builtin_shufflevector(pair, zero, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5,
                                                 21, 6, 22, 7, 23);
        const auto high = __builtin_shufflevector(pair, zero, 8, 16, 9, 17, 10, 18, 11, 19, 12, 20,
                                                  13, 21, 14, 22, 15, 23);
        return reinterpret_cast<Rows>(step % 2 == 0 ? low : high);
    }
};

// From column on in row 0, and kRowLag pixels further back in each row after it.
EightSteps gather(uint8_t* const* rows, int32_t column) {
    typedef uint64_t Words __attribute__((vector_size(16)));
    const auto two = [&](int row) {
        const uint8_t* first = rows[row] + column - kRowLag * row;
        const uint8_t* second = rows[row + 1] + column - kRowLag * (row + 1);
        return reinterpret_cast<TwoRows>(Words{eightAt(first), eightAt(second)});
    };
    const TwoRows pairs[4] = {two(0), two(2), two(4), two(6)};
    EightSteps steps;
    turnBytes(pairs, steps.pairs);
    return steps;
}

// Eight rows on their way. Levels of pixels that are not done yet stay in registers and pass from
// each lane to the next.
struct Flight {
    const GreyLanes& tones;
    uint8_t* const* rows;
    int32_t width;
    uint8_t* bits;
    Rows level = {};
    Rows below = {};
    Rows belowLeft = {};
    Rows finished = {};

    // -1 for rows that are at a pixel to search; others pass no error on.
    Rows searching(int32_t column) const {
        Rows mask = {};
        for (int row = 0; row < kLanes; ++row) {
            const int32_t x = column - kRowLag * row;
            mask[row] = static_cast<int16_t>(x >= 0 && x < width - 1 ? -1 : 0);
        }
        return mask;
    }

    // Row 0 is at column, whose bits go into bits[column + 1]; next: the levels of the next column
    // one row further down.
    template <bool kAtEnds>
    void step(int32_t column, Rows next) {
        // Two sums, neither of which waits for the other.
        Rows rises[2] = {everyRow(tones.lowestEntry), {}};
        Rows stored = everyRow(tones.lowestStored);
        for (int i = 0; i < GreyLanes::kThresholds; ++i) {
            const Rows above = level > everyRow(tones.levels[i]);
            rises[i % 2] += above & tones.rises[i];
            stored ^= above & tones.flips[i];
        }
        bits[column + 1] = bitsOf(stored);
        Rows error = level - rises[0] - rises[1];
        if (kAtEnds) error &= searching(column);
        const Shares<Rows> shares = sharesOf<Rows>(error, divideLanes);
        const Rows first = {rows[0][column + 1]};
        const Rows right = __builtin_shufflevector(finished, first, 8, 0, 1, 2, 3, 4, 5, 6);
        level = clampLanes(right + shares.right);
        finished = clampLanes(belowLeft + shares.belowLeft);
        rows[kLanes][column - kFlightLag + kRowLag - 1] =
            static_cast<uint8_t>(finished[kLanes - 1]);
        belowLeft = clampLanes(below + shares.below);
        below = clampLanes(next + shares.belowRight);
    }
};

// The second flight is behind the first, whose last row it begins with; each one's waits hide the
// other's.
template <bool kAtEnds>
void eightSteps(Flight* flights, int32_t column) {
    static_assert(kFlights == 2);
    Flight& ahead = flights[0];
    Flight& behind = flights[1];
    const EightSteps aheadNext = gather(ahead.rows + 1, column + 1);
    const EightSteps behindNext = gather(behind.rows + 1, column + 1 - kFlightLag);
    for (int i = 0; i < 8; ++i) {
        ahead.step<kAtEnds>(column + i, aheadNext.at(i));
        behind.step<kAtEnds>(column + i - kFlightLag, behindNext.at(i));
    }
}

void diffuseGreys(const GreyLanes& tones, uint8_t* const* rows, int32_t width, uint8_t* bits) {
    uint8_t* secondBits = bits + width + GreyLanes::kMargins;
    Flight flights[] = {{tones, rows, width, bits + GreyLanes::kFront},
                        {tones, rows + kLanes, width, secondBits + GreyLanes::kFront}};
    for (int32_t column = -1; column <= width + kLastLag; column += 8) {
        const bool amid = column >= kLastLag && column + 8 < width;
        amid ? eightSteps<false>(flights, column) : eightSteps<true>(flights, column);
    }
}

#if TIVAR_HAS_V3
TIVAR_V3 void diffuseGreysV3(const GreyLanes& tones, uint8_t* const* rows, int32_t width,
                             uint8_t* bits) {
    diffuseGreys(tones, rows, width, bits);
}
#else
constexpr auto diffuseGreysV3 = diffuseGreys;
#endif

}  // namespace

bool GreyLanes::take(const GreyStep* steps) {
    const auto storedOf = [](const GreyStep& step) {
        return static_cast<int16_t>(-(step.stored & 1));
    };
    lowestEntry = steps[0].entry;
    lowestStored = storedOf(steps[0]);
    int used = 0;
    for (int level = 1; level < kGreyLevels; ++level) {
        const GreyStep& step = steps[level];
        const GreyStep& before = steps[level - 1];
        // An entry is the first of its grey: while the grey stays, so does what is stored.
        if (step.entry == before.entry) continue;
        if (used == kThresholds) return false;
        levels[used] = static_cast<int16_t>(level - 1);
        rises[used] = static_cast<int16_t>(step.entry - before.entry);
        flips[used++] = static_cast<int16_t>(storedOf(step) ^ storedOf(before));
    }
    for (; used < kThresholds; ++used) {
        levels[used] = kGreyLevels;
        rises[used] = flips[used] = 0;
    }
    return true;
}

void GreyLanes::diffuse(uint8_t* const* rows, uint32_t width, uint8_t* bits) const {
    const auto columns = static_cast<int32_t>(width);
    hasV3() ? diffuseGreysV3(*this, rows, columns, bits) : diffuseGreys(*this, rows, columns, bits);
}

void GreyLanes::storeRow(const uint8_t* bits, int row, uint32_t width, uint8_t firstStored,
                         uint8_t* dest) {
    const size_t flight = static_cast<size_t>(row / kLanes) * (size_t{width} + kMargins);
    const int lane = row % kLanes;
    const uint8_t* first = bits + flight + kFront + 1 + kRowLag * lane;
    for (uint32_t x = 0; x < width; x += 8) {
        const uint64_t word = eightAt(first + x) >> lane & 0x0101010101010101;
        // The product brings the first pixel's bit to the highest place.
        dest[x / 8] = static_cast<uint8_t>(word * 0x8040201008040201 >> 56);
    }
    // Kept: the last pixel is not searched but repeats the last choice.
    const uint32_t last = width - 1;
    storePixel(dest, last, 1, width > 1 ? getPixel(dest, last - 1, 1) : firstStored);
    dest[last / 8] &= static_cast<uint8_t>(0xFF00 >> (last % 8 + 1));
}

}  // namespace tivar

#endif
