// Error diffusion over a palette: for looking at.
//
// Rows come one after the other, in either order of the file. Eight of them run the same way and
// the next eight the opposite way: patterns find no slope to grow along, and eight rows can be in
// flight at once. Errors are kept in sixteenths of a level.
//
// Palettes of greys are served by the grey of each pixel, others by all three channels.
#pragma once

#include <cstdint>

#include "write/color_diffusion.h"
#include "write/flight.h"
#include "write/grey_diffusion.h"
#include "write/rows.h"

namespace tivar {

struct Diffusion {
    uint32_t rows;  // so far
    bool ofGreys;
    GreyDiffusion greys;
    ColorDiffusion colors;
};

// False without memory. table has 1 to 256 entries.
bool prepareDiffusion(Diffusion& diffusion, uint32_t width, const ColorTable& table);

// The next rows: red, green, blue of every pixel become its index. The result is the same however
// many come in a call; kFlightRows at a time, from the first row on, are several times quicker.
void diffuseRows(Diffusion& diffusion, const uint8_t* const* rgb, uint8_t* const* indices,
                 uint32_t count);

}  // namespace tivar
