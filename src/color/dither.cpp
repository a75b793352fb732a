// Error diffusion with the weights of Floyd and Steinberg, left to right on every row, over a
// 24-bit working copy that is then converted to the target depth.
#include "color/dither.h"

#include <tivar/color.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/memory.h"
#include "base/numbers.h"
#include "color/bitmap.h"
#include "color/color_transform.h"
#include "color/debug.h"
#include "color/depth.h"
#include "color/dither_rows.h"
#include "color/error_shares.h"
#include "color/pixel.h"

namespace tivar {
namespace {

MemHandle copyTable(const uint8_t* entries, uint32_t bytes) {
    OwnedBlock table(allocateZeroed(bytes));
    if (table) std::memcpy(table.data, entries, bytes);
    return table.release();
}

// As many reduced colours as leave room for the fixed ones, those directly behind them, the rest
// black.
MemHandle reducedTableWithFixed(MemHandle copy, uint32_t width, uint32_t height, uint16_t entries) {
    auto count = static_cast<uint16_t>(entries - kMustHaveEntries);
    const OwnedBlock reduced(rlReduceColorTable(copy, static_cast<uint16_t>(width),
                                                static_cast<uint16_t>(height), &count));
    const uint32_t bytes = uint32_t{entries} * 3;
    OwnedBlock table(reduced ? allocateZeroed(bytes) : 0);
    if (!table) return 0;
    const uint32_t kept = std::min(uint32_t{count} * 3, bytes);
    std::memcpy(table.data, reduced.data, kept);
    std::memcpy(table.data + kept, must_have_colors,
                std::min<size_t>(sizeof must_have_colors, bytes - kept));
    return table.release();
}

void printTable(const uint8_t* table, int count) {
    if (!printsSummaries() || table == nullptr) return;
    std::puts("Dithering to the following colortable:");
    for (int i = 0; i < count; ++i, table += 3)
        std::printf("color %d: [%d, %d, %d]\n", i, table[0], table[1], table[2]);
}

// The table to dither to and its count; given is used instead of a new one where it may be.
struct ChosenTable {
    MemHandle handle;
    uint16_t count;
};

ChosenTable chooseTable(MemHandle copy, uint32_t width, uint32_t height, uint16_t entries,
                        MemHandle given, bool mayUseGiven) {
    if (entries >= 3 && !mayUseGiven)
        return {reducedTableWithFixed(copy, width, height, entries), entries};
    if (given != 0) return {given, entries};
    return {copyTable(MonoTable, sizeof MonoTable), kMonoEntries};
}

// Diffuses the working copy's rows, as greys for a 1-bit target.
void ditherRows(uint8_t* rows, uint32_t width, uint32_t height, int16_t destBits,
                const uint8_t* table, int16_t count) {
    const auto stride = static_cast<size_t>(rlBytesPerLine(width, kTrueColorBits));
    const auto pixels = static_cast<int32_t>(width);
    if (printsDots()) std::fputs("Dithering...each(.) represents one scan line\n", stdout);
    if (destBits == 1 && height > 0) rev_rgb(pixels, rows, kTurnGrey);
    if (width == 0 && !printsDots()) return;
    for (uint32_t y = 0; y < height; ++y) {
        uint8_t* row = rows + y * stride;
        uint8_t* nextRow = y + 1 < height ? row + stride : nullptr;
        if (destBits == 1 && nextRow != nullptr) rev_rgb(pixels, nextRow, kTurnGrey);
        _rlDitherOneLine(row, nextRow, table, width, count);
        if (printsDots()) std::fputc('.', stdout);
    }
    if (printsDots()) std::fputc('\n', stdout);
}

// What is dithered.
struct DitherSource {
    MemHandle bits;
    uint32_t width;
    uint32_t height;
    int16_t bitsPerPixel;
    MemHandle table;
};

MemHandle copyOf(const DitherSource& source) {
    return rlConvertBitmapDepth(source.bits, source.width, source.height, source.bitsPerPixel,
                                kTrueColorBits, source.table, 0, 0);
}

// A bitmap of 24 bits with the source's colours, for choosing a table: the source itself where it
// can serve, else a working copy.
struct ColorSource {
    ColorSource(const DitherSource& source, bool asCopy, bool needed)
        : copy(asCopy || (needed && !canServe(source)) ? copyOf(source) : 0), handle(copy.handle) {
        BitmapSize size;
        const bool serves = !asCopy && canServe(source) &&
                            measureBitmap(source.width, source.height, kTrueColorBits, size);
        if (serves) handle = source.bits;
    }
    // The reduction takes widths of 16 bits. What is wider is read in rows that run into padding,
    // which is zero in the working copy and may be anything in the source.
    static bool canServe(const DitherSource& source) {
        return source.bitsPerPixel == kTrueColorBits && source.width <= UINT16_MAX;
    }
    OwnedBlock copy;
    MemHandle handle;
};

// The plain way: diffuses a whole working copy and converts it.
MemHandle ditherCopy(MemHandle copy, const DitherSource& source, int16_t destBits,
                     const ChosenTable& chosen) {
    const auto count = static_cast<int16_t>(chosen.count);
    const SourceTable table(chosen.handle, std::max<int>(count, 1));
    const Locked<uint8_t> rows(copy);
    if (!rows || table.data() == nullptr) return 0;
    printTable(table.data(), count);
    ditherRows(rows.data, source.width, source.height, destBits, table.data(), count);
    return rlConvertBitmapDepth(copy, source.width, source.height, kTrueColorBits, destBits, 0,
                                chosen.handle, count);
}

// The fast way, which falls back on the plain one when there is no memory for its rows.
MemHandle ditherByRows(const DitherSource& source, int16_t destBits, const ChosenTable& chosen) {
    // The last pixels of rows take entry 0 when nothing was searched, whatever the count.
    const auto count = static_cast<int16_t>(chosen.count);
    const SourceTable table(chosen.handle, std::max<int>(count, 1));
    const SourceBitmap bitmap(source.bits, source.width, source.height, source.bitsPerPixel);
    const SourceTable sourceTable(source.table, entriesOfDepth(source.bitsPerPixel));
    if (table.data() == nullptr || !bitmap) return 0;
    OwnedBlock dest(allocateBitmap(source.width, source.height, destBits));
    if (!dest) return 0;
    if (ditherRowByRow(bitmap, source.bitsPerPixel, sourceTable.data(),
                       {dest.data, destBits, table.data(), count}, source.width, source.height))
        return dest.release();
    const OwnedBlock copy(copyOf(source));
    return ditherCopy(copy.handle, source, destBits, chosen);
}

// The debug texts tell of a working copy and its conversion.
bool goesPlainly(int16_t destBits, int16_t count) {
    return printsSummaries() || !canDitherRows(destBits, count);
}

}  // namespace
}  // namespace tivar

