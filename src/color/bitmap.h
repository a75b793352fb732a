// Bitmaps and colour tables as their blocks really are: sizes checked once, bytes that a block
// lacks read as zero, so that the loops over pixels need no checks.
#pragma once

#include <tivar/color.h>

#include <cstddef>

#include "base/memory.h"

namespace tivar {

// Bytes of a row, and of all rows; false when 32 bits do not hold them or the depth is negative.
struct BitmapSize {
    uint32_t stride = 0;
    uint32_t bytes = 0;
};
bool measureBitmap(uint32_t width, uint32_t height, int32_t bitsPerPixel, BitmapSize& size);

// Bytes of a row, padded to a multiple of 4; 0 where 32 bits do not hold its bits, and for depths
// whose 32 bits make a negative number.
uint32_t rowBytesOf(uint32_t width, uint32_t bitsPerPixel);

// Zeroed rows of a new bitmap; 0 when they cannot be had.
MemHandle allocateBitmap(uint32_t width, uint32_t height, int16_t bitsPerPixel);

// A source block with at least wanted bytes: the block itself, or a copy extended with zeros.
// data is null for handle 0 and when the copy cannot be had.
struct ExtendedBlock {
    ExtendedBlock(MemHandle block, uint32_t wanted);
    const uint8_t* data;
    OwnedBlock copy;
};

// Rows of a source bitmap; unusable (data null) for handle 0 and sizes that no block has.
struct SourceBitmap {
    SourceBitmap(MemHandle bits, uint32_t width, uint32_t height, int16_t bitsPerPixel);
    explicit operator bool() const { return block.data != nullptr; }
    const uint8_t* row(uint32_t y) const { return block.data + size_t{y} * size.stride; }

    BitmapSize size;
    bool valid;
    ExtendedBlock block;
};

// A colour table with count entries; data is null when there is no table.
struct SourceTable {
    SourceTable(MemHandle table, int32_t count)
        : block(table, count > 0 ? static_cast<uint32_t>(count) * 3 : 0) {}
    const uint8_t* data() const { return block.data; }
    ExtendedBlock block;
};

}  // namespace tivar
