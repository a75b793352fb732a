// A histogram of 6 bits a channel that knows the true mean of every cell's colours.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/block.h"
#include "base/fields.h"
#include "write/color_point.h"

namespace tivar {

// A cell is 4 levels of each channel wide.
constexpr int kCellBits = 2;
constexpr uint32_t kCellCount = 1 << 18;

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

    Block<uint64_t> cells;  // by cellOfPixel<kCellBits>
    Block<Aside> aside;
    size_t asideCount = 0;
};

// Calls visit(first) for every eight cells side by side: cubes of eight cells a side one after the
// other.
template <class Visit>
void forEachEight(Visit&& visit) {
    constexpr int kChannelBits = 8 - kCellBits;
    const auto spread = [](uint32_t green, uint32_t blue) {
        return green << kChannelBits | blue << 2 * kChannelBits;
    };
    for (uint32_t cube = 0; cube < 512; ++cube) {
        const uint32_t first = 8 * ((cube & 7) | spread(cube >> 3 & 7, cube >> 6));
        for (uint32_t row = 0; row < 64; ++row) visit(first + spread(row & 7, row >> 3));
    }
}

// Adds what a cell's word holds. The sums are of whole levels.
void addCell(uint32_t cell, uint64_t word, ColorSum& sum);

}  // namespace tivar
