// Pictures that a camera took turned or mirrored, and those that the user wants turned.
#pragma once

#include "picture/image.h"

namespace tool {

// The orientation of such a picture turned clockwise so often.
int turnedFurther(int orientation, int quarters);

// Whether the stored rows are columns of the upright picture.
bool exchangesSides(int orientation);

// Turns and mirrors the pixels as the picture's orientation says, which is 1 then.
void makeUpright(Image& image);

}  // namespace tool
