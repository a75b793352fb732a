#include "write/grey_diffusion.h"

#include <algorithm>

#include "write/flight.h"
#include "write/greys.h"
#include "write/threshold_mask.h"

namespace tivar {
namespace {

constexpr int kUnit = 16;  // of a level
constexpr int kHalfUnit = kUnit / 2;
constexpr int kShareBits = 15;

// ---- What the levels do ----

// Shares that depend on the tone, after V. Ostromoukhov, "A simple and efficient error-diffusion
// algorithm", SIGGRAPH 2001. The shares are this library's own, chosen by measuring: of some tones
// those of the next pixel, of the one behind below and of the one below. Straight lines lead from
// tone to tone, and light tones mirror dark ones.
struct ToneShares {
    int tone;
    int next;
    int behind;
    int below;
};
constexpr ToneShares kToneShares[] = {
    {0, 13, 0, 5}, {1, 13, 0, 5},  {2, 21, 0, 10}, {3, 7, 0, 4},   {4, 8, 0, 5},  {10, 7, 3, 3},
    {22, 3, 2, 1}, {36, 5, 3, 3},  {64, 1, 1, 0},  {72, 5, 7, 1},  {77, 4, 1, 1}, {85, 4, 1, 1},
    {95, 5, 3, 2}, {102, 5, 3, 2}, {122, 4, 1, 1}, {127, 4, 1, 1},
};

// One share of a tone between two of them.
int shareAt(int tone, const ToneShares& from, const ToneShares& to, int ToneShares::*share) {
    const auto partOf = [share](const ToneShares& tones) {
        return (tones.*share << kShareBits) / (tones.next + tones.behind + tones.below);
    };
    return partOf(from) + (partOf(to) - partOf(from)) * (tone - from.tone) / (to.tone - from.tone);
}

// Faint tones have few dots. Errors alone would take many rows until the first of them, and set
// them in lines: thresholds sway most there. An entry's own level needs none.
constexpr int kMostSway = 112;
constexpr int kLeastSway = 24;
constexpr int kSwayUnit = 64;

constexpr int swayOf(int tone) {
    return tone == 0 ? 0 : std::max(kMostSway - 3 * tone, kLeastSway);
}

LevelStep stepOf(int level, const GreyPlace& place) {
    const int tone = std::min<int>(place.part, 255 - place.part);
    const ToneShares* to = kToneShares + 1;
    while (to->tone < tone) ++to;
    const int span = place.upper - place.lower;
    return {static_cast<int16_t>(level * kUnit),
            static_cast<int16_t>(swayOf(tone) * kSwayUnit * span / 255),
            static_cast<int16_t>(shareAt(tone, to[-1], *to, &ToneShares::next)),
            static_cast<int16_t>(shareAt(tone, to[-1], *to, &ToneShares::behind))};
}

// The nearer of a place's two entries, the first of both when they are as near.
bool takesUpper(const GreyPlace& place, int level) {
    const int toLower = level - place.lower;
    const int toUpper = place.upper - level;
    return toUpper < toLower || (toUpper == toLower && place.upperIndex < place.lowerIndex);
}

void prepareChoices(GreyDiffusion& diffusion, const GreyPlaces& places) {
    const int lower = places.at[0].lower;
    const int upper = places.at[255].upper;
    diffusion.lower = static_cast<int16_t>(lower * kUnit);
    diffusion.upper = static_cast<int16_t>(upper * kUnit);
    diffusion.lowerIndex = places.at[0].lowerIndex;
    diffusion.upperIndex = places.at[255].upperIndex;
    diffusion.turn = INT16_MAX;
    diffusion.ofTwo = true;
    for (int choice = kHighestChoice; choice >= kLowestChoice; --choice) {
        const int level = std::clamp(choice, 0, 255);
        const GreyPlace& place = places.at[level];
        const bool takes = takesUpper(place, level);
        const int value = takes ? place.upper : place.lower;
        const int index = takes ? place.upperIndex : place.lowerIndex;
        diffusion.nearest[choice - kLowestChoice] = static_cast<uint16_t>(value << 8 | index);
        if (value == upper && upper != lower)
            diffusion.turn = static_cast<int16_t>(choice * kUnit - kHalfUnit);
        diffusion.ofTwo = diffusion.ofTwo && (value == lower || value == upper);
    }
}

// ---- One row ----

// Where a threshold stands around the middle, from -1 to 1; its product with a sway is in 65536ths
// of a 16th of a level.
constexpr int swingOf(uint8_t threshold) {
    return (threshold - 127) * (65536 * kUnit / kSwayUnit / 128);
}

// As level * 256 + index.
uint16_t nearestGrey(const GreyDiffusion& diffusion, int level) {
    return diffusion.nearest[((level + kHalfUnit) >> 4) - kLowestChoice];
}

int16_t* errorsOf(GreyDiffusion& diffusion) {
    return diffusion.errors.data + kFlightMargin;
}

// A pixel at the end of a row keeps for the one below what would leave the row.
LevelStep stepAt(const GreyDiffusion& diffusion, uint8_t grey, ptrdiff_t i) {
    LevelStep step = diffusion.steps[grey];
    if (i == 0) step.toBehind = 0;
    if (i == static_cast<ptrdiff_t>(diffusion.width) - 1) step.toNext = 0;
    return step;
}

// ---- Rows in flight ----

#ifdef TIVAR_SSE2
template <bool kOfTwo>
struct GreyFlight {
    const GreyDiffusion& diffusion;
    Course course;
    ptrdiff_t along;  // from a pixel to the next
    int16_t* above;   // errors for the first row
    alignas(16) int16_t swings[kMaskSide][kFlightRows];
    __m128i lowest;
    __m128i highest;
    __m128i twiceLower;
    __m128i twiceSpan;
    __m128i belowTurn;
    __m128i lowerIndex;
    __m128i otherIndex;
    __m128i next = _mm_setzero_si128();
    __m128i below = _mm_setzero_si128();  // what the place below the last pixel has got so far
    __m128i finished = _mm_setzero_si128();
    __m128i goingDown = _mm_setzero_si128();  // finished a step ago

