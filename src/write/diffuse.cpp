#include "write/diffuse.h"

#include <algorithm>
#include <cstring>

#include "write/greys.h"
#include "write/lanes.h"
#include "write/threshold_mask.h"

namespace tivar {
namespace {

constexpr int kUnit = 16;  // of a level
constexpr int kHalfUnit = kUnit / 2;

// Pixels in front of and behind a row, for rows in flight that idle there.
constexpr uint32_t kMargin = 4;

bool runsBackward(const Diffusion& diffusion) {
    return (diffusion.rows / 2) % 2 != 0;
}

// ---- Greys: what the levels do ----

// Shares that depend on the tone: V. Ostromoukhov, "A simple and efficient error-diffusion
// algorithm", SIGGRAPH 2001. Of some tones the shares of the next pixel, the one behind below and
// the one below; straight lines lead from each to the next, and light tones mirror dark ones.
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
constexpr int kShareBits = 12;

constexpr int shareOf(int part, const ToneShares& tone) {
    return (part << kShareBits) / (tone.next + tone.behind + tone.below);
}

constexpr int between(int from, int to, int step, int steps) {
    return from + (to - from) * step / steps;
}

// Faint tones have few dots. Errors alone would take many rows until the first of them, and set
// them in lines: thresholds sway there most. An entry's own level needs none.
constexpr int kMostSway = 112;
constexpr int kLeastSway = 24;

constexpr int swayOf(int tone) {
    return tone == 0 ? 0 : std::max(kMostSway - 3 * tone, kLeastSway);
}

GreyStep stepOf(const GreyPlace& place) {
    const int tone = std::min<int>(place.part, 255 - place.part);
    const ToneShares* to = kToneShares + 1;
    while (to->tone < tone) ++to;
    const ToneShares* from = to - 1;
    const int step = tone - from->tone;
    const int steps = to->tone - from->tone;
    const int span = place.upper - place.lower;
    return {static_cast<int16_t>(
                between(shareOf(from->next, *from), shareOf(to->next, *to), step, steps)),
            static_cast<int16_t>(
                between(shareOf(from->behind, *from), shareOf(to->behind, *to), step, steps)),
            static_cast<int16_t>(swayOf(tone) * kUnit * span / 255)};
}

// The nearer of a place's two entries, the first of both when they are as near.
bool takesUpper(const GreyPlace& place, int level) {
    const int toLower = level - place.lower;
    const int toUpper = place.upper - level;
    return toUpper < toLower || (toUpper == toLower && place.upperIndex < place.lowerIndex);
}

void prepareGreys(const ColorTable& table, GreyRule& rule) {
    GreyPlaces places;
    placeGreys(table, places);
    const int lower = places.at[0].lower;
    const int upper = places.at[255].upper;
    const int beyond = (upper - lower) / 2;
    rule.lowest = (lower - beyond) * kUnit;
    rule.highest = (upper + beyond) * kUnit;
    rule.lower = lower * kUnit;
    rule.upper = upper * kUnit;
    rule.lowerIndex = places.at[0].lowerIndex;
    rule.upperIndex = places.at[255].upperIndex;
    rule.turn = rule.highest + (kMostSway + 1) * kUnit;
    rule.ofTwo = true;
    for (int level = kHighestChoice; level >= kLowestChoice; --level) {
        const GreyPlace& place = places.at[std::clamp(level, 0, 255)];
        const bool takes = takesUpper(place, std::clamp(level, 0, 255));
        const int value = takes ? place.upper : place.lower;
        const int index = takes ? place.upperIndex : place.lowerIndex;
        rule.nearest[level - kLowestChoice] = static_cast<uint16_t>(value << 8 | index);
        if (value == upper && upper != lower) rule.turn = level * kUnit - kHalfUnit;
        rule.ofTwo = rule.ofTwo && (value == lower || value == upper);
    }
    for (int level = 0; level < 256; ++level) rule.steps[level] = stepOf(places.at[level]);
}

// ---- Greys: rows ----

// What a level becomes.
struct GreyChoice {
    int value;  // in units
    uint8_t index;
};

template <bool kOfTwo>
GreyChoice choose(const GreyRule& rule, int level) {
    if constexpr (kOfTwo) {
        // A mask: a branch would be mispredicted half the time.
        const int takesUpper = (rule.turn - 1 - level) >> 31;
        return {rule.lower + (takesUpper & (rule.upper - rule.lower)),
                static_cast<uint8_t>(rule.lowerIndex ^
                                     (takesUpper & (rule.lowerIndex ^ rule.upperIndex)))};
    } else {
        const uint16_t nearest = rule.nearest[((level + kHalfUnit) >> 4) - kLowestChoice];
        return {(nearest >> 8) * kUnit, static_cast<uint8_t>(nearest)};
    }
}

// A row on its way. Errors for the next row replace those of its own behind it.
template <bool kOfTwo>
struct GreyRow {
    const GreyRule& rule;
    const uint8_t* thresholds;
    const uint8_t* greys;
    int16_t* errors;
    uint8_t* indices;
    ptrdiff_t step;  // from a pixel to the next: 1 or -1
    ptrdiff_t x;
    int next = 0;   // error for the next pixel
    int below = 0;  // for the one below the last

