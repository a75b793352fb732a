#include "color/pixel.h"

#include <cstdio>

#include "color/bitmap.h"
#include "color/debug.h"

using namespace tivar;

int32_t rlBytesPerLine(uint32_t width, int16_t bitsPerPixel) {
    BitmapSize size;
    measureBitmap(width, 1, bitsPerPixel, size);
    return static_cast<int32_t>(size.stride);
}

uint32_t rlCalcNewSize(uint32_t width, uint32_t height, int16_t bitsPerPixel) {
    BitmapSize size;
    measureBitmap(width, height, bitsPerPixel, size);
    return size.bytes;
}

uint32_t rlGetPixel(const uint8_t* rows, int32_t stride, uint32_t x, uint32_t y,
                    int16_t bitsPerPixel) {
    if (rows == nullptr) return 0;
    return getPixel(rows + static_cast<ptrdiff_t>(stride) * static_cast<ptrdiff_t>(y), x,
                    bitsPerPixel);
}

int32_t rlSetPixel(uint8_t* rows, int32_t stride, uint32_t x, uint32_t y, int16_t bitsPerPixel,
                   uint32_t value, const uint32_t* indexMap, const uint8_t* colorTable,
                   int16_t colorCount) {
    if (tracesPixels())
        std::fprintf(stderr, "(%d,%d): ", static_cast<int32_t>(x), static_cast<int32_t>(y));
    if (rows == nullptr) return 0;
    uint8_t* row = rows + static_cast<ptrdiff_t>(stride) * static_cast<ptrdiff_t>(y);
    storePixel(row, x, bitsPerPixel,
               resolveValue({bitsPerPixel, indexMap, colorTable, colorCount}, value));
    return 0;
}
