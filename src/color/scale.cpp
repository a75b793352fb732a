#include "color/scale.h"

#include <tivar/color.h>

#include <cstring>

#include "color/bitmap.h"
#include "color/pixel.h"
#include "host/memory.h"
#include "host/numbers.h"

namespace tivar {
namespace {

// trunc(count x ratio) for the ratio of two sizes.
struct Scale {
    Scale(uint32_t numerator, uint32_t denominator)
        : ratio(static_cast<double>(numerator) / static_cast<double>(denominator)) {}
    int64_t at(uint32_t count) const { return saturate<int64_t>(count * ratio); }
    double ratio;
};

void copyPixel(const uint8_t* sourceRow, uint32_t from, uint8_t* destRow, uint32_t to,
               int16_t bitsPerPixel) {
    rlSetPixel(destRow, 0, to, 0, bitsPerPixel, getPixel(sourceRow, from, bitsPerPixel), nullptr,
               nullptr, 0);
}

void resampleRow(const uint8_t* sourceRow, uint8_t* destRow, int16_t bitsPerPixel,
                 uint32_t sourceWidth, uint32_t destWidth) {
    if (destWidth > sourceWidth)
        StretchX(sourceRow, destRow, bitsPerPixel, sourceWidth, 1, destWidth);
    else
        ShrinkX(sourceRow, destRow, bitsPerPixel, sourceWidth, 1, destWidth);
}

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
    if (source == nullptr || dest == nullptr || sourceWidth == 0 || destWidth == 0) return 0;
    const size_t sourceStride = strideOf(sourceWidth, bitsPerPixel);
    const size_t destStride = strideOf(destWidth, bitsPerPixel);
    const Scale scale(sourceHeight, destHeight);
    for (uint32_t y = 0; y < destHeight; ++y) {
        // Kept: positions are 16-bit, so rows beyond 32767 wrap to places before the bitmap, which
        // read as zero.
        const auto row = static_cast<int16_t>(scale.at(y));
        if (row < 0 || static_cast<uint32_t>(row) >= sourceHeight) continue;
        resampleRow(source + static_cast<size_t>(row) * sourceStride, dest + y * destStride,
                    bitsPerPixel, sourceWidth, destWidth);
    }
    return 0;
}

int32_t Stretch(const uint8_t* source, uint8_t* dest, int16_t bitsPerPixel, uint32_t sourceWidth,
                uint32_t sourceHeight, uint32_t destWidth, uint32_t destHeight) {
    if (source == nullptr || dest == nullptr || sourceWidth == 0 || destWidth == 0) return 0;
    const size_t sourceStride = strideOf(sourceWidth, bitsPerPixel);
    const size_t destStride = strideOf(destWidth, bitsPerPixel);
    const Scale scale(destHeight, sourceHeight);
    int64_t done = 0;  // rows finished, counted from the bottom
    for (uint32_t fromBottom = 1; fromBottom <= sourceHeight; ++fromBottom) {
        const int64_t end = scale.at(fromBottom);
        if (end == done) continue;
        const uint8_t* sourceRow = source + (sourceHeight - fromBottom) * sourceStride;
        uint8_t* first = dest + static_cast<size_t>(destHeight - 1 - done) * destStride;
        resampleRow(sourceRow, first, bitsPerPixel, sourceWidth, destWidth);
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
    const Scale scale(sourceWidth, destWidth);
    for (uint32_t y = 0; y < rows && destWidth > 0 && sourceWidth > 0; ++y) {
        for (uint32_t x = 0; x + 1 < destWidth; ++x)
            copyPixel(sourceRow, static_cast<uint32_t>(scale.at(x)), destRow, x, bitsPerPixel);
        copyPixel(sourceRow, sourceWidth - 1, destRow, destWidth - 1, bitsPerPixel);
        sourceRow += sourceStride;
        destRow += destStride;
    }
    return 0;
}

int32_t StretchX(const uint8_t* sourceRow, uint8_t* destRow, int16_t bitsPerPixel,
                 uint32_t sourceWidth, uint32_t rows, uint32_t destWidth) {
    const size_t sourceStride = strideOf(sourceWidth, bitsPerPixel);
    const size_t destStride = strideOf(destWidth, bitsPerPixel);
    const Scale scale(destWidth, sourceWidth);
    for (uint32_t y = 0; y < rows; ++y) {
        uint32_t place = destWidth;  // one right of the next pixel to write
        int32_t done = 0;
        for (uint32_t fromRight = 1; fromRight <= sourceWidth; ++fromRight) {
            const auto end = static_cast<int32_t>(static_cast<uint16_t>(scale.at(fromRight)));
            for (; done < end && place > 0; ++done)
                copyPixel(sourceRow, sourceWidth - fromRight, destRow, --place, bitsPerPixel);
            done = end;
        }
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
