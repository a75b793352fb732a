// Pictures inside a page.

#ifndef TIVAR_TOOL_PREVIEW_H
#define TIVAR_TOOL_PREVIEW_H

#include <string>

#include "picture/pixel_rows.h"

namespace tool {

// How many pixels of a side become one, so that a page shows no side of more than 1024.
uint32_t previewFactor(uint32_t width, uint32_t height);

// Blocks of factor x factor pixels as their mean; the last ones of a side may be smaller.
PixelRows reduced(const PixelRows& rows, uint32_t factor);

// The middle of the picture, of at most width x height pixels.
PixelRows middle(const PixelRows& rows, uint32_t width, uint32_t height);

// The picture as a PNG in a data: address.
std::string dataAddress(const PixelRows& rows);

}  // namespace tool

#endif
