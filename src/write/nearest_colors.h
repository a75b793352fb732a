// True nearest colours of a palette, for whole rows and any number of threads at once. Colour space
// is cut into cells; the answers of a cell are kept from when it is first asked for. They are the
// same whoever finds them, so that threads need not wait for each other.
#pragma once

#include <cstdint>

#include "base/block.h"
#include "color/cell_answers.h"
#include "write/four_floats.h"
#include "write/rows.h"

namespace tivar {

struct NearestColors {
    // The candidates of a region of several cells: their indices, in order.
    struct Region {
        uint32_t state;
        uint32_t count;
        uint8_t indices[256];
    };

    // Takes the palette over, 1 to 256 entries; false without memory. Not to be called while others
    // look for colours.
    bool prepare(const ColorTable& table);

    uint32_t count = 0;
    alignas(16) int16_t entries[256][4];  // red, green, blue, 0
    FourFloats channels[3][64];
    CellAnswers kept;
    Block<uint32_t> memo;  // colour << 8 | index, once there is no room for further cells
    Block<Region> regions;
};

// The index of the entry with the least squared distance in red, green and blue; the lowest of
// several.
uint8_t nearestColor(const NearestColors& colors, uint8_t red, uint8_t green, uint8_t blue);

// The same for width pixels of red, green, blue.
void mapRow(const NearestColors& colors, const uint8_t* rgb, uint32_t width, uint8_t* indices);

}  // namespace tivar
