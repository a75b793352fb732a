#include "color/dither_greys.h"

#include <tivar/color.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/processor.h"
#include "color/grey.h"
#include "color/rows.h"

namespace tivar {
namespace {

#if TIVAR_SIMD
static_assert(GreyDiffuser::kRows == GreyLanes::kRows);
constexpr uint32_t kFront = GreyLanes::kFront;
constexpr uint32_t kMargins = GreyLanes::kMargins;
#else
constexpr uint32_t kFront = 0;
constexpr uint32_t kMargins = 0;
#endif

int clampByte(int value) {
    return std::clamp(value, 0, 255);
}

Shares<int16_t> narrowed(const Shares<int>& shares) {
    return {static_cast<int16_t>(shares.right), static_cast<int16_t>(shares.below),
            static_cast<int16_t>(shares.belowLeft), static_cast<int16_t>(shares.belowRight)};
}

// The plain rule for a row, from left to right. Its levels are read only; what they pass on within
// the row stays in a register.
void diffuseRow(const GreyStep* steps, const uint8_t* row, uint8_t* next, uint32_t width,
                uint8_t firstStored, uint8_t* indices) {
    uint8_t last = firstStored;
    int level = row[0];
    int belowLeft = 0;
    int below = next[0];
    for (uint32_t x = 0; x + 1 < width; ++x) {
        const GreyStep& step = steps[level];
        level = clampByte(row[x + 1] + step.shares.right);
        last = step.stored;
        indices[x] = last;
        if (x > 0) next[x - 1] = static_cast<uint8_t>(clampByte(belowLeft + step.shares.belowLeft));
        belowLeft = clampByte(below + step.shares.below);
        below = clampByte(next[x + 1] + step.shares.belowRight);
    }
    if (width > 1) next[width - 2] = static_cast<uint8_t>(belowLeft);
    next[width - 1] = static_cast<uint8_t>(below);
    // Kept: the last pixel is not searched but repeats the last choice.
    indices[width - 1] = last;
}

inline void takeLevels(const uint8_t* colors, uint32_t width, uint8_t* levels) {
    for (uint32_t x = 0; x < width; ++x) levels[x] = greyOf(colors + x * size_t{3});
}

#if TIVAR_HAS_V3
TIVAR_V3 void takeLevelsV3(const uint8_t* colors, uint32_t width, uint8_t* levels) {
    takeLevels(colors, width, levels);
}
#else
constexpr auto takeLevelsV3 = takeLevels;
#endif

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
      rowBlock(allocateScratch((uint64_t{rowWidth} + kMargins) * (kRows + 1))),
      indexBlock(allocateScratch((uint64_t{rowWidth} + kMargins) * 2)),
      rows() {
    if (!*this) return;
    const size_t rowBytes = size_t{width} + kMargins;
    std::memset(rowBlock.data, 0, rowBytes * (kRows + 1));
    for (size_t row = 0; row <= kRows; ++row) rows[row] = rowBlock.data + row * rowBytes + kFront;
    for (int level = 0; level < kGreyLevels; ++level) {
        const auto grey = static_cast<int16_t>(level);
        const uint32_t index = rlNearestRGBIndex(grey, grey, grey, target.table, target.count);
        const uint8_t entry = target.table[size_t{index} * 3];
        steps[level] = {narrowed(sharesOf(level - entry)), entry, stored[index]};
    }
#if TIVAR_SIMD
    inLanes = lanes.take(steps);
#endif
}

void GreyDiffuser::load(int row, uint8_t* colors) {
    hasV3() ? takeLevelsV3(colors, width, rows[row]) : takeLevels(colors, width, rows[row]);
}

void GreyDiffuser::diffuse(uint8_t* dest, size_t stride, uint32_t count) {
#if TIVAR_SIMD
    if (inLanes) {
        lanes.diffuse(rows, width, indexBlock.data);
        for (uint32_t row = 0; row < count; ++row)
            GreyLanes::storeRow(indexBlock.data, static_cast<int>(row), width, firstStored,
                                dest + row * stride);
        return;
    }
#endif
    for (uint32_t row = 0; row < count; ++row) {
        diffuseRow(steps, rows[row], rows[row + 1], width, firstStored, indexBlock.data);
        packIndices(indexBlock.data, 1, width, dest + row * stride);
    }
}

void GreyDiffuser::advance() {
    std::swap(rows[0], rows[kRows]);
}

}  // namespace tivar
