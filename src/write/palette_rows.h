// Rows of indices into a palette that the picture did not bring.
#pragma once

#include <cstdint>

#include "write/nearest_colors.h"
#include "write/rows.h"

namespace tivar {

struct PaletteRows {
    uint32_t width;
    int32_t dither;  // enum TivarDither
    NearestColors nearest;
};

// False without memory.
bool preparePaletteRows(PaletteRows& rows, const ColorTable& table, uint32_t width, int32_t dither);

// Before the first row of a pass.
void beginRows(PaletteRows& rows);

// Whether rows depend on those before them: error diffusion.
bool dependOnOrder(const PaletteRows& rows);

// The nearest, or dithered, entry of every colour of row y of the picture. Rows that do not depend on
// others may be asked for by several threads.
void indexRow(PaletteRows& rows, uint32_t y, const uint8_t* colors, uint8_t* indices);

}  // namespace tivar
