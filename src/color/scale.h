// Resizing by dropping and repeating pixels. Positions are computed in double precision and
// truncated.
#pragma once

#include <cstdint>

namespace tivar {

// Whole bitmaps: Stretch works up from the bottom row, Shrink down from the top. The source has all
// its rows; the destination is zeroed. 0.
int32_t Shrink(const uint8_t* source, uint8_t* dest, int16_t bitsPerPixel, uint32_t sourceWidth,
               uint32_t sourceHeight, uint32_t destWidth, uint32_t destHeight);
int32_t Stretch(const uint8_t* source, uint8_t* dest, int16_t bitsPerPixel, uint32_t sourceWidth,
                uint32_t sourceHeight, uint32_t destWidth, uint32_t destHeight);

// Rows: StretchX repeats pixels from the right, ShrinkX drops them. 0.
int32_t ShrinkX(const uint8_t* sourceRow, uint8_t* destRow, int16_t bitsPerPixel,
                uint32_t sourceWidth, uint32_t rows, uint32_t destWidth);
int32_t StretchX(const uint8_t* sourceRow, uint8_t* destRow, int16_t bitsPerPixel,
                 uint32_t sourceWidth, uint32_t rows, uint32_t destWidth);

}  // namespace tivar
