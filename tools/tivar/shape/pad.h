// Borders around a picture.
#pragma once

#include "picture/image.h"

namespace tool {

// The picture in the middle of that size, which is not smaller. Where its format cannot hold the
// colour of the borders, the next one does.
Image padded(Image image, PixelSize size, Color color, uint8_t alpha);

}  // namespace tool
