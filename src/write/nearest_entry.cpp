#include "write/nearest_entry.h"

#include <algorithm>

namespace tivar {
namespace {

constexpr uint32_t kTableGroups = 256 / kGroupEntries;
// Room that even pictures of every colour rarely fill; untouched memory costs nothing.
constexpr uint32_t kRoom = 1u << 17;

void putEntry(EntryGroup& group, uint32_t i, uint32_t place, const uint8_t* entry) {
    const int red = entry[0];
    const int green = entry[1];
    const int blue = entry[2];
    group.redGreen[2 * i] = static_cast<int16_t>(-32 * red);
    group.redGreen[2 * i + 1] = static_cast<int16_t>(-32 * green);
    group.blue[2 * i] = static_cast<int16_t>(-32 * blue);
    group.blue[2 * i + 1] = 0;
    group.bias[i] = 16 * (red * red + green * green + blue * blue) +
                    static_cast<int32_t>(place % (kMostGroups * kGroupEntries)) + kKeyBase;
}

void putNothing(EntryGroup& group, uint32_t i) {
    group.redGreen[2 * i] = group.redGreen[2 * i + 1] = 0;
    group.blue[2 * i] = group.blue[2 * i + 1] = 0;
    group.bias[i] = kNoEntryBias;
}

EntryList putList(NearestEntry& nearest, const uint8_t* indices, uint32_t count) {
    const EntryList list = {nearest.used, (count + kGroupEntries - 1) / kGroupEntries};
    nearest.used += list.groups;
    for (uint32_t place = 0; place < list.groups * kGroupEntries; ++place) {
        EntryGroup& group = nearest.groups[list.first + place / kGroupEntries];
        const uint8_t index = indices[std::min(place, count - 1)];
        nearest.indices[list.first * kGroupEntries + place] = index;
        if (place < count) {
            putEntry(group, place % kGroupEntries, place, nearest.table.entries[index]);
        } else {
            putNothing(group, place % kGroupEntries);
        }
    }
    return list;
}

// Squared distances from an entry to a cell's nearest and farthest place.
struct Reach {
    int nearest;
    int farthest;
};

Reach reachOf(const uint8_t* entry, uint32_t cell) {
    constexpr int kSide = 1 << (8 - kCellBits);
    Reach reach = {0, 0};
    for (int channel = 0; channel < 3; ++channel) {
        const auto interval =
            static_cast<int>(cell >> (2 - channel) * kCellBits & ((1u << kCellBits) - 1));
        const int low = interval * kSide;
        const int high = low + kSide - 1;
        const int near = std::max({low - entry[channel], entry[channel] - high, 0});
        const int far = std::max(entry[channel] - low, high - entry[channel]);
        reach.nearest += near * near;
        reach.farthest += far * far;
    }
    return reach;
}

}  // namespace

bool prepareNearest(NearestEntry& nearest, const ColorTable& table) {
    nearest.table = table;
    nearest.few = table.count <= kMostGroups * kGroupEntries;
    nearest.used = 0;
    const uint32_t room = nearest.few ? kMostGroups : kRoom;
    if (!nearest.groups.obtain(room) || !nearest.indices.obtain(room * kGroupEntries)) return false;
    if (!nearest.few && !nearest.cells.obtainZeroed(kCells)) return false;
    uint8_t indices[256];
    for (uint32_t i = 0; i < table.count; ++i) indices[i] = static_cast<uint8_t>(i);
    nearest.all = putList(nearest, indices, table.count);
    return true;
}

EntryList buildList(NearestEntry& nearest, uint32_t cell) {
    EntryList& list = nearest.cells[cell];
    list = nearest.all;
    if (nearest.used + kTableGroups > kRoom) return list;
    // Whatever the colour, its nearest entry is no farther than the least of the farthest places.
    Reach reaches[256];
    int bound = INT32_MAX;
    for (uint32_t i = 0; i < nearest.table.count; ++i) {
        reaches[i] = reachOf(nearest.table.entries[i], cell);
        bound = std::min(bound, reaches[i].farthest);
    }
    uint8_t indices[256];
    uint32_t count = 0;
    for (uint32_t i = 0; i < nearest.table.count; ++i)
        if (reaches[i].nearest <= bound) indices[count++] = static_cast<uint8_t>(i);
    list = putList(nearest, indices, count);
    return list;
}

#ifdef TIVAR_SSE2
void spreadEntries(const ColorTable& table, FlightEntries& entries) {
    entries.count = table.count;
    for (uint32_t i = 0; i < table.count; ++i) {
        EntryGroup group;
        for (uint32_t copy = 0; copy < kGroupEntries; ++copy)
            putEntry(group, copy, i, table.entries[i]);
        entries.at[i] = group;
    }
}

uint64_t nearestOfMany(NearestEntry& nearest, const __m128i (&color)[3]) {
    int16_t channels[3][8];
    for (int c = 0; c < 3; ++c) storeLanes(channels[c], color[c]);
    uint64_t indices = 0;
    for (int i = 0; i < 8; ++i)
        indices |= uint64_t{nearestEntry(nearest, channels[0][i], channels[1][i], channels[2][i])}
                   << 8 * i;
    return indices;
}
#endif

}  // namespace tivar
