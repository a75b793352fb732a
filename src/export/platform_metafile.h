// The platform's metafile source. There are no metafiles here: the hooks say so.
#pragma once

#include <tivar/types.h>

namespace tivar {

// Sets the addressed words and the handle to 0 and returns its first argument.
HostWord InitPlatformMetafileFilter(HostWord first, HostWord second, HostWord* exportParams,
                                    HostWord* word1, MemHandle* handle, HostWord* word2,
                                    HostWord* callback);
HostWord TermPlatformMetafileFilter(HostWord filter);          // 0
MemHandle GetMetaFileHandle(HostWord first, HostWord second);  // 0: no metafile
HostWord DeleteMetaFileHandle(MemHandle handle);               // 0

// The size of a metafile's picture: corners and units per inch.
struct MetafileRectangle {
    int32_t ignored;
    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;
    int32_t units;
};

// The drawing call-back of metafiles: message 0 answers with the size in inches, the others draw
// nothing.
HostWord DrawPlatformMetafile(int32_t message, void* input, HostWord output, HostWord extra);

}  // namespace tivar
