// The drawing call-back of pictures in memory: brings a picture to the size and depth that the band
// loop asks for. What it makes lives in a private block of the request until the terminate message.
#include <tivar/color.h>
#include <tivar/export.h>

#include <algorithm>
#include <cstring>

#include "base/memory.h"
#include "base/numbers.h"
#include "base/turn.h"
#include "color/depth.h"
#include "color/working_image.h"
#include "driver/error_stack.h"
#include "export/platform_offscreen.h"

namespace tivar {
namespace {

struct PrivateBlock {
    MemHandle pixels;  // prepared rows
    MemHandle table;   // copy of the output colour table
};

using PrivateLock = Locked<PrivateBlock>;

HostWord queryScale(const CellPicture& picture, CellFormat& format) {
    format.width = picture.targetWidth;
    format.height = picture.targetHeight;
    // The 16-bit value keeps its sign while it is widened and is then read as unsigned.
    format.resolution = static_cast<uint32_t>(int32_t{picture.resolution});
    if (format.resolution != 0) {
        format.width /= format.resolution;
        format.height /= format.resolution;
    }
    format.swapRedBlue = 1;
    return 0;
}

// Makes table the request's output colour table, which grows when its count is too small, and keeps
// a copy for the conversion. Entries that do not fit the request's own block are left out there.
void adoptTable(CellDataRequest& request, PrivateBlock& own, MemHandle table, uint16_t entries) {
    const uint32_t bytes = uint32_t{entries} * 3;
    if (entries > std::max<int32_t>(request.colorCount, 0))
        request.colorTable =
            static_cast<uint8_t*>(oxlPtrGlobalReAlloc(request.colorTable, bytes, TIVAR_GMEM_FLAGS));
    request.colorCount = static_cast<int16_t>(entries);
    own.table = allocateZeroed(bytes);
    const Locked<const uint8_t> source(table);
    const Locked<uint8_t> copy(own.table);
    const uint32_t present = std::min(bytes, GlobalSize(table));
    if (copy && source) std::memcpy(copy.data, source.data, present);
    const uint32_t room = std::min(bytes, GlobalSize(oxlPtrGlobalHandle(request.colorTable)));
    if (request.colorTable == nullptr) request.colorCount = 0;
    if (room == 0) return;
    std::memset(request.colorTable, 0, room);
    if (source) std::memcpy(request.colorTable, source.data, std::min(present, room));
}

// A table for a picture that becomes shallower; entries holds those of the depth on entry.
MemHandle chooseReducedTable(const CellDataRequest& request, uint16_t& entries) {
    const CellPicture& picture = *request.picture;
    if (picture.bits == kTrueColorBits && request.destBits >= kDeepestIndexedBits)
        return rlReduceColorTable(picture.pixels, picture.width, picture.height, &entries);
    MemHandle table = 0;
    rlDitherGetCT(picture.pixels, picture.width, picture.height, static_cast<int16_t>(picture.bits),
                  request.destBits, picture.colorTable, &table, &entries);
    return table;
}

void prepareTable(CellDataRequest& request, PrivateBlock& own) {
    const CellPicture& picture = *request.picture;
    if (request.destBits >= picture.bits) {
        const bool indexed =
            picture.colorTable != 0 && request.colorTable != nullptr && request.colorCount >= 1;
        if (indexed) adoptTable(request, own, picture.colorTable, entriesOfDepth(picture.bits));
        return;
    }
    uint16_t entries = entriesOfDepth(request.destBits);
    const OwnedBlock table(chooseReducedTable(request, entries));
    if (table) adoptTable(request, own, table.handle, entries);
}

HostWord initialise(CellDataRequest& request, const OffscreenWords& words) {
    request.privateBlock = allocateZeroed(sizeof(PrivateBlock));
    const PrivateLock own(request.privateBlock);
    if (!own) {
        push_er(TIVAR_ERR_STREAM);
        return 0;
    }
    prepareTable(request, *own);
    return words.height;
}

HostWord terminate(CellDataRequest& request) {
    if (request.privateBlock == 0) return 1;
    const OwnedBlock block(request.privateBlock);
    const auto& own = *reinterpret_cast<const PrivateBlock*>(block.data);
    GlobalFree(own.pixels);
    GlobalFree(own.table);
    request.privateBlock = 0;
    return 1;
}

MemHandle convertDepth(const CellDataRequest& request, const PrivateBlock& own,
                       const WorkingImage& cells) {
    const CellPicture& picture = *request.picture;
    const uint32_t width = cells.made != 0 ? request.destWidth : picture.width;
    const uint32_t height = cells.made != 0 ? request.destHeight : picture.height;
    const auto sourceBits = static_cast<int16_t>(picture.bits);
    const bool dithers = request.destBits < kDeepestIndexedBits && request.destBits < sourceBits;
    const auto convert = [&](auto step) {
        return step(cells.current(), width, height, sourceBits, request.destBits,
                    picture.colorTable, own.table, request.colorCount);
    };
    return dithers ? convert(rlDitherGivenCT) : convert(rlConvertBitmapDepth);
}

HostWord prepareCells(CellDataRequest& request) {
    const CellPicture& picture = *request.picture;
    const uint32_t width = request.destWidth;
    const uint32_t height = request.destHeight;
    const auto sourceBits = static_cast<int16_t>(picture.bits);
    const PrivateLock own(request.privateBlock);
    if (!own) return picture.pixels;
    WorkingImage cells = {picture.pixels, 0};
    if (width < picture.width || height < picture.height)
        cells.made = rlShrinkBitmap(picture.pixels, sourceBits, picture.width, picture.height,
                                    width, height);
    if (request.destBits != sourceBits) cells.replace(convertDepth(request, *own, cells));
    // Kept: the input size is the picture's even when a step before has already changed it.
    if (width > picture.width || height > picture.height)
        cells.replace(rlStretchBitmap(cells.current(), request.destBits, picture.width,
                                      picture.height, width, height));
    GlobalFree(own->pixels);
    own->pixels = cells.made;
    return cells.current();
}

}  // namespace
}  // namespace tivar

using namespace tivar;

HostWord DrawExportCellData(int32_t message, void* input, HostWord output, HostWord) {
    if (input == nullptr) return 0;
    const Turn turn;
    if (message == DRAW_QUERY) {
        auto* format = reinterpret_cast<CellFormat*>(output);
        return format == nullptr ? 0 : queryScale(*static_cast<CellPicture*>(input), *format);
    }
    auto& request = *static_cast<CellDataRequest*>(input);
    if (message == DRAW_TERMINATE) return terminate(request);
    if (request.picture == nullptr) return 0;
    if (message == DRAW_INITIALISE && output != 0)
        return initialise(request, *reinterpret_cast<const OffscreenWords*>(output));
    return message == DRAW_ROWS ? prepareCells(request) : 0;
}
