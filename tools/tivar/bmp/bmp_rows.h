// The pixels of a BMP file, in whatever form it holds them.

#ifndef TIVAR_TOOL_BMP_ROWS_H
#define TIVAR_TOOL_BMP_ROWS_H

#include "bmp/bmp_file.h"
#include "picture/pixel_rows.h"

namespace tool {

// What has no certain pixels, or more of them than programs open, is a Failure. The file lives
// longer.
PixelRows rowsOf(const BmpFile& file);

}  // namespace tool

#endif
