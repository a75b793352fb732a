// Negotiation of the output's size in pixels and bits per pixel from the settings, the picture's
// own proportions and the resolution that the caller offers.
#include "export/cell_format.h"

#include <tivar/export.h>
#include <tivar/filter.h>

#include <cmath>

#include "base/numbers.h"
#include "base/turn.h"
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

// Fits the ratio into the settings' page, in inches.
void adjustAspect(const SetupRecord& setup, double* out, double aspectWidth, double aspectHeight) {
    const auto toPixels = [](int16_t resolution, double inches) {
        return static_cast<double>(saturate<int32_t>(resolution * inches));
    };
    const auto wholePixels = [](double pixels) {
        return static_cast<double>(saturate<int32_t>(pixels));
    };
    double width = toPixels(setup.xResolution, setup.pictureWidth);
    double height = toPixels(setup.yResolution, setup.pictureHeight);
    const double page = width / height;
    const double wanted = aspectWidth / aspectHeight;
    if (wanted < page)
        width -= wholePixels(width - height * wanted);
    else if (wanted > page)
        height -= wholePixels(height - width / wanted);
    out[0] = width / setup.xResolution;
    out[1] = height / setup.yResolution;
}

// What the caller of a negotiation gives and receives; the sizes are there, the rest may be null.
struct Negotiated {
    double& width;
    double& height;
    uint16_t* bitCount;
    uint32_t* resolution;
    uint16_t* planes;
};

void settle(SetupRecord& setup, const Negotiated& wanted) {
    const uint32_t offered = wanted.resolution == nullptr ? 0 : *wanted.resolution;
    Display display;
    chooseSize(setup, wanted.width, wanted.height, offered != 0, display);
    chooseResolution(setup, offered, display);
    double page[2] = {setup.pictureWidth, setup.pictureHeight};
    const bool offersNone = wanted.resolution != nullptr && offered == 0;
    if (offersNone || setup.sizeMode != SIZE_GIVEN)
        adjustAspect(setup, page, wanted.width, wanted.height);
    if (setup.xResolution != 0) {
        wanted.width = setup.xResolution * page[0];
        wanted.height = setup.yResolution * page[1];
        if (wanted.resolution != nullptr)
            *wanted.resolution = static_cast<uint32_t>(setup.xResolution);
    }
    if (wanted.bitCount != nullptr) chooseBits(setup.colorFormat, *wanted.bitCount);
    if (wanted.planes != nullptr) *wanted.planes = 1;
}

}  // namespace

void queryCellFormat(SetupRecord& setup, CellFormat& format, uint16_t& bitCount) {
    settle(setup, {format.width, format.height, &bitCount, &format.resolution, nullptr});
}

}  // namespace tivar

using namespace tivar;

void QueryCellFormat(double* width, double* height, uint16_t* bitCount, uint32_t* resolution,
                     uint16_t* planes, HostWord) {
    const Turn turn;
    SetupRecord* setup = lpRaster;
    if (width == nullptr || height == nullptr || setup == nullptr) return;
    settle(*setup, {*width, *height, bitCount, resolution, planes});
}

int32_t RasterAdjustAspect(double* out, double aspectWidth, double aspectHeight) {
    const Turn turn;
    const SetupRecord* setup = lpRaster;
    if (out == nullptr || setup == nullptr) return -1;
    adjustAspect(*setup, out, aspectWidth, aspectHeight);
    return 0;
}
