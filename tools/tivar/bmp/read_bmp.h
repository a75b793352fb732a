// BMP files as pictures.
#pragma once

#include <cstdio>

#include "bmp/bmp_file.h"
#include "picture/image.h"

namespace tool {

// The file stands at its first byte.
Image readBmp(std::FILE* stream, const ReadRequest& request);

Image imageOf(const BmpFile& file, const ReadRequest& request);

}  // namespace tool