    // The first pixel has none behind it; the one below takes that share too.
    void begin() { below += pass(); }

    void go() {
        const int kept = below;
        const int behind = pass();
        errors[x - 2 * step] = static_cast<int16_t>(kept + behind);
    }

    void finish() { errors[x - step] = static_cast<int16_t>(below + next); }

    // The result is the share of the pixel behind that below.
    int pass() {
        const uint32_t grey = greys[x];
        const GreyStep& tone = rule.steps[grey];
        const int wanted = static_cast<int>(grey) * kUnit + errors[x] + next;
        const int level = std::clamp(wanted, rule.lowest, rule.highest);
        const int sway = tone.sway * (thresholds[x % kMaskSide] - 127) >> 7;
        const GreyChoice choice = choose<kOfTwo>(rule, level + sway);
        indices[x] = choice.index;
        const int error = level - choice.value;
        const int behind = error * tone.toBehind >> kShareBits;
        next = error * tone.toNext >> kShareBits;
        below = error - next - behind;
        x += step;
        return behind;
    }
};

template <bool kOfTwo>
GreyRow<kOfTwo> greyRow(Diffusion& diffusion, uint32_t which, uint8_t* indices) {
    const bool backward = runsBackward(diffusion);
    return {diffusion.greyRule,
            thresholdsOf(diffusion.rows + which),
            diffusion.greys.data + size_t{diffusion.width} * which,
            diffusion.errors.data,
            indices,
            backward ? -1 : 1,
            backward ? static_cast<ptrdiff_t>(diffusion.width) - 1 : 0};
}

template <bool kOfTwo>
void diffuseGreyRow(Diffusion& diffusion, uint8_t* indices) {
    GreyRow<kOfTwo> row = greyRow<kOfTwo>(diffusion, 0, indices);
    row.begin();
    for (uint32_t i = 1; i < diffusion.width; ++i) row.go();
    row.finish();
}

// The second row runs a pixel behind the first, so that each waits for its own error only.
template <bool kOfTwo>
void diffuseTwoGreyRows(Diffusion& diffusion, uint8_t* firstIndices, uint8_t* secondIndices) {
    GreyRow<kOfTwo> first = greyRow<kOfTwo>(diffusion, 0, firstIndices);
    GreyRow<kOfTwo> second = greyRow<kOfTwo>(diffusion, 1, secondIndices);
    first.begin();
    if (diffusion.width > 1) {
        first.go();
        second.begin();
        for (uint32_t i = 2; i < diffusion.width; ++i) {
            first.go();
            second.go();
        }
        first.finish();
        second.go();
    } else {
        first.finish();
        second.begin();
    }
    second.finish();
}

// ---- Colours: what the palette asks for ----

uint32_t squaredDistance(const uint8_t* a, const uint8_t* b) {
    uint32_t sum = 0;
    for (int i = 0; i < 3; ++i) sum += static_cast<uint32_t>((a[i] - b[i]) * (a[i] - b[i]));
    return sum;
}

// Square of the widest gap that the entries leave: the longest edge of the tree that joins them by
// the shortest edges (R. C. Prim, 1957).
uint32_t widestGap(const ColorTable& table) {
    uint32_t distances[256];
    std::fill(distances, distances + table.count, UINT32_MAX);
    uint32_t widest = 0;
    uint32_t joined = 0;
    for (uint32_t n = 1; n < table.count; ++n) {
        distances[joined] = 0;
        uint32_t next = joined;
        uint32_t least = UINT32_MAX;
        for (uint32_t i = 0; i < table.count; ++i) {
            if (distances[i] == 0) continue;
            distances[i] =
                std::min(distances[i], squaredDistance(table.entries[i], table.entries[joined]));
            if (distances[i] == 0 || distances[i] >= least) continue;
            least = distances[i];
            next = i;
        }
        if (next == joined) break;
        joined = next;
        widest = std::max(widest, least);
    }
    return widest;
}

int squareRoot(uint32_t square) {
    uint32_t root = 0;
    while ((root + 1) * (root + 1) <= square) ++root;
    return static_cast<int>(root);
}

// Errors of colours inside the palette's reach are at most about half of its widest gap. What goes
// beyond comes from colours outside, adds up, and would smear: half of that is dropped.
bool prepareColors(const ColorTable& table, ColorRule& rule) {
    rule.knee = static_cast<int16_t>(squareRoot(widestGap(table) * kHalfUnit * kHalfUnit));
    for (uint32_t i = 0; i < table.count; ++i) {
        const uint8_t* entry = table.entries[i];
        rule.lanes[i] = (entry[0] | uint64_t{entry[1]} << 16 | uint64_t{entry[2]} << 32) * kUnit;
    }
    return prepareNearest(rule.nearest, table);
}

// ---- Colours: rows ----

constexpr int kHighestLevel = 255 * kUnit;

// Of an error: R. W. Floyd and L. Steinberg, "An adaptive algorithm for spatial greyscale", 1976.
struct ColorShares {
    int next;
    int behind;
    int below;
    int ahead;
};

ColorShares sharesOf(int error, int knee) {
    error = (error + std::clamp(error, -knee, knee)) >> 1;
    const int next = error * 7 >> 4;
    const int behind = error * 3 >> 4;
    const int below = error * 5 >> 4;
    return {next, behind, below, error - next - behind - below};
}

int16_t* errorsOf(Diffusion& diffusion, ptrdiff_t x) {
    return diffusion.errors.data + 4 * (x + ptrdiff_t{kMargin});
}

void diffuseColorRow(Diffusion& diffusion, const uint8_t* rgb, uint8_t* indices) {
    ColorRule& rule = diffusion.colorRule;
    const ptrdiff_t step = runsBackward(diffusion) ? -1 : 1;
    ptrdiff_t x = step > 0 ? 0 : static_cast<ptrdiff_t>(diffusion.width) - 1;
    int next[3] = {};
    int behind[3] = {};  // errors for the pixel behind that below, but for the last share
    int below[3] = {};
    for (uint32_t i = 0; i < diffusion.width; ++i, x += step) {
        int levels[3];
        for (int c = 0; c < 3; ++c) {
            const int wanted = rgb[x * 3 + c] * kUnit + errorsOf(diffusion, x)[c] + next[c];
            levels[c] = std::clamp(wanted, 0, kHighestLevel);
        }
        const uint32_t index =
            nearestEntry(rule.nearest, (levels[0] + kHalfUnit) / kUnit,
                         (levels[1] + kHalfUnit) / kUnit, (levels[2] + kHalfUnit) / kUnit);
        indices[x] = static_cast<uint8_t>(index);
        for (int c = 0; c < 3; ++c) {
            const int entry = rule.nearest.table.entries[index][c] * kUnit;
            const ColorShares shares = sharesOf(levels[c] - entry, rule.knee);
            next[c] = shares.next;
            errorsOf(diffusion, x - step)[c] = static_cast<int16_t>(behind[c] + shares.behind);
            behind[c] = below[c] + shares.below;
            below[c] = shares.ahead;
        }
    }
    for (int c = 0; c < 3; ++c) errorsOf(diffusion, x - step)[c] = static_cast<int16_t>(behind[c]);
}

#ifdef TIVAR_SSE2
void spreadLevels(const uint8_t* rgb, uint32_t width, uint64_t* levels) {
    for (uint32_t x = 0; x < width; ++x, rgb += 3)
        levels[x] = (rgb[0] | uint64_t{rgb[1]} << 16 | uint64_t{rgb[2]} << 32) * kUnit;
}

__m128i loadPixel(const void* from) {
    return _mm_loadl_epi64(static_cast<const __m128i*>(from));
}

// The entries nearest to the first four lanes and to the others.
struct TwoIndices {
    uint32_t first;
    uint32_t second;
};

// kGroups is the number of the only list; 0 = there are many.
template <uint32_t kGroups>
TwoIndices nearestOfTwo(NearestEntry& nearest, __m128i colors) {
    if constexpr (kGroups != 0) {
        const EntryGroup* groups = nearest.groups.data;
        return {leastKeyOf(groups, kGroups, _mm_shuffle_epi32(colors, 0x00),
                           _mm_shuffle_epi32(colors, 0x55)) &
                    15,
                leastKeyOf(groups, kGroups, _mm_shuffle_epi32(colors, 0xAA),
                           _mm_shuffle_epi32(colors, 0xFF)) &
                    15};
    } else {
        return {nearestEntry(nearest, _mm_extract_epi16(colors, 0), _mm_extract_epi16(colors, 1),
                             _mm_extract_epi16(colors, 2)),
                nearestEntry(nearest, _mm_extract_epi16(colors, 4), _mm_extract_epi16(colors, 5),
                             _mm_extract_epi16(colors, 6))};
    }
}

// Two rows in flight, a pixel of each in a vector: the second two pixels behind the first, which is
// then done with all that touches it. A row that is not at one of its pixels makes no error.
constexpr ptrdiff_t kLag = 2;

struct ColorFlight {
    Diffusion& diffusion;
    const uint64_t* first;
    const uint64_t* second;
    uint8_t* firstIndices;
    uint8_t* secondIndices;
    ptrdiff_t step;
    __m128i next = _mm_setzero_si128();
    __m128i behind = _mm_setzero_si128();
    __m128i below = _mm_setzero_si128();
    __m128i finished = _mm_setzero_si128();

