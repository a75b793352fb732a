// Pictures with alpha as they look.
#pragma once

#include "picture/pixel_rows.h"

namespace tool {

// The rows laid over background, without alpha; others as they are.
PixelRows over(PixelRows rows, Color background);

}  // namespace tool
