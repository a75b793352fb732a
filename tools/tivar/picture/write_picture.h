// Pictures that the tool writes itself.
#pragma once

#include <cstdio>

#include "picture/pixel_rows.h"

namespace tool {

// All: 0, or the errno value of the write that failed. JPEG is for looking at and not exact.
int writeJpeg(const PixelRows& rows, std::FILE* file);
int writePng(const PixelRows& rows, std::FILE* file);
int writePpm(const PixelRows& rows, std::FILE* file);

}  // namespace tool
