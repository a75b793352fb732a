#include "color/dither_rows.h"

#include <tivar/color.h>

#include <algorithm>

#include "base/memory.h"
#include "color/depth.h"
#include "color/dither_colors.h"
#include "color/dither_greys.h"
#include "color/row_converter.h"

namespace tivar {
namespace {

// A source row as the diffusion wants it: red, green, blue.
struct RowLoader {
    RowLoader(const SourceBitmap& bitmap, int16_t sourceBits, const uint8_t* sourceTable,
              uint32_t rowWidth)
        : source(bitmap),
          width(rowWidth),
          map(rlBuildColormap(sourceTable, sourceBits, nullptr, kTrueColorBits, 0)),
          converter(sourceBits,
                    {kTrueColorBits, reinterpret_cast<const uint32_t*>(map.data), nullptr, 0},
                    rowWidth) {}
    void load(uint32_t y, uint8_t* row) { converter.convert(source.row(y), row); }

    const SourceBitmap& source;
    uint32_t width;
    OwnedBlock map;
    RowConverter converter;
};

// The stored index of each table entry: the conversion after the diffusion searches like any other,
// and among nearly grey entries can choose another one than the diffusion did.
struct StoredIndices {
    explicit StoredIndices(const DitherTarget& target)
        : block(allocateScratch(static_cast<uint32_t>(std::max<int>(target.count, 1)))) {
        for (int i = 0; block && i < std::max<int>(target.count, 1); ++i) {
            const uint8_t* entry = target.table + i * 3;
            block.data[i] = static_cast<uint8_t>(
                rlNearestRGBIndex(entry[0], entry[1], entry[2], target.table, target.count));
        }
    }
    OwnedBlock block;
};

// A few rows at a time through one of the diffusers.
template <class Diffuser>
bool ditherThrough(RowLoader& loader, const DitherTarget& target, const uint8_t* stored,
                   uint32_t width, uint32_t height) {
    constexpr auto kAtOnce = static_cast<uint32_t>(Diffuser::kRows);
    const OwnedBlock colors(allocateScratch(uint64_t{width} * 3));
    Diffuser diffuser(target, stored, width);
    if (!diffuser || !colors) return false;
    const auto stride = static_cast<size_t>(rlBytesPerLine(width, target.bitsPerPixel));
    // Behind the last row errors go into rows that nobody reads.
    const auto load = [&](uint32_t y, uint32_t row) {
        if (y + row >= height) return;
        loader.load(y + row, colors.data);
        diffuser.load(static_cast<int>(row), colors.data);
    };
    load(0, 0);
    for (uint32_t y = 0; y < height; y += kAtOnce) {
        for (uint32_t row = 1; row <= kAtOnce; ++row) load(y, row);
        diffuser.diffuse(target.rows + size_t{y} * stride, stride, std::min(kAtOnce, height - y));
        diffuser.advance();
    }
    return true;
}

}  // namespace

bool canDitherRows(int16_t destBits, int16_t count) {
    // Beyond any real table, working out what becomes of each entry would cost more than it saves.
    constexpr int16_t kLargestTable = 1024;
    return isIndexedDepth(destBits) && count <= kLargestTable;
}

bool ditherRowByRow(const SourceBitmap& source, int16_t sourceBits, const uint8_t* sourceTable,
                    const DitherTarget& target, uint32_t width, uint32_t height) {
    if (width == 0 || height == 0) return true;
    // Columns are counted in signed numbers, some way past the row.
    if (width > INT32_MAX / 2) return false;
    RowLoader loader(source, sourceBits, sourceTable, width);
    const StoredIndices stored(target);
    if (!stored.block) return false;
    const auto dither =
        GreyDiffuser::serves(target) ? ditherThrough<GreyDiffuser> : ditherThrough<ColorDiffuser>;
    return dither(loader, target, stored.block.data, width, height);
}

}  // namespace tivar
