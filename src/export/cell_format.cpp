// Negotiation of the output's size in pixels and bits per pixel from the settings, the picture's
// own proportions and the resolution that the caller offers.
#include <tivar/export.h>
#include <tivar/filter.h>

#include <cmath>

#include "base/numbers.h"
#include "color/depth.h"

namespace tivar {
namespace {

constexpr uint32_t kHighestOffered = 400;

// What the display answers when the settings follow it; asked once per negotiation.
struct Display {
    double width = 0;
    double height = 0;
    int16_t xResolution = 0;
    bool asked = false;

    bool known() {
        if (!asked) GetDisplayInfo(&width, &height, &xResolution, nullptr);
        asked = true;
        return xResolution != 0;
    }
};

void chooseSize(SetupRecord& setup, double width, double height, bool offered, Display& display) {
    if (setup.sizeMode == SIZE_GIVEN && offered) {
        setup.pictureWidth = width;
        setup.pictureHeight = height;
    } else if (setup.sizeMode == SIZE_OF_DISPLAY && display.known()) {
        setup.pictureWidth = display.width;
        setup.pictureHeight = display.height;
    }
}

void chooseResolution(SetupRecord& setup, uint32_t resolution, Display& display) {
    if (setup.resolutionMode == RESOLUTION_OF_CALLER && resolution != 0) {
        const uint32_t capped = resolution > kHighestOffered ? kHighestOffered : resolution;
        setup.xResolution = setup.yResolution = static_cast<int16_t>(capped);
    } else if (setup.resolutionMode == RESOLUTION_OF_DISPLAY && display.known()) {
        // Kept: the display's vertical resolution is not used.
        setup.xResolution = setup.yResolution = display.xResolution;
    }
}

// Kept: three colour formats have bits of their own, though no file is written with them.
void chooseBits(int32_t colorFormat, uint16_t& bitCount) {
    switch (colorFormat) {
        case COLOR_FORMAT_216:
            bitCount = static_cast<uint16_t>(-4);
            break;
        case COLOR_FORMAT_217:
            bitCount = static_cast<uint16_t>(-8);
            break;
        case COLOR_FORMAT_218:
            bitCount = 3;
            break;
        default:
            if (const Depth* depth = depthOfFormat(colorFormat); depth != nullptr)
                bitCount = static_cast<uint16_t>(depth->bits);
            break;
    }
}

}  // namespace
}  // namespace tivar

using namespace tivar;

void QueryCellFormat(double* width, double* height, uint16_t* bitCount, uint32_t* resolution,
                     uint16_t* planes, HostWord) {
    if (width == nullptr || height == nullptr || lpRaster == nullptr) return;
    SetupRecord& setup = *lpRaster;
    const uint32_t offered = resolution == nullptr ? 0 : *resolution;
    Display display;
    chooseSize(setup, *width, *height, offered != 0, display);
    chooseResolution(setup, offered, display);
    double page[2] = {setup.pictureWidth, setup.pictureHeight};
    const bool offersNone = resolution != nullptr && offered == 0;
    if (offersNone || setup.sizeMode != SIZE_GIVEN) RasterAdjustAspect(page, *width, *height);
    if (setup.xResolution != 0) {
        *width = setup.xResolution * page[0];
        *height = setup.yResolution * page[1];
        if (resolution != nullptr) *resolution = static_cast<uint32_t>(setup.xResolution);
    }
    if (bitCount != nullptr) chooseBits(setup.colorFormat, *bitCount);
    if (planes != nullptr) *planes = 1;
}

int32_t RasterAdjustAspect(double* out, double aspectWidth, double aspectHeight) {
    if (out == nullptr || lpRaster == nullptr) return -1;
    const auto toPixels = [](int16_t resolution, double inches) {
        return static_cast<double>(saturate<int32_t>(resolution * inches));
    };
    const auto wholePixels = [](double pixels) {
        return static_cast<double>(saturate<int32_t>(pixels));
    };
    double width = toPixels(lpRaster->xResolution, lpRaster->pictureWidth);
    double height = toPixels(lpRaster->yResolution, lpRaster->pictureHeight);
    const double page = width / height;
    const double wanted = aspectWidth / aspectHeight;
    if (wanted < page)
        width -= wholePixels(width - height * wanted);
    else if (wanted > page)
        height -= wholePixels(height - width / wanted);
    out[0] = width / lpRaster->xResolution;
    out[1] = height / lpRaster->yResolution;
    return 0;
}
