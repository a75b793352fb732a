// What cell arrays and images share: the geometry of cell rows.
#pragma once

#include <tivar/driver.h>

namespace tivar {

// Bits of a cell from its precision: the absolute value, -32768 stands for 1.
uint32_t bitsOfPrecision(int32_t precision);

// Cells of a row that the device window shows, at most available.
uint32_t visibleCells(const EMData& device, uint32_t available);

// Zeroed memory for rows of cells; 0 when 32 bits do not hold the size.
MemHandle allocateCells(uint32_t cells, uint32_t bits, uint32_t rows);

}  // namespace tivar
