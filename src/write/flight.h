// Eight rows of an error diffusion at once, a lane of a vector each.
//
// Every row runs three pixels behind the one above it. Two would do for that one to be done with
// the places that touch it; the third lets errors travel down while the next step is under way. A
// step handles a pixel of each row; a row that is not at one of its pixels makes no error. Pixels
// are brought into the order of the steps, and what is found back into that of rows, a tile of
// steps at a time.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/turn_bytes.h"
#include "write/lanes.h"

namespace tivar {

constexpr uint32_t kFlightRows = 8;
constexpr ptrdiff_t kFlightLag = 3;
// Steps from where the first row stands to the places that the last one is done with.
constexpr ptrdiff_t kFlightDepth = kFlightLag * (kFlightRows - 1) + 1;
// Places in front of and behind a row of errors, for rows that are not there yet or any more.
constexpr ptrdiff_t kFlightMargin = 24;

// A row's pixels in the order in which they are diffused.
struct Course {
    ptrdiff_t width;
    bool backward;
    ptrdiff_t placeOf(ptrdiff_t i) const { return backward ? width - 1 - i : i; }
};

#ifdef TIVAR_SSE2
constexpr ptrdiff_t kTileSteps = 128;

// Of each row's pixel four numbers of 16 bits, and its index.
struct FlightTile {
    alignas(16) uint64_t pixels[kTileSteps][kFlightRows];
    uint64_t found[kTileSteps];
};

// The numbers of eight pixels, number by number.
struct FlightNumbers {
    __m128i number[4];
};

inline FlightNumbers turnPixels(__m128i a, __m128i b, __m128i c, __m128i d) {
    const __m128i evenAb = _mm_unpacklo_epi16(a, b);
    const __m128i oddAb = _mm_unpackhi_epi16(a, b);
    const __m128i evenCd = _mm_unpacklo_epi16(c, d);
    const __m128i oddCd = _mm_unpackhi_epi16(c, d);
    const __m128i lowAb = _mm_unpacklo_epi16(evenAb, oddAb);
    const __m128i highAb = _mm_unpackhi_epi16(evenAb, oddAb);
    const __m128i lowCd = _mm_unpacklo_epi16(evenCd, oddCd);
    const __m128i highCd = _mm_unpackhi_epi16(evenCd, oddCd);
    return {{_mm_unpacklo_epi64(lowAb, lowCd), _mm_unpackhi_epi64(lowAb, lowCd),
             _mm_unpacklo_epi64(highAb, highCd), _mm_unpackhi_epi64(highAb, highCd)}};
}

inline FlightNumbers turnPixels(const uint64_t (&pixels)[kFlightRows]) {
    return turnPixels(loadLanes(pixels), loadLanes(pixels + 2), loadLanes(pixels + 4),
                      loadLanes(pixels + 6));
}

// Red, green and blue as numbers.
constexpr uint64_t pixelLanes(const uint8_t* color) {
    return color[0] | uint64_t{color[1]} << 16 | uint64_t{color[2]} << 32;
}

// The numbers of the eight entries that the bytes of found name.
inline FlightNumbers numbersOf(const uint64_t* entries, uint64_t found) {
    const auto entry = [&](int which) {
        return _mm_loadl_epi64(
            reinterpret_cast<const __m128i*>(entries + static_cast<uint8_t>(found >> 8 * which)));
    };
    return turnPixels(
        _mm_unpacklo_epi64(entry(0), entry(1)), _mm_unpacklo_epi64(entry(2), entry(3)),
        _mm_unpacklo_epi64(entry(4), entry(5)), _mm_unpacklo_epi64(entry(6), entry(7)));
}

// All bits of the rows that are at one of their pixels.
inline __m128i rowsThere(ptrdiff_t step, ptrdiff_t width) {
    int16_t lanes[kFlightRows];
    for (uint32_t row = 0; row < kFlightRows; ++row) {
        const ptrdiff_t i = step - kFlightLag * static_cast<ptrdiff_t>(row);
        lanes[row] = i >= 0 && i < width ? -1 : 0;
    }
    return loadLanes(lanes);
}

// What each row gets from the one above it; the first one from memory.
inline __m128i passDown(__m128i finished, int16_t above) {
    return _mm_insert_epi16(_mm_slli_si128(finished, 2), above, 0);
}

inline int16_t lastRowOf(__m128i lanes) {
    return static_cast<int16_t>(_mm_extract_epi16(lanes, kFlightRows - 1));
}

// The pixels of a row that fall into a tile: from and to, and the step of pixel 0 in it.
struct TileSpan {
    ptrdiff_t from;
    ptrdiff_t to;
    ptrdiff_t origin;
};

inline TileSpan spanOf(uint32_t row, ptrdiff_t width, ptrdiff_t start, ptrdiff_t count) {
    const ptrdiff_t origin = kFlightLag * static_cast<ptrdiff_t>(row) - start;
    return {std::max<ptrdiff_t>(0, -origin), std::min(width, count - origin), origin};
}

// Puts what eight steps from start on found into the rows, all of which are there.
inline void landEight(const uint64_t* found, ptrdiff_t start, const Course& course,
                      uint8_t* const* indices) {
    TwoRows steps[4];
    for (int i = 0; i < 4; ++i) {
        const __m128i two = loadLanes(found + (course.backward ? 6 - 2 * i : 2 * i));
        steps[i] = reinterpret_cast<TwoRows>(
            course.backward ? _mm_shuffle_epi32(two, _MM_SHUFFLE(1, 0, 3, 2)) : two);
    }
    TwoRows rows[4];
    turnBytes(steps, rows);
    ptrdiff_t place = course.placeOf(course.backward ? start + 7 : start);
    for (uint32_t row = 0; row < kFlightRows; ++row) {
        const auto both = reinterpret_cast<__m128i>(rows[row / 2]);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(indices[row] + place),
                         row % 2 == 0 ? both : _mm_unpackhi_epi64(both, both));
        place += course.backward ? kFlightLag : -kFlightLag;
    }
}

