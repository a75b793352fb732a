// Sizes of exports, and the one kind of scaling that the library leaves to its host.
#pragma once

#include "export/picture.h"

namespace tool {

// The library rounds heights up to even ones.
inline uint32_t evenHeight(uint32_t height) {
    return height + height % 2;
}

// Whether one axis shrinks while the other grows. The export runs such a picture through its
// scaler twice with the first size, which garbles it.
bool scalesBothWays(const Picture& picture, PixelSize target);

// Sizes that the library's scaler gets wrong by itself are Failures.
void refuseTallShrinking(const Picture& picture, PixelSize target);

// The picture at target's size, or as near as its 16-bit sides allow, by the library's scaler.
void scaleTo(const Library& library, Picture& picture, PixelSize target);

}  // namespace tool
