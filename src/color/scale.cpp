#include "color/scale.h"

#include <tivar/color.h>

#include <algorithm>
#include <cstring>

#include "base/memory.h"
#include "base/numbers.h"
#include "color/bitmap.h"
#include "color/debug.h"
#include "color/depth.h"
#include "color/pixel.h"
#include "color/rows.h"

namespace tivar {
namespace {

// trunc(count x ratio) for the ratio of two sizes.
struct Scale {
    Scale(uint32_t numerator, uint32_t denominator)
        : ratio(static_cast<double>(numerator) / static_cast<double>(denominator)) {}
    int64_t at(uint32_t count) const { return saturate<int64_t>(count * ratio); }
    double ratio;
};

// Calls copy(from, to) for the pixels of a row that keep their order while others are dropped.
template <class Copy>
void shrinkColumns(uint32_t sourceWidth, uint32_t destWidth, Copy copy) {
    if (sourceWidth == 0 || destWidth == 0) return;
    const Scale scale(sourceWidth, destWidth);
    for (uint32_t x = 0; x + 1 < destWidth; ++x) copy(static_cast<uint32_t>(scale.at(x)), x);
    copy(sourceWidth - 1, destWidth - 1);
}

// The same for pixels that are repeated, from the right.
template <class Copy>
void stretchColumns(uint32_t sourceWidth, uint32_t destWidth, Copy copy) {
    const Scale scale(destWidth, sourceWidth);
    uint32_t place = destWidth;  // one right of the next pixel to write
    int32_t done = 0;
    for (uint32_t fromRight = 1; fromRight <= sourceWidth; ++fromRight) {
        // Kept: positions are 16-bit.
        const auto end = static_cast<int32_t>(static_cast<uint16_t>(scale.at(fromRight)));
        for (; done < end && place > 0; ++done) copy(sourceWidth - fromRight, --place);
        done = end;
    }
}

void copyPixel(const uint8_t* sourceRow, uint32_t from, uint8_t* destRow, uint32_t to,
               int16_t bitsPerPixel) {
    rlSetPixel(destRow, 0, to, 0, bitsPerPixel, getPixel(sourceRow, from, bitsPerPixel), nullptr,
               nullptr, 0);
}

template <size_t kBytes>
void copyColumns(const uint8_t* sourceRow, const uint32_t* columns, uint32_t first, uint32_t end,
                 uint8_t* destRow) {
    for (uint32_t x = first; x < end; ++x)
        std::memcpy(destRow + x * kBytes, sourceRow + columns[x] * kBytes, kBytes);
}

// Nothing for rows beyond any picture's: they are few, and the scratch would be larger than they.
MemHandle allocateRowScratch(uint64_t bytes) {
    constexpr uint64_t kMostBytes = 1u << 24;
    return bytes > kMostBytes ? 0 : allocateScratch(bytes);
}

// Resamples the rows of a bitmap: which pixel goes where is worked out once for all of them. The
// rows written to are zeroed.
struct RowResampler {
    RowResampler(int16_t depth, uint32_t fromWidth, uint32_t toWidth)
        : bitsPerPixel(depth),
          sourceWidth(fromWidth),
          destWidth(toWidth),
          first(toWidth),
          columnBlock(tracesPixels() ? 0
                                     : allocateRowScratch(uint64_t{toWidth} * sizeof(uint32_t))),
          indexBlock(isPackedDepth(depth) ? allocateRowScratch(uint64_t{fromWidth} + 8 + toWidth)
                                          : 0) {
        if (!columnBlock) return;
        auto* columns = reinterpret_cast<uint32_t*>(columnBlock.data);
        const auto note = [&](uint32_t from, uint32_t to) {
            columns[to] = from;
            first = std::min(first, to);
        };
        if (destWidth > sourceWidth)
            stretchColumns(sourceWidth, destWidth, note);
        else
            shrinkColumns(sourceWidth, destWidth, note);
    }

    void resample(const uint8_t* sourceRow, uint8_t* destRow) const {
        const auto* columns = reinterpret_cast<const uint32_t*>(columnBlock.data);
        if (columns == nullptr) return resamplePixels(sourceRow, destRow);
        switch (bytesPerPixel(bitsPerPixel)) {
            case 1:
                return copyColumns<1>(sourceRow, columns, first, destWidth, destRow);
            case 3:
                return copyColumns<3>(sourceRow, columns, first, destWidth, destRow);
            case 4:
                return copyColumns<4>(sourceRow, columns, first, destWidth, destRow);
            default:
                // Pixels that share bytes; other depths have no memory for indices.
                if (indexBlock) return resampleIndices(sourceRow, columns, destRow);
                return resamplePixels(sourceRow, destRow);
        }
    }

  private:
    // Without memory, or when every pixel is to be traced.
    void resamplePixels(const uint8_t* sourceRow, uint8_t* destRow) const {
        const auto resampleRow = destWidth > sourceWidth ? StretchX : ShrinkX;
        resampleRow(sourceRow, destRow, bitsPerPixel, sourceWidth, 1, destWidth);
    }

    // Left of the first column the indices stay 0, as the row's pixels do.
    void resampleIndices(const uint8_t* sourceRow, const uint32_t* columns,
                         uint8_t* destRow) const {
        uint8_t* indices = indexBlock.data;
        uint8_t* resampled = indices + size_t{sourceWidth} + 8;
        unpackIndices(sourceRow, bitsPerPixel, sourceWidth, indices);
        copyColumns<1>(indices, columns, first, destWidth, resampled);
        packIndices(resampled, bitsPerPixel, destWidth, destRow);
    }