inline void landOne(uint64_t found, ptrdiff_t step, const Course& course, uint8_t* const* indices) {
    for (uint32_t row = 0; row < kFlightRows; ++row) {
        const ptrdiff_t i = step - kFlightLag * static_cast<ptrdiff_t>(row);
        if (i >= 0 && i < course.width)
            indices[row][course.placeOf(i)] = static_cast<uint8_t>(found >> 8 * row);
    }
}

// Flight has fill(tile, row, span), which brings pixels into the tile, and
// step(step, pixels, there), which tells the eight indices.
template <class Flight>
void fly(Flight& flight, const Course& course, uint8_t* const* indices) {
    FlightTile tile = {};
    const __m128i all = _mm_set1_epi16(-1);
    const ptrdiff_t steps = course.width + kFlightDepth;
    for (ptrdiff_t start = 0; start < steps; start += kTileSteps) {
        const ptrdiff_t count = std::min(kTileSteps, steps - start);
        for (uint32_t row = 0; row < kFlightRows; ++row)
            flight.fill(tile, row, spanOf(row, course.width, start, count));
        for (ptrdiff_t i = 0; i < count; ++i) {
            const ptrdiff_t step = start + i;
            const bool allThere = step >= kFlightDepth && step < course.width;
            tile.found[i] =
                flight.step(step, tile.pixels[i], allThere ? all : rowsThere(step, course.width));
        }
        for (ptrdiff_t i = 0; i < count;) {
            const ptrdiff_t step = start + i;
            if (step >= kFlightDepth && step + 8 <= course.width && i + 8 <= count) {
                landEight(tile.found + i, step, course, indices);
                i += 8;
            } else {
                landOne(tile.found[i++], step, course, indices);
            }
        }
    }
}
#endif

}  // namespace tivar
