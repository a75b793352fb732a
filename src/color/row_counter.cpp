#include "color/row_counter.h"

#include "base/fields.h"

namespace tivar {
namespace {

// Carrying counts over takes as long as so many pixels.
constexpr uint64_t kManyPixels = 1 << 16;
// After so many they are, long before 32 bits do not hold them.
constexpr uint64_t kMostApart = 1 << 22;

constexpr int kPlaceBits = 3;
constexpr uint32_t kLevels = 32;

// A histogram's cell has the channels the other way round.
uint32_t turned(uint32_t cell) {
    return cell % kLevels << 10 | (cell & 31 << 5) | cell >> 10;
}

}  // namespace

RowCounter::RowCounter(uint16_t* cells, ColorContext& record, uint64_t pixels)
    : histogram(cells), context(record) {
    if (pixels >= kManyPixels) apart.obtainZeroed(kHistogramCells);
}

void RowCounter::addRow(const uint8_t* row, uint32_t width) {
    if (!apart) {
        forEachCell<kPlaceBits, 1>(row, width, [this](uint32_t cell, uint32_t, uint32_t) {
            countPixels(histogram, context, turned(cell), 1);
        });
        return;
    }
    if (counted >= kMostApart) finish();
    counted += width;
    uint32_t* const counts = apart.data;
    // In a smooth picture a pixel is likely to fall into the cell of the one beside it.
    constexpr int kStreams = 4;
    forEachCell<kPlaceBits, kStreams>(
        row, width, [counts](uint32_t cell, uint32_t, uint32_t) { ++counts[cell]; });
}

void RowCounter::finish() {
    if (!apart) return;
    for (uint32_t cell = 0; cell < kHistogramCells; ++cell) {
        uint32_t& count = apart[turned(cell)];
        countPixels(histogram, context, cell, count);
        count = 0;
    }
    counted = 0;
}

}  // namespace tivar
