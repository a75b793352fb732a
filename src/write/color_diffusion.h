// Error diffusion of colours: all three channels over any palette.
#pragma once

#include <cstdint>

#include "base/block.h"
#include "write/nearest_colors.h"
#include "write/rows.h"

namespace tivar {

struct ColorDiffusion {
    uint32_t width;
    int16_t knee;         // half of what an error has beyond it is dropped
    uint64_t lanes[256];  // entries in 16ths of a level, a channel 16 bits: red, green, blue, 0
    ColorTable table;
    NearestColors nearest;
    Block<int16_t> errors;  // on their way into the next row, four lanes a pixel, with margins
};

// False without memory. table has 1 to 256 entries.
bool prepareColors(ColorDiffusion& diffusion, uint32_t width, const ColorTable& table);

// Rows run backward or not as the caller says.
void diffuseColorRow(ColorDiffusion& diffusion, bool backward, const uint8_t* rgb,
                     uint8_t* indices);

// The same as kFlightRows calls for rows that run the same way.
void diffuseColorFlight(ColorDiffusion& diffusion, bool backward, const uint8_t* const* rgb,
                        uint8_t* const* indices);

}  // namespace tivar
