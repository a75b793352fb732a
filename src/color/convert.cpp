// From one depth or colour space to another.
#include <tivar/color.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "color/bitmap.h"
#include "color/debug.h"
#include "color/pixel.h"
#include "color/row_converter.h"
#include "host/memory.h"
#include "host/numbers.h"

namespace tivar {
namespace {

// The pixel-by-pixel way, which the debug level that traces pixels asks for.
void traceRow(const uint8_t* source, int16_t sourceBits, uint8_t* dest, uint32_t y,
              const PixelTarget& target, const BitmapSize& size, uint32_t width) {
    for (uint32_t x = 0; x < width; ++x)
        rlSetPixel(dest, static_cast<int32_t>(size.stride), x, y, target.bitsPerPixel,
                   getPixel(source, x, sourceBits), target.indexMap, target.colorTable,
                   target.colorCount);
}

void convertRows(const SourceBitmap& source, int16_t sourceBits, uint8_t* dest,
                 const BitmapSize& destSize, const PixelTarget& target, uint32_t width,
                 uint32_t height) {
    if (width == 0 || !isStoredDepth(target.bitsPerPixel)) return;
    RowConverter converter(sourceBits, target, width);
    for (uint32_t y = 0; y < height; ++y) {
        if (tracesPixels())
            traceRow(source.row(y), sourceBits, dest, y, target, destSize, width);
        else
            converter.convert(source.row(y), dest + size_t{y} * destSize.stride);
        if (printsDots()) std::fputc('.', stderr);
    }
}

// A new table for a bitmap that becomes shallower; 0 when the depths ask for none here. *tableSize
// is the number of entries wanted and receives the number produced.
MemHandle reducedTable(MemHandle bits, uint32_t width, uint32_t height, int16_t sourceBits,
                       int16_t destBits, MemHandle oldTable, uint16_t* tableSize) {
    if (sourceBits == 24 && destBits >= 8)
        return rlReduceColorTable(bits, static_cast<uint16_t>(width), static_cast<uint16_t>(height),
                                  tableSize);
    if (destBits <= 4) return 0;
    // The old table is reduced as if it were a picture one row high.
    return rlReduceColorTable(oldTable, entriesOfDepth(sourceBits), 1, tableSize);
}

// Pixels of four bytes that an unpadded buffer really holds.
uint32_t fourBytePixels(MemHandle bits, uint32_t width, uint32_t height) {
    const uint64_t wanted = uint64_t{width} * height;
    return static_cast<uint32_t>(std::min<uint64_t>(wanted, GlobalSize(bits) / 4));
}

// Rewrites four-byte pixels as three-byte ones from the start of their buffer.
template <class Convert>
void packPixels(MemHandle bits, uint32_t width, uint32_t height, Convert convert) {
    const Locked<uint8_t> buffer(bits);
    if (!buffer) return;
    const uint8_t* source = buffer.data;
    uint8_t* dest = buffer.data;
    for (uint32_t i = fourBytePixels(bits, width, height); i > 0; --i, source += 4, dest += 3)
        convert(source, dest);
}

}  // namespace
}  // namespace tivar

using namespace tivar;

MemHandle rlChangeColorResolution(MemHandle bits, uint32_t width, uint32_t height,
                                  int16_t sourceBits, int16_t destBits, MemHandle* colorTable) {
    if (bits == 0 || colorTable == nullptr) return 0;
    const MemHandle oldTable = *colorTable;
    MemHandle newTable = 0;
    MemHandle result = 0;
    uint16_t tableSize = 0;
    if (destBits < sourceBits) {
        tableSize = entriesOfDepth(destBits);
        newTable = reducedTable(bits, width, height, sourceBits, destBits, oldTable, &tableSize);
    }
    if (destBits < 8 && sourceBits > destBits)
        result = rlDitherBitmap(bits, width, height, sourceBits, destBits, oldTable, &newTable);
    else
        result = rlConvertBitmapDepth(bits, width, height, sourceBits, destBits, oldTable, newTable,
                                      static_cast<int16_t>(tableSize));
    *colorTable = newTable;
    return result;
}

MemHandle rlConvertBitmapDepth(MemHandle bits, uint32_t width, uint32_t height, int16_t sourceBits,
                               int16_t destBits, MemHandle sourceTable, MemHandle destTable,
                               int16_t destCount) {
    const SourceBitmap source(bits, width, height, sourceBits);
    const SourceTable from(sourceTable, entriesOfDepth(sourceBits));
    const SourceTable to(destTable, destCount);
    BitmapSize size;
    OwnedBlock dest(
        source && measureBitmap(width, height, destBits, size) ? rlGetMemory(1, size.bytes) : 0);
    if (dest) {
        if (printsSummaries())
            std::fprintf(stderr, "Allocated %u bytes of new memory for the destination bitmap\n",
                         size.bytes);
        const OwnedBlock map(
            rlBuildColormap(from.data(), sourceBits, to.data(), destBits, destCount));
        const PixelTarget target = {destBits, reinterpret_cast<const uint32_t*>(map.data),
                                    to.data(), destCount};
        if (printsDots()) std::fputs("Converted bits. Each (.) represents one scan line\n", stderr);
        convertRows(source, sourceBits, dest.data, size, target, width, height);
    }
    if (printsSummaries()) std::fputs("\nColor resolution conversion complete\n", stderr);
    return dest.release();
}

void rlRGB4toCMYK(MemHandle bits, uint32_t width, uint32_t height) {
    const Locked<uint8_t> buffer(bits);
    BitmapSize size;
    if (!buffer || !measureBitmap(width, 1, 32, size) || width == 0) return;
    const uint32_t pixels = fourBytePixels(bits, width, height);
    for (uint8_t* p = buffer.data; p < buffer.data + size_t{pixels} * 4; p += 4) {
        for (int channel = 0; channel < 3; ++channel)
            p[channel] = static_cast<uint8_t>(255 - p[channel]);
        p[3] = 0;
    }
}

void rlCMYKtoRGB(MemHandle bits, uint32_t width, uint32_t height) {
    packPixels(bits, width, height, [](const uint8_t* source, uint8_t* dest) {
        const uint8_t black = source[3];
        for (int channel = 0; channel < 3; ++channel)
            dest[channel] = static_cast<uint8_t>(255 - std::max(source[channel], black));
    });
}

void rlALPHAtoRGB(MemHandle bits, uint32_t width, uint32_t height) {
    packPixels(bits, width, height,
               [](const uint8_t* source, uint8_t* dest) { std::memmove(dest, source, 3); });
}
