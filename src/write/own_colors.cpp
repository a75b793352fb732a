#include "write/own_colors.h"

#include <cstring>

namespace tivar {
namespace {

// Whether a level of a byte is the one that stands for the step nearest to it.
bool isStep(uint32_t level, uint32_t highest) {
    const uint32_t step = (2 * level * highest + 255) / 510;
    return (2 * step * 255 + highest) / (2 * highest) == level;
}

}  // namespace

bool haveOwnEntries(const ColorTable& table, const uint8_t* colors, const uint8_t* indices,
                    uint32_t width) {
    for (uint32_t x = 0; x < width; ++x, colors += 3)
        if (std::memcmp(colors, table.entries[indices[x]], 3) != 0) return false;
    return true;
}

bool haveOwnSteps(const uint8_t* colors, uint32_t width, int greenBits) {
    const uint32_t highestGreen = (1u << greenBits) - 1;
    for (uint32_t x = 0; x < width; ++x, colors += 3)
        if (!isStep(colors[0], 31) || !isStep(colors[1], highestGreen) || !isStep(colors[2], 31))
            return false;
    return true;
}

}  // namespace tivar
