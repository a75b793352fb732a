// The band loop: negotiates the format, has the picture drawn band by band and writes each band.
#include <tivar/export.h>
#include <tivar/stream.h>

#include <algorithm>

#include "base/memory.h"
#include "base/numbers.h"
#include "base/status.h"
#include "color/depth.h"
#include "export/bmp_writer.h"

namespace tivar {
namespace {

// What the negotiation settled, in pixels.
struct OutputShape {
    uint32_t width;
    uint32_t height;
    int16_t bitCount;
    int16_t paletteEntries;
    int16_t swapRedBlue;
};

OutputShape negotiate(CellFormat& format, CellPicture* picture, DrawProc draw) {
    QueryPlatformOffscreen(&format, picture, draw);
    uint16_t bitCount = 0;
    uint16_t planes = 0;
    QueryCellFormat(&format.width, &format.height, &bitCount, &format.resolution, &planes, 0);
    OutputShape shape = {};
    shape.bitCount = static_cast<int16_t>(bitCount);
    if (shape.bitCount <= kDeepestIndexedBits)
        shape.paletteEntries = static_cast<int16_t>(entriesOfDepth(shape.bitCount));
    shape.width = saturate<uint32_t>(format.width);
    // Kept: the file's height is always even.
    shape.height = saturate<uint32_t>(format.height);
    if (shape.height < UINT32_MAX) shape.height = (shape.height + 1) & ~1u;
    shape.swapRedBlue = format.swapRedBlue;
    return shape;
}

uint32_t clampRow(int64_t row, uint32_t height) {
    return static_cast<uint32_t>(std::clamp<int64_t>(row, 0, height));
}

// Writes the picture in bands of bandHeight rows, bottom band first.
int32_t writeBands(OxlStream stream, CellDataRequest& offscreen, const OutputShape& shape,
                   uint32_t bandHeight) {
    const uint32_t bands = shape.height / bandHeight + (shape.height % bandHeight != 0 ? 1 : 0);
    MemHandle state = 0;
    const auto bitCount = static_cast<uint32_t>(int32_t{shape.bitCount});
    const int32_t begun =
        BeginCellBitmap(stream, shape.width, shape.height, bitCount, offscreen.colorTable, &state);
    // Kept: after a failed begin every band is the empty range at the top, and the loop still runs.
    const int64_t step = begun >= 1 ? bandHeight : 0;
    int64_t start = begun >= 1 ? 0 : shape.height;
    int64_t end = start + step;
    uint32_t rows = bandHeight;
    for (uint32_t band = 0; band < bands; ++band) {
        const MemHandle bits =
            DrawPlatformOffscreen(&offscreen, static_cast<int32_t>(std::min(start, end)),
                                  static_cast<int32_t>(std::max(start, end)));
        int32_t status =
            WriteCellBits(stream, bits, shape.width, rows, bitCount, shape.swapRedBlue, state);
        if (status == 0) status = UpdateStatus(saturate<int32_t>((band + 1) * 100.0 / bands));
        if (status != 0) {
            abandonCellBitmap(state);
            return status;
        }
        start += step;
        end = clampRow(end + step, shape.height);
        rows = static_cast<uint32_t>(end > start ? end - start : start - end);
    }
    EndCellBitmap(stream, state);
    return TIVAR_OK;
}

}  // namespace
}  // namespace tivar

using namespace tivar;

int32_t OutputPicture(OxlStream stream, CellPicture* picture, DrawProc drawCallback) {
    if (stream == 0 || drawCallback == nullptr || lpRaster == nullptr) return TIVAR_ERR_SETUP;
    const OwnedBlock formatBlock(allocateZeroed(sizeof(CellFormat)));
    if (!formatBlock) return TIVAR_ERR_SETUP;
    const OutputShape shape =
        negotiate(*reinterpret_cast<CellFormat*>(formatBlock.data), picture, drawCallback);
    auto* palette =
        static_cast<uint8_t*>(oxlPtrGlobalAlloc(static_cast<uint32_t>(shape.paletteEntries) * 3));
    constexpr uint8_t kScratch[9] = {};
    uint32_t bandHeight = shape.height;
    CellDataRequest* offscreen =
        InitPlatformOffscreen(shape.width, &bandHeight, shape.bitCount, shape.paletteEntries,
                              palette, picture, drawCallback, kScratch);
    // The call-back may have moved the palette while growing it.
    if (offscreen != nullptr) palette = offscreen->colorTable;
    const int32_t status = offscreen == nullptr || bandHeight == 0
                               ? TIVAR_ERR_SETUP
                               : writeBands(stream, *offscreen, shape, bandHeight);
    oxlPtrGlobalFree(palette);
    TermPlatformOffscreen(offscreen);
    return status;
}

int32_t UpdateStatus(int32_t percent) {
    const HostWord* block = lpRaster == nullptr ? nullptr : lpRaster->exportParams;
    if (block == nullptr) return TIVAR_OK;
    const auto procedure = reinterpret_cast<StatusProc>(block[STATUS_PROC]);
    const auto context = static_cast<intptr_t>(block[STATUS_CONTEXT]);
    const int32_t answer = CallGetSet_Status(procedure, context, 0, 0, 0, percent, 0, 0);
    return answer == 0 ? TIVAR_OK : TIVAR_ERR_CANCELLED;
}
