// Rows of 16 bits, as the file has them.
#pragma once

#include <tivar/write.h>

#include <cstdint>

#include "write/high_color.h"

namespace tivar {

struct HighRows {
    int32_t dither;  // enum TivarDither
    uint32_t width;
    HighFormat format;
    HighDiffusion diffusion;
};

// masks: enum TivarMasks. False without memory.
bool prepareHighRows(HighRows& rows, uint32_t width, int32_t masks, int32_t dither);

// The colours of row y of the picture. out is aligned like a pixel. Error diffusion takes rows one
// after the other, on one thread.
void putHighRow(HighRows& rows, uint32_t y, const uint8_t* colors, uint8_t* out);

}  // namespace tivar
