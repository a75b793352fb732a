// Rows of indices into a palette that the picture did not bring.
#pragma once

#include <tivar/write.h>

#include <cstdint>

#include "write/diffuse.h"
#include "write/flight.h"
#include "write/nearest_colors.h"
#include "write/ordered.h"
#include "write/rows.h"

namespace tivar {

struct PaletteRows {
    uint32_t width;
    int32_t dither;  // enum TivarDither
    NearestColors nearest;
    Ordered ordered;
    Diffusion diffusion;
};

// Rows that are handed over together.
struct RowGroup {
    uint32_t count;
    uint32_t places[kFlightRows];  // in the picture, from the top
    const uint8_t* rows[kFlightRows];
};

// False without memory.
bool preparePaletteRows(PaletteRows& rows, const ColorTable& table, uint32_t width, int32_t dither);

// Before the first row of a further pass: false without memory.
bool beginAgain(PaletteRows& rows, const ColorTable& table);

// Whether rows depend on those before them: then groups are full, but for the last one.
inline bool dependOnOrder(const PaletteRows& rows) {
    return rows.dither == TIVAR_DITHER_DIFFUSE;
}

// The nearest, or dithered, entries of a group of rows of colours. Rows that do not depend on
// others may be asked for by several threads.
void indexGroup(PaletteRows& rows, const RowGroup& colors, uint8_t* const* indices);

}  // namespace tivar
