// Scaling that makes no new colours: every pixel is one of the picture's.

#ifndef TIVAR_TOOL_PIXEL_SCALER_H
#define TIVAR_TOOL_PIXEL_SCALER_H

#include "shape/placement.h"

namespace tool {

// The region at that size, each pixel the one that lies under its centre; of the same format.
Image scaledByPixels(const Image& image, const Region& region, PixelSize size);

}  // namespace tool

#endif
