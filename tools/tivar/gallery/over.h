// Pictures with alpha as they look.

#ifndef TIVAR_TOOL_OVER_H
#define TIVAR_TOOL_OVER_H

#include "picture/pixel_rows.h"

namespace tool {

// The rows laid over background, without alpha; others as they are.
PixelRows over(PixelRows rows, Color background);

}  // namespace tool

#endif
