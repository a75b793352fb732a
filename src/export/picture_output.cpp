// The band loop: negotiates the format, has the picture drawn band by band and writes each band.
#include "export/picture_output.h"

#include <tivar/export.h>
#include <tivar/stream.h>

#include <algorithm>
#include <cstring>

#include "base/memory.h"
#include "base/numbers.h"
#include "base/turn.h"
#include "color/depth.h"
#include "export/bmp_writer.h"
#include "export/cell_format.h"
#include "export/status_hook.h"

namespace tivar {
namespace {

// What the band loop works on. Call-backs of the host may end any of it.
struct Output {
    const SettingsUse& settings;
    const HostWord* status;
    Pinned<uint8_t> stream;

    bool ended() const { return settings.gone() || stream.gone(); }
};

// What the negotiation settled, in pixels.
struct OutputShape {
    uint32_t width;
    uint32_t height;
    int16_t bitCount;
    int16_t paletteEntries;
    int16_t swapRedBlue;
};

OutputShape negotiate(SetupRecord& setup, CellFormat& format, CellPicture* picture, DrawProc draw) {
    QueryPlatformOffscreen(&format, picture, draw);
    uint16_t bitCount = 0;
    queryCellFormat(setup, format, bitCount);
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

int32_t reportProgress(const HostWord* status, int32_t percent) {
    return askHook(status, 0, 0, 0, percent) == 0 ? TIVAR_OK : TIVAR_ERR_CANCELLED;
}

// The colours that the call-back left in its request; a table that it cut or dropped is black from
// its end on.
struct RequestColors {
    RequestColors(const uint8_t* table, int16_t entries) {
        const auto wanted = std::min(sizeof rgb, static_cast<size_t>(entries) * 3);
        const size_t present = GlobalSize(oxlPtrGlobalHandle(table));
        if (present != 0) std::memcpy(rgb, table, std::min(wanted, present));
    }

    uint8_t rgb[3 << kDeepestIndexedBits] = {};
};

// Writes the picture in bands of bandHeight rows, bottom band first.
int32_t writeBands(const Output& output, const Pinned<CellDataRequest>& offscreen,
                   const OutputShape& shape, uint32_t bandHeight) {
    const SettingsUse& settings = output.settings;
    const OxlStream stream = output.stream.handle;
    const uint32_t bands = shape.height / bandHeight + (shape.height % bandHeight != 0 ? 1 : 0);
    MemHandle state = 0;
    const auto bitCount = static_cast<uint32_t>(int32_t{shape.bitCount});
    const RequestColors colors(offscreen->colorTable, shape.paletteEntries);
    const int32_t begun = beginCellBitmap(settings, stream, {shape.width, shape.height, bitCount},
                                          colors.rgb, &state);
    // Kept: after a failed begin every band is the empty range at the top, and the loop still runs.
    const int64_t step = begun >= 1 ? bandHeight : 0;
    int64_t start = begun >= 1 ? 0 : shape.height;
    int64_t end = start + step;
    uint32_t rows = bandHeight;
    for (uint32_t band = 0; band < bands; ++band) {
        int32_t status = output.ended() ? TIVAR_ERR_BAND : TIVAR_OK;
        MemHandle bits = 0;
        if (status == 0)
            bits = DrawPlatformOffscreen(offscreen.data, static_cast<int32_t>(std::min(start, end)),
                                         static_cast<int32_t>(std::max(start, end)));
        if (output.ended() || offscreen.gone()) status = TIVAR_ERR_BAND;
        if (status == 0)
            status = writeCellBits(settings, stream,
                                   {bits, shape.width, rows, bitCount, shape.swapRedBlue}, state);
        if (status == 0)
            status = reportProgress(output.status, saturate<int32_t>((band + 1) * 100.0 / bands));
        if (status == 0 && (output.ended() || offscreen.gone())) status = TIVAR_ERR_BAND;
        if (status != 0) {
            abandonCellBitmap(settings, state);
            return status;
        }
        start += step;
        end = clampRow(end + step, shape.height);
        rows = static_cast<uint32_t>(end > start ? end - start : start - end);
    }
    endCellBitmap(settings, stream, state);
    return output.ended() ? TIVAR_ERR_BAND : TIVAR_OK;
}

// Asks the call-back for its bands and writes them, with a palette that it may replace.
int32_t drawBands(const Output& output, const OutputShape& shape, CellPicture* picture,
                  DrawProc draw) {
    const auto paletteBytes = static_cast<uint32_t>(shape.paletteEntries) * 3;
    auto* palette = static_cast<uint8_t*>(oxlPtrGlobalAlloc(paletteBytes));
    const Pinned<uint8_t> first(oxlPtrGlobalHandle(palette));
    constexpr uint8_t kScratch[9] = {};
    uint32_t bandHeight = shape.height;
    const Pinned<CellDataRequest> offscreen(oxlPtrGlobalHandle(
        InitPlatformOffscreen(shape.width, &bandHeight, shape.bitCount, shape.paletteEntries,
                              palette, picture, draw, kScratch)));
    if (!offscreen) {
        oxlPtrGlobalFree(palette);
        return TIVAR_ERR_SETUP;
    }
    // The call-back may have moved the palette while growing it, and may do so again.
    const Pinned<uint8_t> adopted(oxlPtrGlobalHandle(offscreen->colorTable));
    const int32_t status = bandHeight == 0 || output.ended()
                               ? TIVAR_ERR_SETUP
                               : writeBands(output, offscreen, shape, bandHeight);
    oxlPtrGlobalFree(offscreen->colorTable);
    offscreen->colorTable = nullptr;
    if (!offscreen.gone()) TermPlatformOffscreen(offscreen.data);
    return status;
}

}  // namespace

int32_t outputPicture(const SettingsUse& settings, const HostWord* status, OxlStream stream,
                      CellPicture* picture, DrawProc draw) {
    if (stream == 0 || draw == nullptr || !settings) return TIVAR_ERR_SETUP;
    const Output output = {settings, status, Pinned<uint8_t>(stream)};
    // The pictures of other call-backs are their own matter.
    const PictureUse pictureUse(draw == DrawExportCellData ? picture : nullptr);
    const Pinned<CellFormat> format(allocateZeroed(sizeof(CellFormat)));
    const OwnedBlock formatOwner(format.handle);
    if (!format) return TIVAR_ERR_SETUP;
    const OutputShape shape = negotiate(*settings, *format, picture, draw);
    return output.ended() ? TIVAR_ERR_SETUP : drawBands(output, shape, picture, draw);
}

}  // namespace tivar

using namespace tivar;

int32_t OutputPicture(OxlStream stream, CellPicture* picture, DrawProc drawCallback) {
    const Turn turn;
    const SettingsUse settings = currentSettings();
    const HostWord* status = settings ? settings->exportParams : nullptr;
    return outputPicture(settings, status, stream, picture, drawCallback);
}

int32_t UpdateStatus(int32_t percent) {
    const Turn turn;
    const SetupRecord* setup = lpRaster;
    return reportProgress(setup == nullptr ? nullptr : setup->exportParams, percent);
}
