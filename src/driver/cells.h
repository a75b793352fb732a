// What cell arrays and images share: the geometry of cell rows, and the writing of a finished
// picture.
#pragma once

#include <tivar/types.h>

namespace tivar {

// Bits of a cell from its precision: the absolute value, -32768 stands for 1.
uint32_t bitsOfPrecision(int32_t precision);

// Cells of a row that the device window shows, at most available.
uint32_t visibleCells(uint32_t available);

// Bytes of a row padded to a multiple of 4, and zeroed memory for rows of them; 0 when 32 bits do
// not hold the size.
uint32_t bytesOfCells(uint32_t cells, uint32_t bits);
MemHandle allocateCells(uint32_t cells, uint32_t bits, uint32_t rows);

enum ColorModel : int16_t { kModelIndexed = 0, kModelRgb = 1, kModelCmyk = 2, kModelRgbAlpha = 3 };

// Negotiates the output of a stand-alone cell array, scales and converts it, and writes it as a
// file. resolution is the viewport's, 0 = none. Failures and a cancel end the output quietly; image
// stays the caller's.
void RasterWriteCellData(MemHandle image, uint32_t width, uint32_t height, uint32_t resolution,
                         int16_t bits, int16_t model);

}  // namespace tivar