using namespace tivar;

MemHandle rlDitherBitmap(MemHandle bits, uint32_t width, uint32_t height, int16_t sourceBits,
                         int16_t destBits, MemHandle sourceTable, MemHandle* colorTable) {
    if (bits == 0 || colorTable == nullptr) return 0;
    const DitherSource source = {bits, width, height, sourceBits, sourceTable};
    const uint16_t entries = entriesOfDepth(destBits);
    const bool plainly = goesPlainly(destBits, static_cast<int16_t>(entries));
    const ColorSource colors(source, plainly, entries >= 3 && *colorTable == 0);
    const ChosenTable table =
        chooseTable(colors.handle, width, height, entries, *colorTable, *colorTable != 0);
    *colorTable = table.handle;
    return plainly ? ditherCopy(colors.copy.handle, source, destBits, table)
                   : ditherByRows(source, destBits, table);
}

int32_t rlDitherGetCT(MemHandle bits, uint32_t width, uint32_t height, int16_t sourceBits,
                      int16_t destBits, MemHandle sourceTable, MemHandle* colorTable,
                      uint16_t* colorCount) {
    if (bits == 0 || colorTable == nullptr || colorCount == nullptr) return -1;
    const uint16_t entries = entriesOfDepth(destBits);
    const bool reduces = entries >= 3;
    const ColorSource colors({bits, width, height, sourceBits, sourceTable},
                             reduces && printsSummaries(), reduces);
    const ChosenTable table =
        chooseTable(colors.handle, width, height, entries, *colorTable, false);
    *colorTable = table.handle;
    *colorCount = table.count;
    const SourceTable entriesChosen(table.handle, table.count);
    printTable(entriesChosen.data(), table.count);
    return 0;
}

MemHandle rlDitherGivenCT(MemHandle bits, uint32_t width, uint32_t height, int16_t sourceBits,
                          int16_t destBits, MemHandle sourceTable, MemHandle table, int16_t count) {
    const DitherSource source = {bits, width, height, sourceBits, sourceTable};
    const ChosenTable given = {table, static_cast<uint16_t>(count)};
    if (!goesPlainly(destBits, count)) return ditherByRows(source, destBits, given);
    const OwnedBlock copy(copyOf(source));
    return ditherCopy(copy.handle, source, destBits, given);
}

void _rlDitherOneLine(uint8_t* row, uint8_t* nextRow, const uint8_t* table, uint32_t width,
                      int16_t count) {
    if (row == nullptr || table == nullptr || width == 0) return;
    const uint8_t* entry = table;
    for (uint32_t x = 0; x + 1 < width; ++x) {
        uint8_t* pixel = row + size_t{x} * 3;
        entry = table + rlNearestRGBIndex(pixel[0], pixel[1], pixel[2], table, count) * 3;
        for (int channel = 0; channel < 3; ++channel) {
            const int error = pixel[channel] - entry[channel];
            pixel[channel] = entry[channel];
            uint8_t* below = nextRow == nullptr ? nullptr : nextRow + size_t{x} * 3 + channel;
            spreadError(pixel + channel, below, error, x > 0);
        }
    }
    // Kept: the last pixel is not searched but repeats the last choice.
    std::memcpy(row + size_t{width - 1} * 3, entry, 3);
}
