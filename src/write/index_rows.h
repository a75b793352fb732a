// Rows of indices: those that the picture has, and packing.
#pragma once

#include <cstdint>

#include "write/job.h"
#include "write/row_colors.h"
#include "write/rows.h"

namespace tivar {

// How the picture's indices become the file's.
struct KeptIndices {
    bool plain;        // none changes
    bool blackBeyond;  // those beyond the palette are black, as they should
    uint8_t translated[256];
};

// The table is the picture's palette, and black for the indices beyond it; without room for black
// they become the darkest entry.
void prepareKeptIndices(KeptIndices& kept, const Job& job, ColorTable& table);

// The file's index of every pixel of a row: the row itself or indices.
const uint8_t* keptIndicesOf(const KeptIndices& kept, const RowColors& how, const uint8_t* row,
                             uint8_t* indices);

// Packs width indices into bytes, the leftmost pixel highest; what is left of the last byte is 0.
void packIndices(const uint8_t* indices, uint32_t width, uint32_t bits, uint8_t* out);

}  // namespace tivar
