#include "driver/cells.h"

#include <tivar/color.h>

#include <algorithm>

#include "color/bitmap.h"
#include "driver/window.h"

namespace tivar {

uint32_t bitsOfPrecision(int32_t precision) {
    if (precision == -32768) return 1;
    const auto bits = static_cast<uint32_t>(precision);
    return precision < 0 ? 0 - bits : bits;
}

uint32_t visibleCells(const EMData& device, uint32_t available) {
    return static_cast<uint32_t>(
        std::min<uint64_t>(windowExtent(device, kWindowX1, kWindowX2), available));
}

MemHandle allocateCells(uint32_t cells, uint32_t bits, uint32_t rows) {
    BitmapSize size;
    if (!measureBitmap(cells, rows, static_cast<int32_t>(bits), size)) return 0;
    return allocateZeroed(size.bytes);
}

}  // namespace tivar
