// The nearest palette entry of one colour after the other, for steps whose next colour depends on
// what was found: quick from the question to the answer.
#pragma once

#include <cstdint>

#include "base/block.h"
#include "write/lanes.h"
#include "write/rows.h"

namespace tivar {

// Four entries as the search weighs them. An entry's key for a colour is 16 times its squared
// distance, less what all entries have in common, with its place among sixteen in the lowest bits:
// the least key is the nearest entry's, the first of several.
struct EntryGroup {
    int16_t redGreen[8];  // of one entry after the other, times -32
    int16_t blue[8];      // and zeros between
    int32_t bias[4];      // 16 times the squares' sum, the place, and kKeyBase
};

constexpr uint32_t kGroupEntries = 4;
constexpr uint32_t kMostGroups = 4;  // whose places four bits tell apart

// Keys are positive, and normal numbers when they are compared as floats: SSE2 finds the least of
// those quickest. A place without an entry has the greatest.
constexpr int32_t kKeyBase = 0x40000000;
constexpr int32_t kNoEntryBias = 0x7F000000;

// Entries in the order of the table, as groups.
struct EntryList {
    uint32_t first;   // group
    uint32_t groups;  // 0 = the list is not built yet
};

// Colours are cut into cells; each has the list of the entries that can be nearest inside it.
constexpr int kCellBits = 5;  // a channel
constexpr uint32_t kCells = 1u << (3 * kCellBits);

struct NearestEntry {
    ColorTable table;
    bool few;       // one list serves all colours
    EntryList all;  // every entry
    uint32_t used;  // groups
    Block<EntryGroup> groups;
    Block<uint8_t> indices;  // of the entries in the groups
    Block<EntryList> cells;  // unless few
};

// False without memory. table has 1 to 256 entries.
bool prepareNearest(NearestEntry& nearest, const ColorTable& table);

// Builds what the cell's list is to be; without room for it that is all entries.
EntryList buildList(NearestEntry& nearest, uint32_t cell);

inline EntryList listOf(NearestEntry& nearest, uint32_t red, uint32_t green, uint32_t blue) {
    if (nearest.few) return nearest.all;
    constexpr int kSideBits = 8 - kCellBits;
    const uint32_t cell =
        (red >> kSideBits << kCellBits | green >> kSideBits) << kCellBits | blue >> kSideBits;
    const EntryList list = nearest.cells[cell];
    return list.groups != 0 ? list : buildList(nearest, cell);
}

#ifdef TIVAR_SSE2
// Of four keys as floats the least.
inline __m128i lesserKeys(__m128i a, __m128i b) {
    return _mm_castps_si128(_mm_min_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b)));
}

inline __m128i keysOf(const EntryGroup& group, __m128i redGreen, __m128i blue) {
    const __m128i sum = _mm_add_epi32(_mm_madd_epi16(loadLanes(group.redGreen), redGreen),
                                      _mm_madd_epi16(loadLanes(group.blue), blue));
    return _mm_add_epi32(sum, loadLanes(group.bias));
}

inline uint32_t leastKey(__m128i keys) {
    keys = lesserKeys(keys, _mm_shuffle_epi32(keys, _MM_SHUFFLE(1, 0, 3, 2)));
    keys = lesserKeys(keys, _mm_shuffle_epi32(keys, _MM_SHUFFLE(2, 3, 0, 1)));
    return static_cast<uint32_t>(_mm_cvtsi128_si32(keys));
}

// The least key of up to kMostGroups groups, for a colour as four pairs each of red and green, and
// of blue and anything.
inline uint32_t leastKeyOf(const EntryGroup* groups, uint32_t count, __m128i redGreen,
                           __m128i blue) {
    __m128i keys = keysOf(groups[0], redGreen, blue);
    for (uint32_t i = 1; i < count; ++i) keys = lesserKeys(keys, keysOf(groups[i], redGreen, blue));
    return leastKey(keys);
}
#else
inline uint32_t keyOf(const EntryGroup& group, uint32_t i, int red, int green, int blue) {
    return static_cast<uint32_t>(group.redGreen[2 * i] * red + group.redGreen[2 * i + 1] * green +
                                 group.blue[2 * i] * blue + group.bias[i]);
}
#endif

// The first entry with the least squared distance.
inline uint32_t nearestEntry(NearestEntry& nearest, int red, int green, int blue) {
    const EntryList list = listOf(nearest, static_cast<uint32_t>(red), static_cast<uint32_t>(green),
                                  static_cast<uint32_t>(blue));
    const EntryGroup* groups = nearest.groups.data + list.first;
#ifdef TIVAR_SSE2
    const __m128i redGreen = _mm_set1_epi32(green << 16 | red);
    const __m128i blues = _mm_set1_epi32(blue);
#endif
    uint32_t best = UINT32_MAX;
    uint32_t bestPlace = 0;
    for (uint32_t start = 0; start < list.groups; start += kMostGroups) {
        const uint32_t count =
            list.groups - start < kMostGroups ? list.groups - start : kMostGroups;
        uint32_t key = UINT32_MAX;
#ifdef TIVAR_SSE2
        key = leastKeyOf(groups + start, count, redGreen, blues);
#else
        for (uint32_t i = 0; i < count * kGroupEntries; ++i) {
            const uint32_t other =
                keyOf(groups[start + i / kGroupEntries], i % kGroupEntries, red, green, blue);
            key = other < key ? other : key;
        }
#endif
        const bool nearer = key >> 4 < best;
        bestPlace = nearer ? start * kGroupEntries + (key & 15) : bestPlace;
        best = nearer ? key >> 4 : best;
    }
    return nearest.indices[list.first * kGroupEntries + bestPlace];
}

#ifdef TIVAR_SSE2
// The few entries for searches of eight colours at once, each one in all places of its group.
struct FlightEntries {
    uint32_t count;
    EntryGroup at[kMostGroups * kGroupEntries];
};

void spreadEntries(const ColorTable& table, FlightEntries& entries);

// The first nearest entries of eight colours, whose channels stand in a vector each, a byte each
// with the first lowest.
inline uint64_t nearestOfFew(const FlightEntries& entries, const __m128i (&color)[3]) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i redGreen[2] = {_mm_unpacklo_epi16(color[0], color[1]),
                                 _mm_unpackhi_epi16(color[0], color[1])};
    const __m128i blue[2] = {_mm_unpacklo_epi16(color[2], zero),
                             _mm_unpackhi_epi16(color[2], zero)};
    __m128i keys[2] = {_mm_set1_epi32(kNoEntryBias), _mm_set1_epi32(kNoEntryBias)};
    for (uint32_t i = 0; i < entries.count; ++i) {
        const EntryGroup& entry = entries.at[i];
        for (int half = 0; half < 2; ++half) {
            const __m128i sum =
                _mm_add_epi32(_mm_madd_epi16(loadLanes(entry.redGreen), redGreen[half]),
                              _mm_madd_epi16(loadLanes(entry.blue), blue[half]));
            keys[half] = lesserKeys(keys[half], _mm_add_epi32(sum, loadLanes(entry.bias)));
        }
    }
    const __m128i places = _mm_set1_epi32(kMostGroups * kGroupEntries - 1);
    const __m128i found =
        _mm_packs_epi32(_mm_and_si128(keys[0], places), _mm_and_si128(keys[1], places));
    uint64_t indices;
    _mm_storel_epi64(reinterpret_cast<__m128i*>(&indices), _mm_packus_epi16(found, found));
    return indices;
}

uint64_t nearestOfMany(NearestEntry& nearest, const __m128i (&color)[3]);
#endif

}  // namespace tivar
