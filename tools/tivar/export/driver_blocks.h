// Parameter blocks of the raster driver's operations.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "export/picture.h"

namespace tool {

// The opcode, and numbers at fixed byte positions behind it, which need no alignment.
struct DriverBlock {
    std::vector<uint8_t> bytes;

    DriverBlock(uint32_t opcode, size_t size) : bytes(size) { put(0, opcode); }

    template <class Number>
    void put(size_t position, Number number) {
        std::memcpy(bytes.data() + position, &number, sizeof number);
    }
};

// Operations without parameters.
DriverBlock plainBlock(uint32_t opcode);

// A window of width x height units whose y grows from the first corner to the second, as that of
// the cell arrays does: rows then keep their order.
DriverBlock windowBlock(uint32_t width, uint32_t height);

// Units of the window per inch; 0 = a window without a measure.
DriverBlock scaleBlock(uint32_t unitsPerInch);

// The colour table of a picture of 8 bits or fewer.
DriverBlock colorsBlock(const Picture& picture);

DriverBlock beginImageBlock(const Picture& picture);
DriverBlock endImageBlock();

// Rows of the picture in the order in which they lie. The block holds their address only.
DriverBlock cellArrayBlock(const Picture& picture, uint32_t firstRow, uint32_t rows);

}  // namespace tool
