// The standard RLE8 and RLE4 encoding of rows, as small as the form allows; but literal runs have
// even lengths. Of 4 bits some readers lose the last pixel of odd ones; of 8 bits an odd one, which
// is padded, takes as much as a run of one pixel and an even literal run.
#pragma once

#include <cstdint>

#include "base/block.h"

namespace tivar {

// Ends of literal runs, the best in front: their places in the row, at most one a place.
struct LiteralEnds {
    static constexpr uint32_t kRoom = 256;  // more than the longest literal run has pixels
    uint32_t places[kRoom];
    uint32_t first;
    uint32_t last;  // behind it; both count on, and wrap
};

struct RleEncoder {
    uint32_t bits;    // 4 or 8
    uint32_t width;   // pixels of a row
    uint32_t period;  // pixels in a byte: after so many a run repeats
    uint32_t perWord;
    // Of the rest of the row from every pixel on: its bytes, the pixels of its first run, and
    // whether that is a literal one.
    Block<uint64_t> costs;
    Block<uint8_t> counts;
    Block<uint8_t> literal;
    Block<uint8_t> codes;
    LiteralEnds ends[4];  // by their remainder to perWord
};

// False without memory.
bool prepareEncoder(RleEncoder& encoder, uint32_t bits, uint32_t width);

// Encodes a row, an index a byte, into encoder.codes: their length. The codes of the last row of
// the file end the bitmap, those of any other the line.
uint64_t encodeRow(RleEncoder& encoder, const uint8_t* indices, bool last);

}  // namespace tivar
