// Pictures inside a page.
#pragma once

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

// How large the pictures of a page are. One of the two is 1.
struct PreviewScale {
    uint32_t factor{};    // pixels of a side that become one, for no side of more than 400
    uint32_t enlarged{};  // pixels of the page for one of them
};

// The same for a picture and for the one with an even height.
PreviewScale previewScale(uint32_t width, uint32_t height);

// Blocks of factor x factor pixels as their mean; the last ones of a side may be smaller.
PixelRows reduced(const PixelRows& rows, uint32_t factor);

// The whole picture: with its very pixels where it needs no reducing.
Preview previewOf(const PixelRows& rows, PreviewScale scale);

// Whether pixels are so small in the preview that its middle should be seen, too.
bool deservesDetail(PreviewScale scale);

// The very pixels of the middle, enlarged.
Preview detailOf(const PixelRows& rows);

}  // namespace tool
