// Scaling that makes no new colours: every pixel is one of the picture's.
#pragma once

#include "shape/placement.h"

namespace tool {

// The region at that size, each pixel the one that lies under its centre; of the same format.
Image scaledByPixels(const Image& image, const Region& region, PixelSize size);

}  // namespace tool
