// Where the cells of colour space, 64 a channel, lie in a table.
#pragma once

#include <cstdint>

namespace tivar {

constexpr uint32_t kCellCount = 1 << 18;
constexpr int kCellBits = 2;  // of a channel that tell colours of one cell apart

// A channel's part of the place of a level's cell. The upper three bits of all channels choose a
// page of memory, which similar colours share; the three below them the place in it.
constexpr uint32_t cellPart(uint32_t level, int channel) {
    const uint32_t six = level >> kCellBits;
    return (six >> 3) << (9 + 3 * channel) | (six & 7) << (3 * channel);
}

// The lowest level of a cell.
constexpr uint32_t lowestLevel(uint32_t cell, int channel) {
    return ((cell >> (9 + 3 * channel) & 7) << 3 | (cell >> (3 * channel) & 7)) << kCellBits;
}

}  // namespace tivar
