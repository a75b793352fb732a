// A histogram of 6 bits a channel that knows the true mean of every cell's colours.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/block.h"
#include "write/color_place.h"
#include "write/color_point.h"

namespace tivar {

// A cell is one word, so that a pixel costs one look and one addition: the number of its pixels,
// and for each channel the sum of the two bits that the cell's place does not tell. What a word has
// no room for any more is laid aside.
struct Histogram {
    struct Aside {
        uint64_t word;
        uint32_t cell;
    };

    // For so many pixels at most; false without memory.
    bool obtain(uint64_t pixels);

    void addRow(const uint8_t* rgb, uint32_t width);

    Block<uint64_t> cells;
    Block<Aside> aside;
    size_t asideCount = 0;
};

// The cell that a colour falls into. Cells of similar colours lie in the same page of memory.
uint32_t cellOfColor(uint32_t red, uint32_t green, uint32_t blue);

// Adds what a cell's word holds. The sums are of whole levels.
void addCell(uint32_t cell, uint64_t word, ColorSum& sum);

}  // namespace tivar
