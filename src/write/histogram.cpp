#include "write/histogram.h"

#include <array>

namespace tivar {
namespace {

// A word of the table below: what a pixel adds to its cell, and above that the cell. In a cell's
// own word the count takes the upper bits, too.
constexpr int kSumBits = 15;
constexpr int kCountShift = 3 * kSumBits;
constexpr int kCellShift = kCountShift + 1;
constexpr uint64_t kAddend = (uint64_t{1} << kCellShift) - 1;
// As many pixels as the sums have room for.
constexpr int kFullShift = kCountShift + 13;
static_assert(((1 << 13) - 1) * 3 < 1 << kSumBits);

using Row = std::array<uint64_t, 256>;

constexpr std::array<Row, 3> makeTable() {
    std::array<Row, 3> table{};
    for (int channel = 0; channel < 3; ++channel) {
        for (uint32_t level = 0; level < 256; ++level) {
            table[static_cast<size_t>(channel)][level] =
                uint64_t{cellPart(level, channel)} << kCellShift |
                uint64_t{level & 3} << (kSumBits * channel) |
                uint64_t{channel == 0 ? 1u : 0u} << kCountShift;
        }
    }
    return table;
}

constexpr std::array<Row, 3> kTable = makeTable();

inline void addPixel(Histogram& histogram, uint64_t* cells, const uint8_t* rgb) {
    const uint64_t entry = kTable[0][rgb[0]] + kTable[1][rgb[1]] + kTable[2][rgb[2]];
    const auto cell = static_cast<uint32_t>(entry >> kCellShift);
    uint64_t& word = cells[cell];
    const uint64_t added = word + (entry & kAddend);
    if (added >> kFullShift == 0) {
        word = added;
        return;
    }
    histogram.aside[histogram.asideCount++] = {word, cell};
    word = entry & kAddend;
}

}  // namespace

bool Histogram::obtain(uint64_t pixels) {
    const uint64_t mostAside = (pixels >> (kFullShift - kCountShift)) * 2 + 1;
    asideCount = 0;
    return mostAside <= SIZE_MAX && cells.obtainZeroed(kCellCount) &&
           aside.obtain(static_cast<size_t>(mostAside));
}

// Four places of the row in turn: an addition need not wait for the one before, which in a smooth
// picture is likely to be to the same cell.
void Histogram::addRow(const uint8_t* rgb, uint32_t width) {
    const size_t quarter = width / 4;
    uint64_t* const words = cells.data;
    for (size_t x = 0; x < quarter; ++x) {
        const uint8_t* at = rgb + x * 3;
        addPixel(*this, words, at);
        addPixel(*this, words, at + quarter * 3);
        addPixel(*this, words, at + quarter * 6);
        addPixel(*this, words, at + quarter * 9);
    }
    for (size_t x = quarter * 4; x < width; ++x) addPixel(*this, words, rgb + x * 3);
}

uint32_t cellOfColor(uint32_t red, uint32_t green, uint32_t blue) {
    return cellPart(red, 0) | cellPart(green, 1) | cellPart(blue, 2);
}

void addCell(uint32_t cell, uint64_t word, ColorSum& sum) {
    const uint64_t count = word >> kCountShift;
    sum.weight += count;
    for (int i = 0; i < 3; ++i)
        sum.channels[i] +=
            (word >> (kSumBits * i) & ((1u << kSumBits) - 1)) + count * lowestLevel(cell, i);
}

}  // namespace tivar
