#include "write/source.h"

namespace tivar {

bool prepareSource(Source& source, const TivarPicture& picture, uint32_t slots) {
    source.picture = &picture;
    source.rowBytes = packedRowBytes(picture.width, formatBits(picture.format));
    source.top = static_cast<const uint8_t*>(picture.pixels);
    source.stride =
        picture.stride != 0 ? int64_t{picture.stride} : static_cast<int64_t>(source.rowBytes);
    if (source.top != nullptr) return true;
    return source.asked.obtain(source.rowBytes * slots);
}

int32_t keepPicture(Source& source, Watch& watch) {
    const TivarPicture& picture = *source.picture;
    const bool possible = source.rowBytes <= PTRDIFF_MAX / picture.height;
    if (!possible || !source.kept.obtain(source.rowBytes * picture.height))
        return TIVAR_RESULT_NO_MEMORY;
    for (uint32_t y = 0; y < picture.height; ++y) {
        if (!goOn(watch)) return TIVAR_RESULT_CANCELLED;
        uint8_t* row = source.kept.data + static_cast<size_t>(source.rowBytes * y);
        if (picture.read_row(picture.context, y, row) != 0) return TIVAR_RESULT_ROW_FAILED;
        if (!advance(watch, 1)) return TIVAR_RESULT_CANCELLED;
    }
    source.top = source.kept.data;
    source.stride = static_cast<int64_t>(source.rowBytes);
    return TIVAR_RESULT_OK;
}

const uint8_t* rowOf(Source& source, uint32_t y, uint32_t slot) {
    if (source.top != nullptr) return memoryRow(source, y);
    const TivarPicture& picture = *source.picture;
    uint8_t* row = source.asked.data + static_cast<size_t>(source.rowBytes * slot);
    return picture.read_row(picture.context, y, row) == 0 ? row : nullptr;
}

}  // namespace tivar