    GreyFlight(GreyDiffusion& of, const Course& on, uint32_t y)
        : diffusion(of),
          course(on),
          along(on.backward ? -1 : 1),
          above(errorsOf(of) + on.placeOf(0)),
          lowest(lanesOf(of.lowest)),
          highest(lanesOf(of.highest)),
          twiceLower(lanesOf(2 * of.lower)),
          twiceSpan(lanesOf(2 * (of.upper - of.lower))),
          belowTurn(lanesOf(of.turn - 1)),
          lowerIndex(lanesOf(of.lowerIndex)),
          otherIndex(lanesOf(of.lowerIndex ^ of.upperIndex)) {
        for (uint32_t row = 0; row < kFlightRows; ++row) {
            const uint8_t* thresholds = thresholdsOf(y + row);
            for (uint32_t step = 0; step < kMaskSide; ++step) {
                const auto place = static_cast<size_t>(
                    course.placeOf(static_cast<ptrdiff_t>(step) - kFlightLag * row));
                swings[step][row] = static_cast<int16_t>(swingOf(thresholds[place % kMaskSide]));
            }
        }
    }

    void fill(FlightTile& tile, uint32_t row, const TileSpan& span) const {
        const uint8_t* greys = diffusion.greys.data + size_t{diffusion.width} * row;
        const uint8_t* grey = greys + course.placeOf(span.from);
        for (ptrdiff_t i = span.from; i < span.to; ++i, grey += along)
            std::memcpy(&tile.pixels[i + span.origin][row], &diffusion.steps[*grey],
                        sizeof(LevelStep));
        for (const ptrdiff_t end : {ptrdiff_t{0}, course.width - 1}) {
            if (end < span.from || end >= span.to) continue;
            const LevelStep step = stepAt(diffusion, greys[course.placeOf(end)], end);
            std::memcpy(&tile.pixels[end + span.origin][row], &step, sizeof step);
        }
    }

    uint64_t step(ptrdiff_t at, const uint64_t (&pixels)[kFlightRows], __m128i there) {
        const FlightNumbers step = turnPixels(pixels);
        const __m128i sway = _mm_mulhi_epi16(step.number[1], loadLanes(swings[at % kMaskSide]));
        const __m128i wanted = _mm_add_epi16(step.number[0], passDown(goingDown, *above));
        __m128i level = _mm_add_epi16(wanted, next);
        level = _mm_min_epi16(_mm_max_epi16(level, lowest), highest);
        __m128i index;
        const __m128i twice = _mm_and_si128(twiceError(level, sway, index), there);
        next = _mm_mulhi_epi16(twice, step.number[2]);
        const __m128i behind = _mm_mulhi_epi16(twice, step.number[3]);
        goingDown = finished;
        finished = _mm_add_epi16(below, behind);
        below = _mm_sub_epi16(_mm_sub_epi16(_mm_srai_epi16(twice, 1), next), behind);
        above[-kFlightDepth * along] = lastRowOf(finished);
        above += along;
        return lowBytes(index);
    }

