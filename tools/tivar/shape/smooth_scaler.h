// Scaling that mixes pixels, for photographs.
#pragma once

#include "shape/placement.h"

namespace tool {

// The region at that size, in Grey, Rgb, or Rgba if anything is transparent. Light is mixed, not
// the values that stand for it, and every pixel of the region has its share.
Image scaledSmoothly(const Image& image, const Region& region, PixelSize size);

}  // namespace tool
