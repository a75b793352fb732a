// Rows of 24 and 32 bits, and of 16, as the file has them.
#pragma once

#include <cstdint>

#include "write/job.h"
#include "write/row_colors.h"

namespace tivar {

// Puts a row of the picture, without padding. scratch has room for three bytes a pixel.
void putColors24(const RowColors& how, const uint8_t* row, uint8_t* scratch, uint8_t* out);

// The fourth byte is alpha where it is kept, else 0.
void putColors32(const RowColors& how, bool keepsAlpha, const uint8_t* row, uint8_t* scratch,
                 uint8_t* out);

}  // namespace tivar