    // x is the first row's place.
    template <uint32_t kGroups>
    void pass(ptrdiff_t x, bool firstIsThere, bool secondIsThere) {
        ColorRule& rule = diffusion.colorRule;
        const __m128i colors =
            _mm_unpacklo_epi64(loadPixel(first + x), loadPixel(second + x - kLag * step));
        const __m128i errors = _mm_unpacklo_epi64(loadPixel(errorsOf(diffusion, x)), finished);
        __m128i level = _mm_add_epi16(_mm_add_epi16(colors, errors), next);
        level = _mm_max_epi16(level, _mm_setzero_si128());
        level = _mm_min_epi16(level, _mm_set1_epi16(kHighestLevel));
        const TwoIndices indices = nearestOfTwo<kGroups>(
            rule.nearest, _mm_srli_epi16(_mm_add_epi16(level, _mm_set1_epi16(kHalfUnit)), 4));
        if (firstIsThere) firstIndices[x] = static_cast<uint8_t>(indices.first);
        if (secondIsThere) secondIndices[x - kLag * step] = static_cast<uint8_t>(indices.second);
        __m128i error =
            _mm_sub_epi16(level, _mm_unpacklo_epi64(loadPixel(rule.lanes + indices.first),
                                                    loadPixel(rule.lanes + indices.second)));
        if (!firstIsThere || !secondIsThere)
            error =
                _mm_and_si128(error, _mm_set_epi64x(secondIsThere ? -1 : 0, firstIsThere ? -1 : 0));
        share(error, rule.knee);
        storeBehind(x - (kLag + 1) * step);
    }

