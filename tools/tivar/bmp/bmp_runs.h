// Run-length encoded rows: the standard RLE8 and RLE4, RLE24 of OS/2 and the library's native form.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "bmp/bmp_flaw.h"

namespace tool {

struct RunShape {
    uint64_t rowPixels{};     // of the native form: with the padding
    uint64_t paddedPixels{};  // as many as a raw row has room for
    uint64_t rows{};
    unsigned bits{};
    bool native{};
};

// Where the data of a row begin. Rows that deltas pass over and rows after the end have no mark.
struct RowMark {
    uint64_t row;  // in file order
    uint64_t x;
    size_t at;  // in the encoded bytes
};

// What one walk over the encoded bytes finds.
struct RunMap {
    std::vector<RowMark> marks;
    size_t end{};  // behind the last byte that belongs to the picture
    BmpFlaws flaws;
    std::string notDecoded;  // a kind that is known to exist, but not here; "" = none
};

using RunBytes = std::span<const uint8_t>;

// base is the place of the encoded bytes in the file.
RunMap mapRuns(RunBytes bytes, const RunShape& shape, size_t base);

// One row, a byte per pixel or blue, green and red of 24 bits, in the room of shape.rowPixels;
// pixels that are not set become 0.
void expandRow(RunBytes bytes, const RunShape& shape, const RunMap& map, uint64_t row,
               uint8_t* pixels);

// Whether there are only pairs as far as the rows go, though they may be damaged.
bool isWithoutCodes(RunBytes bytes, const RunShape& shape);

// Whether the bytes are nothing but every row in the native form.
bool isExactNative(RunBytes bytes, const RunShape& shape);

}  // namespace tool