    // Of what is chosen for levels; as few operations as can be lie between them and the result,
    // since the next pixels wait for it.
    __m128i twiceError(__m128i level, __m128i sway, __m128i& index) const {
        if constexpr (kOfTwo) {
            const __m128i takesUpper = _mm_cmpgt_epi16(level, _mm_sub_epi16(belowTurn, sway));
            index = _mm_xor_si128(lowerIndex, _mm_and_si128(takesUpper, otherIndex));
            return _mm_sub_epi16(_mm_sub_epi16(_mm_add_epi16(level, level), twiceLower),
                                 _mm_and_si128(takesUpper, twiceSpan));
        } else {
            int16_t asked[kFlightRows];
            uint16_t nearest[kFlightRows];
            storeLanes(asked, _mm_add_epi16(level, sway));
            for (uint32_t row = 0; row < kFlightRows; ++row)
                nearest[row] = nearestGrey(diffusion, asked[row]);
            const __m128i both = loadLanes(nearest);
            index = _mm_and_si128(both, _mm_set1_epi16(0xFF));
            const __m128i error = _mm_sub_epi16(level, _mm_slli_epi16(_mm_srli_epi16(both, 8), 4));
            return _mm_add_epi16(error, error);
        }
    }

    static __m128i lanesOf(int number) { return _mm_set1_epi16(static_cast<int16_t>(number)); }
};
#endif

}  // namespace

bool prepareGreys(GreyDiffusion& diffusion, uint32_t width, const ColorTable& table) {
    GreyPlaces places;
    placeGreys(table, places);
    diffusion.width = width;
    for (int level = 0; level < 256; ++level)
        diffusion.steps[level] = stepOf(level, places.at[level]);
    prepareChoices(diffusion, places);
    const int beyond = (diffusion.upper - diffusion.lower) / 2;
    diffusion.lowest = static_cast<int16_t>(diffusion.lower - beyond);
    diffusion.highest = static_cast<int16_t>(diffusion.upper + beyond);
    const uint64_t greys = uint64_t{width} * kFlightRows;
    return greys <= PTRDIFF_MAX && diffusion.greys.obtain(static_cast<size_t>(greys)) &&
           diffusion.errors.obtainZeroed(size_t{width} + 2 * kFlightMargin);
}

void diffuseGreyRow(GreyDiffusion& diffusion, uint32_t y, bool backward, const uint8_t* rgb,
                    uint8_t* indices) {
    const Course course = {static_cast<ptrdiff_t>(diffusion.width), backward};
    const uint8_t* thresholds = thresholdsOf(y);
    uint8_t* greys = diffusion.greys.data;
    greysOf(rgb, diffusion.width, greys);
    int16_t* errors = errorsOf(diffusion);
    int next = 0;
    int below = 0;
    for (ptrdiff_t i = 0; i < course.width; ++i) {
        const auto x = static_cast<size_t>(course.placeOf(i));
        const LevelStep step = stepAt(diffusion, greys[x], i);
        const int level =
            std::clamp<int>(step.level + errors[x] + next, diffusion.lowest, diffusion.highest);
        const int sway = step.sway * swingOf(thresholds[x % kMaskSide]) >> 16;
        const uint16_t nearest = nearestGrey(diffusion, level + sway);
        indices[x] = static_cast<uint8_t>(nearest);
        const int error = level - (nearest >> 8) * kUnit;
        const int behind = error * step.toBehind >> kShareBits;
        next = error * step.toNext >> kShareBits;
        if (i > 0) errors[course.placeOf(i - 1)] = static_cast<int16_t>(below + behind);
        below = error - next - behind;
    }
    errors[course.placeOf(course.width - 1)] = static_cast<int16_t>(below);
}

void diffuseGreyFlight(GreyDiffusion& diffusion, uint32_t y, bool backward,
                       const uint8_t* const* rgb, uint8_t* const* indices) {
#ifdef TIVAR_SSE2
    for (uint32_t row = 0; row < kFlightRows; ++row)
        greysOf(rgb[row], diffusion.width, diffusion.greys.data + size_t{diffusion.width} * row);
    const Course course = {static_cast<ptrdiff_t>(diffusion.width), backward};
    if (diffusion.ofTwo) {
        GreyFlight<true> flight(diffusion, course, y);
        fly(flight, course, indices);
    } else {
        GreyFlight<false> flight(diffusion, course, y);
        fly(flight, course, indices);
    }
#else
    for (uint32_t row = 0; row < kFlightRows; ++row)
        diffuseGreyRow(diffusion, y + row, backward, rgb[row], indices[row]);
#endif
}

}  // namespace tivar
