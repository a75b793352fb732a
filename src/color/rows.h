// Whole rows of pixels as bytes, an index a byte: the packed depths unpacked and packed again.
#pragma once

#include <cstdint>

namespace tivar {

// Puts width indices of a row of 1 or 4 bits into indices, which has room for width + 8; other
// depths give none.
void unpackIndices(const uint8_t* row, int16_t bitsPerPixel, uint32_t width, uint8_t* indices);

// Packs the low bits of width indices into a zeroed row.
void packIndices(const uint8_t* indices, int16_t bitsPerPixel, uint32_t width, uint8_t* row);

}  // namespace tivar
