// Drawings and pixel art, told from photographs.
#pragma once

#include "picture/image.h"

namespace tool {

// Whether the picture has at most 64 colours.
bool hasFewColors(const Image& image);

}  // namespace tool
