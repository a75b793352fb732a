// The size that the user asks for, as far as the picture is brought to it before its route begins.
#pragma once

#include "export/request.h"

namespace tool {

// Files have an alpha of their own at 32 bits, unless a background is asked for.
bool keepsAlpha(const ExportRequest& request, const Image& image);

// Whether the picture goes as it is stored, pixel by pixel.
bool keepsShape(const ExportRequest& request);

// How to read a picture that is shaped then.
ReadRequest readingFor(const ExportRequest& request);

// The stored picture upright, and of the wanted size. The routes with settings have scalers of
// their own, which meet a size when nothing says how.
Image inWantedShape(Image image, const ExportRequest& request);

}  // namespace tool
