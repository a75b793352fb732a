// Where a picture goes in a size that is asked for.
#pragma once

#include "picture/image.h"

namespace tool {

// Whole and in proportion; filling the size in proportion, cut at its edges; as the size has it.
enum class Fit { Contain, Cover, Stretch };

// A part of a picture, in its pixels.
struct Region {
    double left;
    double top;
    double width;
    double height;
};

struct Placement {
    Region region;      // in the picture's middle
    PixelSize content;  // what the region becomes, in the middle of the wanted size
};

Placement placementOf(PixelSize picture, PixelSize wanted, Fit fit);

// The same of the picture with rows and columns exchanged. It holds for mirrored ones, too: what
// lies in the middle stays there.
Placement exchanged(const Placement& placement);

inline PixelSize exchanged(PixelSize size) {
    return {size.height, size.width};
}

}  // namespace tool
