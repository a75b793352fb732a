#include "write/source.h"

namespace tivar {

bool prepareSource(Source& source, const TivarPicture& picture) {
    source.picture = &picture;
    source.rowBytes = packedRowBytes(picture.width, formatBits(picture.format));
    source.top = static_cast<const uint8_t*>(picture.pixels);
    source.stride =
        picture.stride != 0 ? int64_t{picture.stride} : static_cast<int64_t>(source.rowBytes);
    if (source.top != nullptr) return true;
    return source.row.obtain(source.rowBytes);
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

const uint8_t* rowOf(Source& source, uint32_t y) {
    if (source.top != nullptr) return memoryRow(source, y);
    const TivarPicture& picture = *source.picture;
    const bool given = picture.read_row(picture.context, y, source.row.data) == 0;
    return given ? source.row.data : nullptr;
}

}  // namespace tivar