    int16_t bitsPerPixel;
    uint32_t sourceWidth;
    uint32_t destWidth;
    uint32_t first;  // column that is written
    OwnedBlock columnBlock;
    OwnedBlock indexBlock;
};

size_t strideOf(uint32_t width, int16_t bitsPerPixel) {
    return static_cast<size_t>(rlBytesPerLine(width, bitsPerPixel));
}

// Both public names do the same: the heights alone decide.
MemHandle scaleBitmap(MemHandle bits, int16_t bitsPerPixel, uint32_t sourceWidth,
                      uint32_t sourceHeight, uint32_t destWidth, uint32_t destHeight) {
    const SourceBitmap source(bits, sourceWidth, sourceHeight, bitsPerPixel);
    OwnedBlock dest(source ? allocateBitmap(destWidth, destHeight, bitsPerPixel) : 0);
    if (!dest || !isStoredDepth(bitsPerPixel)) return dest.release();
    const bool taller = static_cast<int32_t>(destHeight) > static_cast<int32_t>(sourceHeight);
    const auto resample = taller ? Stretch : Shrink;
    resample(source.block.data, dest.data, bitsPerPixel, sourceWidth, sourceHeight, destWidth,
             destHeight);
    return dest.release();
}

}  // namespace

int32_t Shrink(const uint8_t* source, uint8_t* dest, int16_t bitsPerPixel, uint32_t sourceWidth,
               uint32_t sourceHeight, uint32_t destWidth, uint32_t destHeight) {
    if (sourceWidth == 0 || destWidth == 0) return 0;
    const size_t sourceStride = strideOf(sourceWidth, bitsPerPixel);
    const size_t destStride = strideOf(destWidth, bitsPerPixel);
    const Scale scale(sourceHeight, destHeight);
    const RowResampler resampler(bitsPerPixel, sourceWidth, destWidth);
    for (uint32_t y = 0; y < destHeight; ++y) {
        // Kept: positions are 16-bit, so rows beyond 32767 wrap to places before the bitmap, which
        // read as zero.
        const auto row = static_cast<int16_t>(scale.at(y));
        if (row < 0 || static_cast<uint32_t>(row) >= sourceHeight) continue;
        resampler.resample(source + static_cast<size_t>(row) * sourceStride, dest + y * destStride);
    }
    return 0;
}

int32_t Stretch(const uint8_t* source, uint8_t* dest, int16_t bitsPerPixel, uint32_t sourceWidth,
                uint32_t sourceHeight, uint32_t destWidth, uint32_t destHeight) {
    if (sourceWidth == 0 || destWidth == 0) return 0;
    const size_t sourceStride = strideOf(sourceWidth, bitsPerPixel);
    const size_t destStride = strideOf(destWidth, bitsPerPixel);
    const Scale scale(destHeight, sourceHeight);
    const RowResampler resampler(bitsPerPixel, sourceWidth, destWidth);
    int64_t done = 0;  // rows finished, counted from the bottom
    for (uint32_t fromBottom = 1; fromBottom <= sourceHeight; ++fromBottom) {
        const int64_t end = scale.at(fromBottom);
        if (end == done) continue;
        const uint8_t* sourceRow = source + (sourceHeight - fromBottom) * sourceStride;
        uint8_t* first = dest + static_cast<size_t>(destHeight - 1 - done) * destStride;
        resampler.resample(sourceRow, first);
        for (int64_t copy = done + 1; copy < end; ++copy) {
            uint8_t* above = dest + static_cast<size_t>(destHeight - 1 - copy) * destStride;
            std::memcpy(above, first, destStride);
        }
        done = end;
    }
    return 0;
}

int32_t ShrinkX(const uint8_t* sourceRow, uint8_t* destRow, int16_t bitsPerPixel,
                uint32_t sourceWidth, uint32_t rows, uint32_t destWidth) {
    const size_t sourceStride = strideOf(sourceWidth, bitsPerPixel);
    const size_t destStride = strideOf(destWidth, bitsPerPixel);
    for (uint32_t y = 0; y < rows; ++y) {
        shrinkColumns(sourceWidth, destWidth, [&](uint32_t from, uint32_t to) {
            copyPixel(sourceRow, from, destRow, to, bitsPerPixel);
        });
        sourceRow += sourceStride;
        destRow += destStride;
    }
    return 0;
}

int32_t StretchX(const uint8_t* sourceRow, uint8_t* destRow, int16_t bitsPerPixel,
                 uint32_t sourceWidth, uint32_t rows, uint32_t destWidth) {
    const size_t sourceStride = strideOf(sourceWidth, bitsPerPixel);
    const size_t destStride = strideOf(destWidth, bitsPerPixel);
    for (uint32_t y = 0; y < rows; ++y) {
        stretchColumns(sourceWidth, destWidth, [&](uint32_t from, uint32_t to) {
            copyPixel(sourceRow, from, destRow, to, bitsPerPixel);
        });
        sourceRow += sourceStride;
        destRow += destStride;
    }
    return 0;
}

}  // namespace tivar

using namespace tivar;

MemHandle rlShrinkBitmap(MemHandle bits, int16_t bitsPerPixel, uint32_t sourceWidth,
                         uint32_t sourceHeight, uint32_t destWidth, uint32_t destHeight) {
    return scaleBitmap(bits, bitsPerPixel, sourceWidth, sourceHeight, destWidth, destHeight);
}

MemHandle rlStretchBitmap(MemHandle bits, int16_t bitsPerPixel, uint32_t sourceWidth,
                          uint32_t sourceHeight, uint32_t destWidth, uint32_t destHeight) {
    return scaleBitmap(bits, bitsPerPixel, sourceWidth, sourceHeight, destWidth, destHeight);
}
