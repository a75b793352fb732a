#include "write/color_diffusion.h"

#include <algorithm>

#include "write/few_entries.h"
#include "write/flight.h"
#include "write/floyd_steinberg.h"

namespace tivar {
namespace {

constexpr int kHalfErrorUnit = kErrorUnit / 2;
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
    return static_cast<int16_t>(squareRoot(widestGap(table) * kHalfErrorUnit * kHalfErrorUnit));
}

int16_t* errorsAt(ColorDiffusion& diffusion, ptrdiff_t x) {
    return diffusion.errors.data + kLanes * (x + kFlightMargin);
}

// ---- One row ----

// An error without half of what it has beyond the knee.
int soften(int error, int knee) {
    return (error + std::clamp(error, -knee, knee)) >> 1;
}

// ---- Rows in flight ----

#ifdef TIVAR_SSE2
struct ColorFlight {
    ColorDiffusion& diffusion;
    Course course;
    const uint8_t* const* rgb;
    bool ofFew;
    FewEntries few;
    ptrdiff_t along;  // from a pixel's errors to the next one's
    int16_t* above;   // errors for the first row
    __m128i knee;
    __m128i next[3] = {};
    __m128i below[3] = {};  // what the place below the last pixel has got so far
    __m128i ahead[3] = {};  // and the one after it
    __m128i finished[3] = {};
    __m128i goingDown[3] = {};  // finished a step ago

    ColorFlight(ColorDiffusion& of, const Course& on, const uint8_t* const* rows)
        : diffusion(of),
          course(on),
          rgb(rows),
          ofFew(of.table.count <= kFewEntries),
          along(on.backward ? -kLanes : kLanes),
          above(errorsAt(of, on.placeOf(0))),
          knee(_mm_set1_epi16(of.knee)) {
        if (ofFew) weighEntries(of.table, few);
    }

    void fill(FlightTile& tile, uint32_t row, const TileSpan& span) const {
        for (ptrdiff_t i = span.from; i < span.to; ++i) {
            const ptrdiff_t x = course.placeOf(i);
            const uint8_t* color = rgb[row] + 3 * x;
            uint64_t& pixel = tile.pixels[i + span.origin][row];
            if (x + 1 == course.width) {
                pixel = pixelLanes(color) * kErrorUnit;
            } else {
                storePixel(color, &pixel);
            }
        }
    }

    // With what the byte behind the pixel makes of the lane that nobody reads.
    static void storePixel(const uint8_t* color, uint64_t* pixel) {
        int32_t bytes = 0;
        std::memcpy(&bytes, color, sizeof bytes);
        const __m128i lanes = _mm_unpacklo_epi8(_mm_cvtsi32_si128(bytes), _mm_setzero_si128());
        _mm_storel_epi64(reinterpret_cast<__m128i*>(pixel), _mm_slli_epi16(lanes, 4));
    }

    uint64_t step(ptrdiff_t, const uint64_t (&pixels)[kFlightRows], __m128i there) {
        const FlightNumbers source = turnPixels(pixels);
        __m128i level[3];
        __m128i color[3];
        for (int c = 0; c < 3; ++c) {
            level[c] = _mm_add_epi16(source.number[c], passDown(goingDown[c], above[c]));
            level[c] = _mm_add_epi16(level[c], next[c]);
            level[c] = _mm_max_epi16(level[c], _mm_setzero_si128());
            level[c] = _mm_min_epi16(level[c], _mm_set1_epi16(kHighestLevel));
            color[c] = _mm_srli_epi16(_mm_add_epi16(level[c], _mm_set1_epi16(kHalfErrorUnit)), 4);
        }
        const uint64_t found = ofFew ? nearestOfFew(few, color) : nearestOfMany(color);
        const FlightNumbers chosen = numbersOf(diffusion.lanes, found);
        for (int c = 0; c < 3; ++c) {
            share(c, _mm_and_si128(_mm_sub_epi16(level[c], chosen.number[c]), there));
            above[c - kFlightDepth * along] = lastRowOf(finished[c]);
        }
        above += along;
        return found;
    }

