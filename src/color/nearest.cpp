#include "color/nearest.h"

#include <tivar/color.h>

#include <algorithm>

namespace tivar {
namespace {

struct Reach {
    uint32_t nearest;   // squared distance to the closest colour of the cell
    uint32_t farthest;  // and to the farthest one
};

constexpr int kCellSide = 8;

// Distances of one channel's value from the interval of the cell.
Reach channelReach(int value, int low) {
    const int high = low + kCellSide - 1;
    const int near = std::max({low - value, value - high, 0});
    const int far = std::max(value > low ? value - low : low - value,
                             value > high ? value - high : high - value);
    return {static_cast<uint32_t>(near * near), static_cast<uint32_t>(far * far)};
}

Reach reachOf(const uint8_t* entry, uint32_t cell) {
    Reach sum = {0, 0};
    for (int channel = 0; channel < 3; ++channel) {
        const int low = static_cast<int>(cell >> (10 - 5 * channel) & 31) * kCellSide;
        const Reach reach = channelReach(entry[channel], low);
        sum = {sum.nearest + reach.nearest, sum.farthest + reach.farthest};
    }
    return sum;
}

bool isGreyEntry(const uint8_t* entry) {
    return entry[0] == entry[1] && entry[1] == entry[2];
}

uint32_t tableReachBytes(int16_t count) {
    return count > 0 ? static_cast<uint32_t>(count) * 4 : 4;
}

}  // namespace

NearestFinder::NearestFinder(const uint8_t* colors, int16_t colorCount)
    : table(colors),
      count(colorCount),
      listBlock(allocateQuietly(TIVAR_GMEM_FLAGS, kCells * 2 * sizeof(uint32_t))),
      candidateBlock(allocateQuietly(TIVAR_GMEM_FLAGS, kCandidates * sizeof(Candidate))),
      reachBlock(allocateQuietly(TIVAR_GMEM_FLAGS, tableReachBytes(colorCount))),
      memoBlock(allocateQuietly(TIVAR_GMEM_FLAGS, sizeof(uint32_t) << kMemoBits)),
      lists(reinterpret_cast<uint32_t*>(listBlock.data)),
      candidates(reinterpret_cast<Candidate*>(candidateBlock.data)),
      reach(reinterpret_cast<uint32_t*>(reachBlock.data)),
      memo(reinterpret_cast<uint32_t*>(memoBlock.data)) {
    if (candidates == nullptr || reach == nullptr) lists = nullptr;
    // An empty slot is black's own, the only colour that its zeros could be taken for.
    if (memo != nullptr) memo[0] = searchTable(0, 0, 0) & 0xFF;
}

uint32_t NearestFinder::searchTable(uint8_t red, uint8_t green, uint8_t blue) const {
    return rlNearestRGBIndex(red, green, blue, table, count);
}

uint32_t NearestFinder::buildList(uint32_t cell, bool grey) {
    // Whatever the query, the nearest entry is no farther than the entry with the least farthest
    // reach.
    uint32_t bound = UINT32_MAX;
    for (int i = 0; i < count; ++i) {
        const uint8_t* entry = table + i * 3;
        if (isGreyEntry(entry) != grey) continue;
        const Reach entryReach = reachOf(entry, cell);
        reach[i] = entryReach.nearest;
        bound = std::min(bound, entryReach.farthest);
    }
    if (kCandidates - used < static_cast<uint32_t>(std::max<int>(count, 0)) + 1)
        return kSearchTable;
    Candidate* head = candidates + used;
    uint16_t listed = 0;
    for (int i = 0; i < count; ++i) {
        const uint8_t* entry = table + i * 3;
        if (isGreyEntry(entry) != grey || reach[i] > bound) continue;
        head[++listed] = {entry[0], entry[1], entry[2], static_cast<uint16_t>(i)};
    }
    head->index = listed;
    const uint32_t list = used;
    used += 1u + listed;
    return list;
}

}  // namespace tivar
