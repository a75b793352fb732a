// Colours as their profile means them.
#pragma once

#include "picture/image.h"

namespace tool {

// Converts the colours from the picture's ICC profile to sRGB; inks become red, green and blue with
// a profile or without. A profile that cannot be used is told in a notice.
void convertToSrgb(Image& image, const ReadRequest& request);

}  // namespace tool
