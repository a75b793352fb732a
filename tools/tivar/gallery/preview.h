// Pictures inside a page.

#ifndef TIVAR_TOOL_PREVIEW_H
#define TIVAR_TOOL_PREVIEW_H

#include <string>

#include "picture/pixel_rows.h"

namespace tool {

struct Preview {
    std::string address;  // data:
    uint32_t width{};     // pixels
    uint32_t height{};
    uint32_t enlarged{};  // pixels of the page for one of them

    bool operator==(const Preview&) const = default;
};

// How many pixels of a side become one, so that no preview has a side of more than 400.
uint32_t previewFactor(uint32_t width, uint32_t height);

// Blocks of factor x factor pixels as their mean; the last ones of a side may be smaller.
PixelRows reduced(const PixelRows& rows, uint32_t factor);

// The whole picture: with its very pixels where it needs no reducing.
Preview previewOf(const PixelRows& rows);

// Whether so much of the picture is lost in its preview that its middle should be seen, too.
bool deservesDetail(const PixelRows& rows);

// The very pixels of the middle, enlarged.
Preview detailOf(const PixelRows& rows);

}  // namespace tool

#endif
