// A picture brought to an exact size.
#pragma once

#include "shape/placement.h"

namespace tool {

// Automatic: pixels stay pixels in pictures of few colours that grow by whole numbers.
enum class Scaling { Automatic, Smooth, Pixels };

struct Shape {
    PixelSize size{};
    Fit fit = Fit::Contain;
    Scaling scaling = Scaling::Automatic;
    Color pad;  // of what the picture leaves free
    uint8_t padAlpha = 255;
};

// How much of a stored picture's sides the shape needs to look as good as with all of it.
double enoughFor(const Shape& shape, PixelSize stored, int orientation);

// The picture upright, in the shape.
Image reshaped(Image image, const Shape& shape);

}  // namespace tool
