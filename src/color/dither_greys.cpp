#include "color/dither_greys.h"

#include <tivar/color.h>

#include <algorithm>
#include <utility>

#include "color/grey.h"

namespace tivar {
namespace {

int clampByte(int value) {
    return std::clamp(value, 0, 255);
}

Shares<int16_t> narrowed(const Shares<int>& shares) {
    return {static_cast<int16_t>(shares.right), static_cast<int16_t>(shares.below),
            static_cast<int16_t>(shares.belowLeft), static_cast<int16_t>(shares.belowRight)};
}

// A row on its way from left to right. Its levels are read only; what they pass on within the row
// stays in a register.
struct GreyRow {
    const GreyStep* steps;
    const uint8_t* row;
    uint8_t* next;
    uint8_t* indices;
    uint8_t last;  // index stored
    int level = 0;
    int belowLeft = 0;
    int below = 0;

    void begin() {
        level = row[0];
        belowLeft = 0;
        below = next[0];
    }

    // Of any pixel but the last.
    void pass(uint32_t x) {
        const GreyStep& step = steps[level];
        level = clampByte(row[x + 1] + step.shares.right);
        last = step.stored;
        indices[x] = last;
        if (x > 0) next[x - 1] = static_cast<uint8_t>(clampByte(belowLeft + step.shares.belowLeft));
        belowLeft = clampByte(below + step.shares.below);
        below = clampByte(next[x + 1] + step.shares.belowRight);
    }

    void finish(uint32_t width) {
        if (width > 1) {
            next[width - 2] = static_cast<uint8_t>(belowLeft);
            next[width - 1] = static_cast<uint8_t>(below);
        }
        indices[width - 1] = last;
    }
};

// Diffuses two rows that follow each other, the second one behind the first, so that each one's
// waits hide the other's.
void diffuseTwoRows(GreyRow first, GreyRow second, uint32_t width) {
    const uint32_t passes = width - 1;
    const uint32_t ahead = std::min<uint32_t>(kRowLag, passes);
    first.begin();
    for (uint32_t x = 0; x < ahead; ++x) first.pass(x);
    if (passes > ahead) second.begin();
    for (uint32_t x = ahead; x < passes; ++x) {
        first.pass(x);
        second.pass(x - ahead);
    }
    first.finish(width);
    if (passes <= ahead) second.begin();
    for (uint32_t x = passes - ahead; x < passes; ++x) second.pass(x);
    second.finish(width);
}

}  // namespace

bool GreyDiffuser::serves(const DitherTarget& target) {
    if (target.bitsPerPixel != 1) return false;
    for (int i = 0; i < target.count; ++i) {
        if (isGreyEntry(target.table + i * 3)) return true;
    }
    return false;
}

GreyDiffuser::GreyDiffuser(const DitherTarget& target, const uint8_t* stored, uint32_t rowWidth)
    : width(rowWidth),
      firstStored(stored[0]),
      rowBlock(allocateScratch(uint64_t{rowWidth} * 3)),
      rows() {
    if (!rowBlock) return;
    for (size_t row = 0; row < 3; ++row) rows[row] = rowBlock.data + row * width;
    for (int level = 0; level < 256; ++level) {
        const auto grey = static_cast<int16_t>(level);
        const uint32_t index = rlNearestRGBIndex(grey, grey, grey, target.table, target.count);
        const int error = level - target.table[size_t{index} * 3];
        steps[level] = {narrowed(sharesOf(error)), stored[index]};
    }
}

void GreyDiffuser::load(int row, uint8_t* colors) {
    uint8_t* levels = rows[row];
    for (uint32_t x = 0; x < width; ++x, colors += 3) levels[x] = greyOf(colors);
}

void GreyDiffuser::diffuse(uint8_t* firstIndices, uint8_t* secondIndices) {
    diffuseTwoRows({steps, rows[0], rows[1], firstIndices, firstStored},
                   {steps, rows[1], rows[2], secondIndices, firstStored}, width);
}

void GreyDiffuser::advance() {
    std::swap(rows[0], rows[2]);
}

}  // namespace tivar
