#include "export/platform_metafile.h"

#include <tivar/export.h>

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
