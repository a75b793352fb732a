// A row of the caller's picture as colours or as indices.
#pragma once

#include <cstdint>

#include "write/job.h"

namespace tivar {

struct RowColors {
    int32_t format;
    uint32_t width;
    bool overBackground;  // alpha mixes the colours with it
    uint8_t background[3];
    uint8_t shades[256][3];  // of greys and indices; an index beyond the palette is black
};

void prepareColors(RowColors& colors, const Job& job);

// Red, green, blue of every pixel: in scratch, or the row itself.
const uint8_t* colorsOf(const RowColors& how, const uint8_t* row, uint8_t* scratch);

// An index a byte, of pictures of indices and of greys.
const uint8_t* indicesOf(const RowColors& how, const uint8_t* row, uint8_t* scratch);

}  // namespace tivar
