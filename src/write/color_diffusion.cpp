#include "write/color_diffusion.h"

#include <algorithm>

#include "write/flight.h"

namespace tivar {
namespace {

constexpr int kUnit = 16;  // of a level
constexpr int kHalfUnit = kUnit / 2;
constexpr int kHighest = 255 * kUnit;
constexpr int kLanes = 4;  // of a pixel's errors

// ---- What the palette asks for ----

uint32_t squaredDistance(const uint8_t* a, const uint8_t* b) {
    uint32_t sum = 0;
    for (int i = 0; i < 3; ++i) sum += static_cast<uint32_t>((a[i] - b[i]) * (a[i] - b[i]));
    return sum;
}

// Square of the widest gap that the entries leave: the longest edge of the tree that joins them by
// the shortest edges (R. C. Prim, "Shortest connection networks", 1957).
uint32_t widestGap(const ColorTable& table) {
    uint32_t gaps[256];  // from the tree to each entry; 0 = it belongs to it, or might as well
    std::fill(gaps, gaps + table.count, UINT32_MAX);
    uint32_t widest = 0;
    uint32_t joined = 0;
    for (uint32_t n = 0; n < table.count; ++n) {
        gaps[joined] = 0;
        uint32_t nearest = joined;
        uint32_t least = UINT32_MAX;
        for (uint32_t i = 0; i < table.count; ++i) {
            gaps[i] = std::min(gaps[i], squaredDistance(table.entries[i], table.entries[joined]));
            if (gaps[i] == 0 || gaps[i] >= least) continue;
            least = gaps[i];
            nearest = i;
        }
        if (nearest == joined) break;
        widest = std::max(widest, least);
        joined = nearest;
    }
    return widest;
}

int squareRoot(uint32_t square) {
    uint32_t root = 0;
    while ((root + 1) * (root + 1) <= square) ++root;
    return static_cast<int>(root);
}

// Errors of colours that the palette can mix are at most about half of its widest gap. What goes
// beyond comes from other colours, adds up, and would smear: half of that is dropped.
int16_t kneeOf(const ColorTable& table) {
    return static_cast<int16_t>(squareRoot(widestGap(table) * kHalfUnit * kHalfUnit));
}

constexpr uint64_t pixelLanes(const uint8_t* color) {
    return (color[0] | uint64_t{color[1]} << 16 | uint64_t{color[2]} << 32) * kUnit;
}

int16_t* errorsAt(ColorDiffusion& diffusion, ptrdiff_t x) {
    return diffusion.errors.data + kLanes * (x + kFlightMargin);
}

// ---- One row ----

// Shares of an error: R. W. Floyd and L. Steinberg, "An adaptive algorithm for spatial greyscale",
// 1976.
struct Shares {
    int next;
    int behind;
    int below;
    int ahead;
};

Shares sharesOf(int error, int knee) {
    error = (error + std::clamp(error, -knee, knee)) >> 1;
    const int next = error * 7 >> 4;
    const int behind = error * 3 >> 4;
    const int below = error * 5 >> 4;
    return {next, behind, below, error - next - behind - below};
}

// ---- Rows in flight ----

#ifdef TIVAR_SSE2
struct ColorFlight {
    ColorDiffusion& diffusion;
    Course course;
    const uint8_t* const* rgb;
    FlightEntries entries;
    __m128i next[3] = {};
    __m128i below[3] = {};  // what the place below the last pixel has got so far
    __m128i ahead[3] = {};  // and the one after it
    __m128i finished[3] = {};

    void fill(FlightTile& tile, uint32_t row, const TileSpan& span) const {
        for (ptrdiff_t i = span.from; i < span.to; ++i)
            tile.pixels[i + span.origin][row] = pixelLanes(rgb[row] + 3 * course.placeOf(i));
    }

    uint64_t step(ptrdiff_t at, const uint64_t (&pixels)[kFlightRows], __m128i there) {
        const int16_t* above = errorsAt(diffusion, course.placeOf(at));
        const FlightNumbers source = turnPixels(pixels);
        __m128i level[3];
        __m128i color[3];
        for (int c = 0; c < 3; ++c) {
            level[c] = _mm_add_epi16(source.number[c], passDown(finished[c], above[c]));
            level[c] = _mm_add_epi16(level[c], next[c]);
            level[c] = _mm_max_epi16(level[c], _mm_setzero_si128());
            level[c] = _mm_min_epi16(level[c], _mm_set1_epi16(kHighest));
            color[c] = _mm_srli_epi16(_mm_add_epi16(level[c], _mm_set1_epi16(kHalfUnit)), 4);
        }
        const uint64_t found = diffusion.nearest.few ? nearestOfFew(entries, color)
                                                     : nearestOfMany(diffusion.nearest, color);
        const FlightNumbers chosen = entriesOf(found);
        int16_t* behind = errorsAt(diffusion, course.placeOf(at - kFlightDepth));
        for (int c = 0; c < 3; ++c) {
            share(c, _mm_and_si128(_mm_sub_epi16(level[c], chosen.number[c]), there));
            behind[c] = lastRowOf(finished[c]);
        }
        return found;
    }

