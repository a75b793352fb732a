// From one depth or colour space to another.
#include <tivar/color.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/memory.h"
#include "base/numbers.h"
#include "color/bitmap.h"
#include "color/debug.h"
#include "color/depth.h"
#include "color/pixel.h"
#include "color/row_converter.h"

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
    const bool storesPixels = width > 0 && isStoredDepth(target.bitsPerPixel);
    if (!storesPixels && !printsDots() && !tracesPixels()) return;
    RowConverter converter(sourceBits, target, width);
    for (uint32_t y = 0; y < height; ++y) {
        if (tracesPixels())
            traceRow(source.row(y), sourceBits, dest, y, target, destSize, width);
        else if (storesPixels)
            converter.convert(source.row(y), dest + size_t{y} * destSize.stride);
        if (printsDots()) std::fputc('.', stderr);
    }
}

// A new table for a bitmap that becomes shallower; 0 when the depths ask for none here. *tableSize
// is the number of entries wanted and receives the number produced.
MemHandle reducedTable(MemHandle bits, uint32_t width, uint32_t height, int16_t sourceBits,
                       int16_t destBits, MemHandle oldTable, uint16_t* tableSize) {
    if (sourceBits == kTrueColorBits && destBits >= kDeepestIndexedBits)
        return rlReduceColorTable(bits, static_cast<uint16_t>(width), static_cast<uint16_t>(height),
                                  tableSize);
    if (destBits <= 4) return 0;
    // The old table is reduced as if it were a picture one row high.
    return rlReduceColorTable(oldTable, entriesOfDepth(sourceBits), 1, tableSize);
}

// At depth 24 and 32 a map leads to entries of the destination table. Puts their colours into the
// map itself; the table is a block of its own length, black from its end on.
void resolveEntries(uint32_t* map, uint32_t entries, MemHandle table) {
    const Locked<const uint8_t> block(table);
    const uint32_t size = GlobalSize(table);
    const auto byteAt = [&](uint64_t at) { return at < size ? block.data[at] : uint8_t{0}; };
    for (uint32_t i = 0; i < entries; ++i) {
        const uint64_t entry = uint64_t{map[i]} * 3;
        map[i] = packRgb(byteAt(entry), byteAt(entry + 1), byteAt(entry + 2));
    }
}

// Rewrites four-byte pixels as three-byte ones from the start of their buffer.
template <class Convert>
void packPixels(MemHandle bits, uint32_t width, uint32_t height, Convert convert) {
    const Locked<uint8_t> buffer(bits);
    if (!buffer) return;
    const uint64_t size = GlobalSize(bits);
    const uint64_t wanted = uint64_t{width} * height;
    const uint64_t whole = std::min(wanted, size / 4);
    const uint8_t* source = buffer.data;
    uint8_t* dest = buffer.data;
    for (uint64_t i = 0; i < whole; ++i, source += 4, dest += 3) convert(source, dest);
    // The pixel that the block ends in, and those behind it, as long as there is room for results.
    for (uint64_t i = whole; i < wanted && i * 3 < size; ++i) {
        uint8_t pixel[4] = {};
        uint8_t packed[3];
        if (i * 4 < size)
            std::memcpy(pixel, buffer.data + i * 4, static_cast<size_t>(size - i * 4));
        convert(pixel, packed);
        std::memcpy(buffer.data + i * 3, packed,
                    static_cast<size_t>(std::min<uint64_t>(size - i * 3, 3)));
    }
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
    if (destBits < kDeepestIndexedBits && sourceBits > destBits)
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
        auto* values = reinterpret_cast<uint32_t*>(map.data);
        PixelTarget target = {destBits, values, to.data(), destCount};
        if (values != nullptr && to.data() != nullptr && destBits >= kTrueColorBits) {
            resolveEntries(values, entriesOfDepth(sourceBits), destTable);
            target.colorTable = nullptr;
        }
        if (printsDots()) std::fputs("Converted bits. Each (.) represents one scan line\n", stderr);
        convertRows(source, sourceBits, dest.data, size, target, width, height);
    }
    if (printsSummaries()) std::fputs("\nColor resolution conversion complete\n", stderr);
    return dest.release();
}

void rlRGB4toCMYK(MemHandle bits, uint32_t width, uint32_t height) {
    const Locked<uint8_t> buffer(bits);
    BitmapSize row;
    if (!buffer || !measureBitmap(width, 1, kFourByteBits, row)) return;
    const uint64_t size = GlobalSize(bits);
    const uint64_t pixels = std::min(uint64_t{width} * height, size / 4 + 1);
    const uint64_t bytes = std::min(pixels * 4, size);
    for (uint64_t i = 0; i < bytes; ++i)
        buffer.data[i] = static_cast<uint8_t>(i % 4 == 3 ? 0 : 255 - buffer.data[i]);
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
