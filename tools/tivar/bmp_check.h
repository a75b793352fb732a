// What contradicts what in a BMP file.

#ifndef TIVAR_TOOL_BMP_CHECK_H
#define TIVAR_TOOL_BMP_CHECK_H

#include "bmp_file.h"
#include "bmp_flaw.h"

namespace tool {

// Of the headers and the palette.
BmpFlaws headerFlaws(const BmpFile& file);

// Of the pixels: their extent and, in encoded files, their runs.
BmpFlaws pixelFlaws(const BmpFile& file);

// Behind the last byte of the pixels, as far as the file has them.
uint64_t endOfPixels(const BmpFile& file);

}  // namespace tool

#endif
