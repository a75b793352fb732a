// What contradicts what in a BMP file.
#pragma once

#include "bmp/bmp_file.h"
#include "bmp/bmp_flaw.h"

namespace tool {

// One walk over the pixels: where they end, as far as the file has them, what is wrong with them
// and, in encoded files, where the rows begin. Places count from file.pixelsAt, those of flaws from
// the file's start.
RunMap mapPixels(const BmpFile& file);

// Of the headers and the palette; pixelLength is the end that the walk found.
BmpFlaws headerFlaws(const BmpFile& file, uint64_t pixelLength);

}  // namespace tool
