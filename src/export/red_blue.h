#pragma once

#include <cstdint>

namespace tivar {

// Exchanges the first and third byte of every pixel of a 24-bit row, in place.
void exchangeRowRedBlue(uint8_t* row, uint32_t width);

}  // namespace tivar
