// Whether pixels have kept their own colours, which the report tells.
#pragma once

#include <cstdint>

#include "write/rows.h"

namespace tivar {

// The colours of a row and the entries that it was given.
bool haveOwnEntries(const ColorTable& table, const uint8_t* colors, const uint8_t* indices,
                    uint32_t width);

// The colours of a row that becomes one of 16 bits, with so many of green.
bool haveOwnSteps(const uint8_t* colors, uint32_t width, int greenBits);

}  // namespace tivar
