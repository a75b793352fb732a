// The pixels of a BMP file, in whatever form it holds them.
#pragma once

#include "bmp/bmp_file.h"
#include "picture/pixel_rows.h"

namespace tool {

// What has no certain pixels, or more of them than are asked for, is a Failure; lenient requests
// get what there is. The file lives longer.
PixelRows rowsOf(const BmpFile& file, const ReadRequest& request);

// Of forms that are pictures of another kind.
Image embeddedImage(const BmpFile& file, const ReadRequest& request);
bool holdsImage(const BmpFile& file);

}  // namespace tool
