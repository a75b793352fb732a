#include "write/ordered.h"

#include <algorithm>
#include <cstring>

#include "write/flight.h"
#include "write/threshold_mask.h"

namespace tivar {
namespace {

// ---- Greys ----

void orderGreys(const GreyPlaces& places, const uint8_t* thresholds, const uint8_t* rgb,
                uint32_t width, uint8_t* indices) {
    uint8_t greys[kMaskSide];
    for (uint32_t x = 0; x < width; x += kMaskSide) {
        const uint32_t count = std::min(kMaskSide, width - x);
        greysOf(rgb + size_t{x} * 3, count, greys);
        for (uint32_t i = 0; i < count; ++i) {
            const GreyPlace& place = places.at[greys[i]];
            indices[x + i] = place.part > thresholds[i] ? place.upperIndex : place.lowerIndex;
        }
    }
}

// ---- Colours ----

// So many are mixed at a time, whose searches do not wait for each other.
constexpr uint32_t kTogether = 8;

struct Mixtures {
    uint8_t colors[kTogether][3];
    uint64_t taken[kMostMixed];  // entry by entry the indices, a byte a colour, the first lowest
};

uint8_t takenBy(const Mixtures& mixtures, uint32_t i, uint32_t color) {
    return static_cast<uint8_t>(mixtures.taken[i] >> 8 * color);
}

// Takes entry after entry, each the nearest to the colour and what the ones before it failed by.
void mixColor(const Ordered& ordered, const NearestColors& nearest, uint32_t which,
              Mixtures& mixtures) {
    const uint8_t* color = mixtures.colors[which];
    int failed[3] = {};
    for (uint32_t i = 0; i < ordered.mixed; ++i) {
        uint8_t wanted[3];
        for (int c = 0; c < 3; ++c)
            wanted[c] = static_cast<uint8_t>(std::clamp(color[c] + failed[c], 0, 255));
        const uint8_t index = nearestColor(nearest, wanted[0], wanted[1], wanted[2]);
        mixtures.taken[i] |= uint64_t{index} << 8 * which;
        for (int c = 0; c < 3; ++c) failed[c] += color[c] - ordered.table.entries[index][c];
    }
}

#ifdef TIVAR_SSE2
void mixOfFew(const Ordered& ordered, Mixtures& mixtures) {
    alignas(16) uint64_t pixels[kTogether];
    for (uint32_t i = 0; i < kTogether; ++i) pixels[i] = pixelLanes(mixtures.colors[i]);
    const FlightNumbers color = turnPixels(pixels);
    __m128i failed[3] = {};
    for (uint32_t i = 0; i < ordered.mixed; ++i) {
        __m128i wanted[3];
        for (int c = 0; c < 3; ++c) {
            const __m128i sum = _mm_add_epi16(color.number[c], failed[c]);
            wanted[c] = _mm_min_epi16(_mm_max_epi16(sum, _mm_setzero_si128()), _mm_set1_epi16(255));
        }
        mixtures.taken[i] = nearestOfFew(ordered.few, wanted);
        const FlightNumbers entry = numbersOf(ordered.lanes, mixtures.taken[i]);
        for (int c = 0; c < 3; ++c)
            failed[c] = _mm_add_epi16(failed[c], _mm_sub_epi16(color.number[c], entry.number[c]));
    }
}
#endif

void mixColors(const Ordered& ordered, const NearestColors& nearest, Mixtures& mixtures) {
#ifdef TIVAR_SSE2
    if (ordered.table.count <= kFewEntries) return mixOfFew(ordered, mixtures);
#endif
    std::fill(mixtures.taken, mixtures.taken + ordered.mixed, 0);
    for (uint32_t i = 0; i < kTogether; ++i) mixColor(ordered, nearest, i, mixtures);
}

// Of the entries that a colour is mixed of, dark ones first, the one that the threshold points at.
uint8_t pick(const Ordered& ordered, const Mixtures& mixtures, uint32_t color, uint8_t threshold) {
    uint8_t counts[256] = {};
    for (uint32_t i = 0; i < ordered.mixed; ++i)
        ++counts[ordered.lightRanks[takenBy(mixtures, i, color)]];
    const uint32_t place = threshold * ordered.mixed / 255;
    uint32_t rank = 0;
    for (uint32_t darker = counts[0]; darker <= place; darker += counts[rank]) ++rank;
    return ordered.byLight[rank];
}

void orderColors(const Ordered& ordered, const NearestColors& nearest, const uint8_t* thresholds,
                 const uint8_t* rgb, uint32_t width, uint8_t* indices) {
    Mixtures mixtures = {};
    bool mixed = false;
    for (uint32_t x = 0; x < width; x += kTogether) {
        const uint32_t count = std::min(kTogether, width - x);
        const uint8_t* colors = rgb + size_t{x} * 3;
        // Flat areas are mixed once.
        if (!mixed || std::memcmp(mixtures.colors, colors, size_t{count} * 3) != 0) {
            std::memcpy(mixtures.colors, colors, size_t{count} * 3);
            mixColors(ordered, nearest, mixtures);
            mixed = true;
        }
        for (uint32_t i = 0; i < count; ++i)
            indices[x + i] = pick(ordered, mixtures, i, thresholds[(x + i) % kMaskSide]);
    }
}

void sortByLight(Ordered& ordered) {
    const ColorTable& table = ordered.table;
    for (uint32_t i = 0; i < table.count; ++i) ordered.byLight[i] = static_cast<uint8_t>(i);
    std::sort(ordered.byLight, ordered.byLight + table.count, [&table](uint8_t a, uint8_t b) {
        const uint8_t lightOfA = lumaOf(table.entries[a]);
        const uint8_t lightOfB = lumaOf(table.entries[b]);
        return lightOfA != lightOfB ? lightOfA < lightOfB : a < b;
    });
    for (uint32_t rank = 0; rank < table.count; ++rank)
        ordered.lightRanks[ordered.byLight[rank]] = static_cast<uint8_t>(rank);
}

}  // namespace

void prepareOrdered(Ordered& ordered, const ColorTable& table) {
    ordered.ofGreys = isGreyTable(table);
    if (ordered.ofGreys) return placeGreys(table, ordered.places);
    ordered.table = table;
    ordered.mixed = table.count <= kFewEntries ? kMostMixed : kLeastMixed;
    sortByLight(ordered);
#ifdef TIVAR_SSE2
    for (uint32_t i = 0; i < table.count; ++i) ordered.lanes[i] = pixelLanes(table.entries[i]);
    if (table.count <= kFewEntries) weighEntries(table, ordered.few);
#endif
}

void orderRow(const Ordered& ordered, const NearestColors& nearest, uint32_t y, const uint8_t* rgb,
              uint32_t width, uint8_t* indices) {
    const uint8_t* thresholds = thresholdsOf(y);
    if (ordered.ofGreys) {
        orderGreys(ordered.places, thresholds, rgb, width, indices);
    } else {
        orderColors(ordered, nearest, thresholds, rgb, width, indices);
    }
}

}  // namespace tivar
