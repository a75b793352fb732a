// Drawings and pixel art, told from photographs.

#ifndef TIVAR_TOOL_FEW_COLORS_H
#define TIVAR_TOOL_FEW_COLORS_H

#include "picture/image.h"

namespace tool {

// Whether the picture has at most 64 colours.
bool hasFewColors(const Image& image);

}  // namespace tool

#endif
