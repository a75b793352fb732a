// Pixels of 16 bits: red, green, blue from the highest bits down, 5 each, green 5 or 6.
//
// A channel's steps mean the levels of a byte that are nearest to them: colours of such levels
// alone stay as they are, whatever the dithering.
#pragma once

#include <cstdint>

#include "base/block.h"
#include "write/rows.h"

namespace tivar {

// A level among a channel's steps.
struct HighPlace {
    uint8_t nearest;  // step
    uint8_t lower;
    uint8_t part;  // of the way from lower to the step above it, in 255ths
};

struct HighFormat {
    int greenBits;  // 5 or 6
    HighPlace fives[256];
    HighPlace sixes[256];
};

void prepareHigh(HighFormat& format, int greenBits);

// The nearest step of each channel.
void roundHighRow(const HighFormat& format, const uint8_t* rgb, uint32_t width, uint16_t* pixels);

// Ordered dithering of row y of the picture; rows may come in any order.
void orderHighRow(const HighFormat& format, uint32_t y, const uint8_t* rgb, uint32_t width,
                  uint16_t* pixels);

// Error diffusion of rows that come one after the other.
struct HighDiffusion {
    HighFormat format;
    uint32_t width;
    uint32_t rows;          // so far
    Block<int16_t> errors;  // on their way into the next row, with a pixel of margin
};

// False without memory.
bool prepareHighDiffusion(HighDiffusion& diffusion, uint32_t width, int greenBits);

void diffuseHighRow(HighDiffusion& diffusion, const uint8_t* rgb, uint16_t* pixels);

}  // namespace tivar
