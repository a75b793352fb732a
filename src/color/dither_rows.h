// Error diffusion without a working copy: a few rows are in flight, and each finished row is stored
// at once at its target depth. The results are those of the plain way.
#pragma once

#include <cstdint>

#include "color/bitmap.h"

namespace tivar {

struct DitherTarget {
    uint8_t* rows;  // zeroed, of the target's stride
    int16_t bitsPerPixel;
    const uint8_t* table;
    int16_t count;
};

// Pixels by which a row in flight follows the one above it: enough for that one to be done with
// every place that this one touches.
constexpr int32_t kRowLag = 3;

// Depths and tables that rows can be dithered to.
bool canDitherRows(int16_t destBits, int16_t count);

// False, with the target untouched, when there is no memory for the rows in flight.
bool ditherRowByRow(const SourceBitmap& source, int16_t sourceBits, const uint8_t* sourceTable,
                    const DitherTarget& target, uint32_t width, uint32_t height);

}  // namespace tivar
