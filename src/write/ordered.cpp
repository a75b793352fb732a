#include "write/ordered.h"

#include <algorithm>
#include <cstring>

#include "write/threshold_mask.h"

namespace tivar {
namespace {

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

// Entries that a colour is mixed of, dark ones first.
constexpr int kMixed = 32;
struct Mixture {
    uint8_t indices[kMixed];
};

// Takes entry after entry, each the nearest to the colour and what the ones before it failed by.
void countMixed(const Ordered& ordered, const NearestColors& nearest, const uint8_t* color,
                uint8_t (&counts)[256]) {
    std::memset(counts, 0, sizeof counts);
    int failed[3] = {};
    for (int i = 0; i < kMixed; ++i) {
        uint8_t wanted[3];
        for (int c = 0; c < 3; ++c)
            wanted[c] = static_cast<uint8_t>(std::clamp(color[c] + failed[c], 0, 255));
        const uint8_t index = nearestColor(nearest, wanted[0], wanted[1], wanted[2]);
        ++counts[index];
        for (int c = 0; c < 3; ++c) failed[c] += color[c] - ordered.table.entries[index][c];
    }
}

Mixture mix(const Ordered& ordered, const NearestColors& nearest, const uint8_t* color) {
    uint8_t counts[256];
    countMixed(ordered, nearest, color, counts);
    Mixture mixture;
    uint8_t* to = mixture.indices;
    for (uint32_t i = 0; to < mixture.indices + kMixed; ++i) {
        const uint8_t index = ordered.byLight[i];
        to = std::fill_n(to, counts[index], index);
    }
    return mixture;
}

// The last mixtures of a row, by colour.
struct RecentMixtures {
    static constexpr int kSlotBits = 8;
    static constexpr uint32_t kHashFactor = 2654435769u;  // 2^32 over the golden ratio

    RecentMixtures() { std::fill(colors, colors + (1 << kSlotBits), UINT32_MAX); }

    const Mixture& of(const Ordered& ordered, const NearestColors& nearest, const uint8_t* color) {
        const uint32_t packed = static_cast<uint32_t>(color[0] << 16 | color[1] << 8 | color[2]);
        const uint32_t slot = packed * kHashFactor >> (32 - kSlotBits);
        if (colors[slot] != packed) {
            colors[slot] = packed;
            mixtures[slot] = mix(ordered, nearest, color);
        }
        return mixtures[slot];
    }

    uint32_t colors[1 << kSlotBits];
    Mixture mixtures[1 << kSlotBits];
};

}  // namespace

void prepareOrdered(Ordered& ordered, const ColorTable& table) {
    ordered.ofGreys = isGreyTable(table);
    if (ordered.ofGreys) return placeGreys(table, ordered.places);
    ordered.table = table;
    for (uint32_t i = 0; i < table.count; ++i) ordered.byLight[i] = static_cast<uint8_t>(i);
    std::sort(ordered.byLight, ordered.byLight + table.count, [&table](uint8_t a, uint8_t b) {
        const uint8_t lightOfA = greyOf(table.entries[a]);
        const uint8_t lightOfB = greyOf(table.entries[b]);
        return lightOfA != lightOfB ? lightOfA < lightOfB : a < b;
    });
}

void orderRow(const Ordered& ordered, const NearestColors& nearest, uint32_t y, const uint8_t* rgb,
              uint32_t width, uint8_t* indices) {
    const uint8_t* thresholds = thresholdsOf(y);
    if (ordered.ofGreys) return orderGreys(ordered.places, thresholds, rgb, width, indices);
    RecentMixtures recent;
    for (uint32_t x = 0; x < width; ++x, rgb += 3) {
        const uint32_t place = thresholds[x % kMaskSide] * uint32_t{kMixed} / 255;
        indices[x] = recent.of(ordered, nearest, rgb).indices[place];
    }
}

}  // namespace tivar
