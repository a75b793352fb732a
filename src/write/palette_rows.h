// Rows of indices into a palette that the picture did not bring.
#pragma once

#include <cstdint>

#include "write/rows.h"

namespace tivar {

struct PaletteRows {
    const ColorTable* table;
    uint32_t width;
    int32_t dither;  // enum TivarDither
};

// False without memory.
bool preparePaletteRows(PaletteRows& rows, const ColorTable& table, uint32_t width, int32_t dither);

// Before the first row of a pass.
void beginRows(PaletteRows& rows);

// Whether rows depend on those before them: error diffusion.
bool dependOnOrder(const PaletteRows& rows);

// The nearest, or dithered, entry of every colour of row y of the picture.
void indexRow(PaletteRows& rows, uint32_t y, const uint8_t* colors, uint8_t* indices);

}  // namespace tivar
