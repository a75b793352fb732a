// The offscreen surface, which forwards to the drawing call-back.
#include "export/platform_offscreen.h"

#include <tivar/export.h>

#include "base/memory.h"

using namespace tivar;

void QueryPlatformOffscreen(CellFormat* format, CellPicture* picture, DrawProc draw) {
    if (draw != nullptr) draw(DRAW_QUERY, picture, reinterpret_cast<HostWord>(format), 0);
}

CellDataRequest* InitPlatformOffscreen(uint32_t width, uint32_t* rows, int32_t bitCount,
                                       int16_t colorCount, uint8_t* colorTable,
                                       CellPicture* picture, DrawProc draw, const uint8_t* flag) {
    if (rows == nullptr) return nullptr;
    const uint32_t height = *rows;
    *rows = 0;
    const Pinned<CellDataRequest> offscreen(allocateZeroed(sizeof(CellDataRequest)));
    if (!offscreen || draw == nullptr) return offscreen.data;
    offscreen->picture = picture;
    offscreen->draw = draw;
    offscreen->colorCount = colorCount;
    offscreen->colorTable = colorTable;
    offscreen->destWidth = width;
    offscreen->destHeight = height;
    offscreen->destBits = static_cast<int16_t>(bitCount);
    offscreen->flag = flag == nullptr ? uint8_t{0} : *flag;
    OffscreenWords words = {width, height, static_cast<HostWord>(bitCount),
                            static_cast<HostWord>(colorCount),
                            reinterpret_cast<HostWord>(colorTable)};
    const auto band = static_cast<uint32_t>(
        draw(DRAW_INITIALISE, offscreen.data, reinterpret_cast<HostWord>(&words), 0));
    // The call-back may have ended its record.
    if (offscreen.gone()) return nullptr;
    *rows = band;
    return offscreen.data;
}

MemHandle DrawPlatformOffscreen(CellDataRequest* offscreen, int32_t firstRow, int32_t lastRow) {
    if (offscreen == nullptr || offscreen->draw == nullptr) return 0;
    return offscreen->draw(DRAW_ROWS, offscreen, static_cast<HostWord>(firstRow),
                           static_cast<HostWord>(lastRow));
}

void TermPlatformOffscreen(CellDataRequest* offscreen) {
    const Pinned<CellDataRequest> use(oxlPtrGlobalHandle(offscreen));
    if (!use) return;
    if (offscreen->draw != nullptr) offscreen->draw(DRAW_TERMINATE, offscreen, 0, 0);
    oxlPtrGlobalFree(offscreen);
}