    uint64_t nearestOfMany(const __m128i (&color)[3]) const {
        int16_t channels[3][kFlightRows];
        for (int c = 0; c < 3; ++c) storeLanes(channels[c], color[c]);
        uint64_t found = 0;
        for (uint32_t row = 0; row < kFlightRows; ++row)
            found |=
                uint64_t{nearestColor(diffusion.nearest, static_cast<uint8_t>(channels[0][row]),
                                      static_cast<uint8_t>(channels[1][row]),
                                      static_cast<uint8_t>(channels[2][row]))}
                << 8 * row;
        return found;
    }

    void share(int c, __m128i error) {
        const __m128i least = _mm_sub_epi16(_mm_setzero_si128(), knee);
        const __m128i held = _mm_min_epi16(_mm_max_epi16(error, least), knee);
        error = _mm_srai_epi16(_mm_add_epi16(error, held), 1);
        const auto part = [error](int16_t sixteenths) {
            return _mm_srai_epi16(_mm_mullo_epi16(error, _mm_set1_epi16(sixteenths)), 4);
        };
        const __m128i toBehind = part(3);
        const __m128i toBelow = part(5);
        next[c] = part(7);
        goingDown[c] = finished[c];
        finished[c] = _mm_add_epi16(below[c], toBehind);
        below[c] = _mm_add_epi16(ahead[c], toBelow);
        ahead[c] = _mm_sub_epi16(_mm_sub_epi16(error, next[c]), _mm_add_epi16(toBehind, toBelow));
    }
};
#endif

}  // namespace

bool prepareColors(ColorDiffusion& diffusion, uint32_t width, const ColorTable& table) {
    diffusion.width = width;
    diffusion.table = table;
    diffusion.knee = kneeOf(table);
#ifdef TIVAR_SSE2
    for (uint32_t i = 0; i < table.count; ++i)
        diffusion.lanes[i] = pixelLanes(table.entries[i]) * kErrorUnit;
#endif
    const uint64_t errors = (uint64_t{width} + 2 * kFlightMargin) * kLanes;
    return errors * sizeof(int16_t) <= PTRDIFF_MAX && diffusion.nearest.prepare(table) &&
           diffusion.errors.obtainZeroed(static_cast<size_t>(errors));
}

void diffuseColorRow(ColorDiffusion& diffusion, bool backward, const uint8_t* rgb,
                     uint8_t* indices) {
    const Course course = {static_cast<ptrdiff_t>(diffusion.width), backward};
    ErrorCourse courses[3];
    for (ptrdiff_t i = 0; i < course.width; ++i) {
        const ptrdiff_t x = course.placeOf(i);
        const int16_t* above = errorsAt(diffusion, x);
        int level[3];
        for (int c = 0; c < 3; ++c) level[c] = courses[c].levelOf(rgb[3 * x + c], above[c]);
        const uint8_t index = nearestColor(
            diffusion.nearest, static_cast<uint8_t>(roundLevel(level[0])),
            static_cast<uint8_t>(roundLevel(level[1])), static_cast<uint8_t>(roundLevel(level[2])));
        indices[x] = index;
        int16_t* behind = errorsAt(diffusion, course.placeOf(i - 1));
        for (int c = 0; c < 3; ++c) {
            const int entry = diffusion.table.entries[index][c] * kErrorUnit;
            behind[c] = courses[c].pass(soften(level[c] - entry, diffusion.knee));
        }
    }
    int16_t* last = errorsAt(diffusion, course.placeOf(course.width - 1));
    for (int c = 0; c < 3; ++c) last[c] = courses[c].last();
}

void diffuseColorFlight(ColorDiffusion& diffusion, bool backward, const uint8_t* const* rgb,
                        uint8_t* const* indices) {
#ifdef TIVAR_SSE2
    const Course course = {static_cast<ptrdiff_t>(diffusion.width), backward};
    ColorFlight flight(diffusion, course, rgb);
    fly(flight, course, indices);
#else
    for (uint32_t row = 0; row < kFlightRows; ++row)
        diffuseColorRow(diffusion, backward, rgb[row], indices[row]);
#endif
}

}  // namespace tivar