    __m128i twoEntries(uint64_t found) const {
        const auto entry = [this](uint64_t index) {
            return _mm_loadl_epi64(
                reinterpret_cast<const __m128i*>(diffusion.lanes + static_cast<uint8_t>(index)));
        };
        return _mm_unpacklo_epi64(entry(found), entry(found >> 8));
    }

    FlightNumbers entriesOf(uint64_t found) const {
        return turnPixels(twoEntries(found), twoEntries(found >> 16), twoEntries(found >> 32),
                          twoEntries(found >> 48));
    }

    void share(int c, __m128i error) {
        const __m128i most = _mm_set1_epi16(diffusion.knee);
        const __m128i least = _mm_sub_epi16(_mm_setzero_si128(), most);
        const __m128i held = _mm_min_epi16(_mm_max_epi16(error, least), most);
        error = _mm_srai_epi16(_mm_add_epi16(error, held), 1);
        const auto part = [error](int16_t sixteenths) {
            return _mm_srai_epi16(_mm_mullo_epi16(error, _mm_set1_epi16(sixteenths)), 4);
        };
        const __m128i toBehind = part(3);
        const __m128i toBelow = part(5);
        next[c] = part(7);
        finished[c] = _mm_add_epi16(below[c], toBehind);
        below[c] = _mm_add_epi16(ahead[c], toBelow);
        ahead[c] = _mm_sub_epi16(_mm_sub_epi16(error, next[c]), _mm_add_epi16(toBehind, toBelow));
    }
};
#endif

}  // namespace

bool prepareColors(ColorDiffusion& diffusion, uint32_t width, const ColorTable& table) {
    diffusion.width = width;
    diffusion.knee = kneeOf(table);
    for (uint32_t i = 0; i < table.count; ++i) diffusion.lanes[i] = pixelLanes(table.entries[i]);
    const uint64_t errors = (uint64_t{width} + 2 * kFlightMargin) * kLanes;
    return errors * sizeof(int16_t) <= PTRDIFF_MAX && prepareNearest(diffusion.nearest, table) &&
           diffusion.errors.obtainZeroed(static_cast<size_t>(errors));
}

void diffuseColorRow(ColorDiffusion& diffusion, bool backward, const uint8_t* rgb,
                     uint8_t* indices) {
    const Course course = {static_cast<ptrdiff_t>(diffusion.width), backward};
    int next[3] = {};
    int below[3] = {};
    int ahead[3] = {};
    for (ptrdiff_t i = 0; i < course.width; ++i) {
        const ptrdiff_t x = course.placeOf(i);
        const int16_t* above = errorsAt(diffusion, x);
        int level[3];
        for (int c = 0; c < 3; ++c)
            level[c] = std::clamp(rgb[3 * x + c] * kUnit + above[c] + next[c], 0, kHighest);
        const uint32_t index =
            nearestEntry(diffusion.nearest, (level[0] + kHalfUnit) / kUnit,
                         (level[1] + kHalfUnit) / kUnit, (level[2] + kHalfUnit) / kUnit);
        indices[x] = static_cast<uint8_t>(index);
        int16_t* behind = errorsAt(diffusion, course.placeOf(i - 1));
        for (int c = 0; c < 3; ++c) {
            const int entry = diffusion.nearest.table.entries[index][c] * kUnit;
            const Shares shares = sharesOf(level[c] - entry, diffusion.knee);
            next[c] = shares.next;
            behind[c] = static_cast<int16_t>(below[c] + shares.behind);
            below[c] = ahead[c] + shares.below;
            ahead[c] = shares.ahead;
        }
    }
    int16_t* last = errorsAt(diffusion, course.placeOf(course.width - 1));
    for (int c = 0; c < 3; ++c) last[c] = static_cast<int16_t>(below[c]);
}

void diffuseColorFlight(ColorDiffusion& diffusion, bool backward, const uint8_t* const* rgb,
                        uint8_t* const* indices) {
#ifdef TIVAR_SSE2
    const Course course = {static_cast<ptrdiff_t>(diffusion.width), backward};
    ColorFlight flight = {diffusion, course, rgb, {}};
    if (diffusion.nearest.few) spreadEntries(diffusion.nearest.table, flight.entries);
    fly(flight, course, indices);
#else
    for (uint32_t row = 0; row < kFlightRows; ++row)
        diffuseColorRow(diffusion, backward, rgb[row], indices[row]);
#endif
}

}  // namespace tivar
