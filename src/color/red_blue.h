#pragma once

#include <cstdint>

namespace tivar {

// Copies a row of 24-bit pixels with the first and third byte of every pixel exchanged. The rows
// are the same or lie apart.
void copyRowRedBlue(const uint8_t* from, uint8_t* to, uint32_t width);

inline void exchangeRowRedBlue(uint8_t* row, uint32_t width) {
    copyRowRedBlue(row, row, width);
}

}  // namespace tivar
