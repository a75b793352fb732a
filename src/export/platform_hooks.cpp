#include "export/platform_hooks.h"

#include <tivar/export.h>

#include "base/memory.h"

namespace tivar {
namespace {

template <class Word>
void clear(Word* word) {
    if (word != nullptr) *word = 0;
}

void queryMetafile(const MetafileRectangle& rectangle, CellFormat& format) {
    format.width = static_cast<double>(rectangle.right) - rectangle.left;
    format.height = static_cast<double>(rectangle.top) - rectangle.bottom;
    format.resolution = static_cast<uint32_t>(rectangle.units);
    if (format.resolution != 0) {
        format.width /= format.resolution;
        format.height /= format.resolution;
    }
    format.swapRedBlue = 4;
}

}  // namespace

HostWord InitPlatformMetafileFilter(HostWord first, HostWord, HostWord*, HostWord* word1,
                                    MemHandle* handle, HostWord* word2, HostWord* callback) {
    clear(word1);
    clear(handle);
    clear(word2);
    clear(callback);
    return first;
}

HostWord TermPlatformMetafileFilter(HostWord) {
    return 0;
}

MemHandle GetMetaFileHandle(HostWord, HostWord) {
    return 0;
}

HostWord DeleteMetaFileHandle(MemHandle) {
    return 0;
}

HostWord DrawPlatformMetafile(int32_t message, void* input, HostWord output, HostWord) {
    auto* format = reinterpret_cast<CellFormat*>(output);
    if (message == DRAW_QUERY && input != nullptr && format != nullptr)
        queryMetafile(*static_cast<const MetafileRectangle*>(input), *format);
    return message == DRAW_TERMINATE && input == nullptr ? 1 : 0;
}

}  // namespace tivar

void QueryPlatformOffscreen(CellFormat* format, CellPicture* picture, DrawProc draw) {
    if (draw != nullptr) draw(DRAW_QUERY, picture, reinterpret_cast<HostWord>(format), 0);
}

CellDataRequest* InitPlatformOffscreen(uint32_t width, uint32_t* rows, int32_t bitCount,
                                       int16_t colorCount, uint8_t* colorTable,
                                       CellPicture* picture, DrawProc draw, const uint8_t* flag) {
    if (rows == nullptr) return nullptr;
    const uint32_t height = *rows;
    *rows = 0;
    const tivar::Pinned<CellDataRequest> offscreen(tivar::allocateZeroed(sizeof(CellDataRequest)));
    if (!offscreen || draw == nullptr) return offscreen.data;
    offscreen->picture = picture;
    offscreen->draw = draw;
    offscreen->colorCount = colorCount;
    offscreen->colorTable = colorTable;
    offscreen->destWidth = width;
    offscreen->destHeight = height;
    offscreen->destBits = static_cast<int16_t>(bitCount);
    offscreen->flag = flag == nullptr ? uint8_t{0} : *flag;
    HostWord block[5] = {width, height, static_cast<HostWord>(bitCount),
                         static_cast<HostWord>(colorCount), reinterpret_cast<HostWord>(colorTable)};
    const auto band = static_cast<uint32_t>(
        draw(DRAW_INITIALISE, offscreen.data, reinterpret_cast<HostWord>(block), 0));
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
    const tivar::Pinned<CellDataRequest> use(oxlPtrGlobalHandle(offscreen));
    if (!use) return;
    if (offscreen->draw != nullptr) offscreen->draw(DRAW_TERMINATE, offscreen, 0, 0);
    oxlPtrGlobalFree(offscreen);
}
