// Nearest colours and the maps from one colour table to another.
#include <cstdint>

#include "base/memory.h"
#include "base/numbers.h"
#include "color/depth.h"
#include "color/grey.h"
#include "color/pixel.h"

namespace tivar {
namespace {

uint32_t squaredDifference(int32_t a, int32_t b) {
    const auto difference = static_cast<uint32_t>(a - b);
    return difference * difference;
}

}  // namespace
}  // namespace tivar

using namespace tivar;

uint32_t rlNearestRGBIndex(int16_t red, int16_t green, int16_t blue, const uint8_t* colorTable,
                           int16_t colorCount) {
    if (colorTable == nullptr) return 0;
    const bool wantsGrey = isGreyQuery(red, green, blue);
    uint32_t best = 2147483647;
    uint32_t bestIndex = 0;
    for (int32_t i = 0; i < colorCount; ++i) {
        const uint8_t* entry = colorTable + i * 3;
        if (isGreyEntry(entry) != wantsGrey) continue;
        const uint32_t distance = squaredDifference(blue, entry[2]) +
                                  squaredDifference(green, entry[1]) +
                                  squaredDifference(red, entry[0]);
        if (distance == 0) return static_cast<uint32_t>(i);
        if (distance < best) {
            best = distance;
            bestIndex = static_cast<uint32_t>(i);
        }
    }
    return bestIndex;
}

MemHandle rlBuildColormap(const uint8_t* sourceTable, int16_t sourceBits, const uint8_t* destTable,
                          int16_t destBits, int16_t destCount) {
    // Deeper pixels carry their own colour and need no map.
    if (sourceBits < 0 || sourceBits > 15) return 0;
    const uint32_t entries = entriesOfDepth(sourceBits);
    if (sourceBits <= destBits && destTable == nullptr) {
        destTable = sourceTable;
        destCount = static_cast<int16_t>(entries);
    }
    OwnedBlock map(rlGetMemory(4, entries));
    if (!map) return 0;
    if (sourceTable == nullptr || destTable == nullptr) return map.release();
    auto* values = reinterpret_cast<uint32_t*>(map.data);
    for (uint32_t i = 0; i < entries; ++i) {
        const uint8_t* entry = sourceTable + size_t{i} * 3;
        const uint32_t packed = packRgb(entry[0], entry[1], entry[2]);
        values[i] =
            destBits == kTrueColorBits ? packed : nearestToPacked(packed, destTable, destCount);
    }
    return map.release();
}

int32_t rlFreeColormap(MemHandle map) {
    GlobalFree(map);
    return 0;
}