    void share(__m128i error, int16_t knee) {
        const __m128i most = _mm_set1_epi16(knee);
        const __m128i least = _mm_sub_epi16(_mm_setzero_si128(), most);
        const __m128i kept = _mm_min_epi16(_mm_max_epi16(error, least), most);
        error = _mm_srai_epi16(_mm_add_epi16(error, kept), 1);
        next = _mm_srai_epi16(_mm_mullo_epi16(error, _mm_set1_epi16(7)), 4);
        const __m128i toBehind = _mm_srai_epi16(_mm_mullo_epi16(error, _mm_set1_epi16(3)), 4);
        const __m128i toBelow = _mm_srai_epi16(_mm_mullo_epi16(error, _mm_set1_epi16(5)), 4);
        finished = _mm_add_epi16(behind, toBehind);
        behind = _mm_add_epi16(below, toBelow);
        below = _mm_sub_epi16(_mm_sub_epi16(error, next), _mm_add_epi16(toBehind, toBelow));
    }

    void storeBehind(ptrdiff_t x) {
        _mm_storel_pd(reinterpret_cast<double*>(errorsOf(diffusion, x)),
                      _mm_castsi128_pd(_mm_unpackhi_epi64(finished, finished)));
    }

    template <uint32_t kGroups>
    void fly() {
        const auto width = static_cast<ptrdiff_t>(diffusion.width);
        ptrdiff_t x = step > 0 ? 0 : width - 1;
        ptrdiff_t i = 0;
        for (; i < kLag; ++i, x += step) pass<kGroups>(x, i < width, false);
        for (; i < width; ++i, x += step) pass<kGroups>(x, true, true);
        for (; i < width + kLag; ++i, x += step) pass<kGroups>(x, false, true);
        finished = behind;
        storeBehind(x - (kLag + 1) * step);
    }
};

void diffuseTwoColorRows(Diffusion& diffusion, const uint8_t* first, const uint8_t* second,
                         uint8_t* firstIndices, uint8_t* secondIndices) {
    uint64_t* firstLevels = diffusion.levels.data + kMargin;
    uint64_t* secondLevels = firstLevels + size_t{diffusion.width} + kMargin;
    spreadLevels(first, diffusion.width, firstLevels);
    spreadLevels(second, diffusion.width, secondLevels);
    ColorFlight flight = {diffusion,    firstLevels,   secondLevels,
                          firstIndices, secondIndices, runsBackward(diffusion) ? -1 : 1};
    const NearestEntry& nearest = diffusion.colorRule.nearest;
    switch (nearest.few ? nearest.all.groups : 0) {
        case 1:
            return flight.fly<1>();
        case 2:
            return flight.fly<2>();
        case 3:
            return flight.fly<3>();
        case 4:
            return flight.fly<4>();
        default:
            return flight.fly<0>();
    }
}
#else
void diffuseTwoColorRows(Diffusion& diffusion, const uint8_t* first, const uint8_t* second,
                         uint8_t* firstIndices, uint8_t* secondIndices) {
    diffuseColorRow(diffusion, first, firstIndices);
    diffuseColorRow(diffusion, second, secondIndices);
}
#endif

}  // namespace

bool prepareDiffusion(Diffusion& diffusion, uint32_t width, const ColorTable& table) {
    diffusion.width = width;
    diffusion.rows = 0;
    diffusion.grey = isGreyTable(table);
    if (diffusion.grey) {
        prepareGreys(table, diffusion.greyRule);
        return diffusion.greys.obtain(size_t{width} * 2) && diffusion.errors.obtainZeroed(width);
    }
    const uint64_t pixels = uint64_t{width} + 2 * kMargin;
    if (pixels * 2 * sizeof(uint64_t) > PTRDIFF_MAX) return false;
    return prepareColors(table, diffusion.colorRule) &&
           diffusion.errors.obtainZeroed(static_cast<size_t>(pixels) * 4) &&
           diffusion.levels.obtainZeroed(static_cast<size_t>(pixels) * 2);
}

void diffuseRow(Diffusion& diffusion, const uint8_t* rgb, uint8_t* indices) {
    if (diffusion.grey) {
        greysOf(rgb, diffusion.width, diffusion.greys.data);
        if (diffusion.greyRule.ofTwo) {
            diffuseGreyRow<true>(diffusion, indices);
        } else {
            diffuseGreyRow<false>(diffusion, indices);
        }
    } else {
        diffuseColorRow(diffusion, rgb, indices);
    }
    ++diffusion.rows;
}

void diffuseTwoRows(Diffusion& diffusion, const uint8_t* first, const uint8_t* second,
                    uint8_t* firstIndices, uint8_t* secondIndices) {
    if (diffusion.rows % 2 != 0) {
        diffuseRow(diffusion, first, firstIndices);
        diffuseRow(diffusion, second, secondIndices);
        return;
    }
    if (diffusion.grey) {
        greysOf(first, diffusion.width, diffusion.greys.data);
        greysOf(second, diffusion.width, diffusion.greys.data + diffusion.width);
        if (diffusion.greyRule.ofTwo) {
            diffuseTwoGreyRows<true>(diffusion, firstIndices, secondIndices);
        } else {
            diffuseTwoGreyRows<false>(diffusion, firstIndices, secondIndices);
        }
    } else {
        diffuseTwoColorRows(diffusion, first, second, firstIndices, secondIndices);
    }
    diffusion.rows += 2;
}

}  // namespace tivar
