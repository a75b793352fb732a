#include "shape/reshape.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>

#include "picture/upright.h"
#include "process/failure.h"
#include "shape/few_colors.h"
#include "shape/pad.h"
#include "shape/pixel_scaler.h"
#include "shape/smooth_scaler.h"

namespace tool {
namespace {

// With two pixels and more for each one that is left nobody sees that a reader has averaged some.
constexpr double kMargin = 2;

constexpr unsigned kMostBits = 32;  // of a pixel

// The placement in a picture of that orientation, as if all of it had been decoded.
Placement placementIn(PixelSize stored, int orientation, const Shape& shape) {
    if (!exchangesSides(orientation)) return placementOf(stored, shape.size, shape.fit);
    return exchanged(placementOf(exchanged(stored), shape.size, shape.fit));
}

// Of a picture that was decoded smaller.
Region decodedRegion(const Region& region, unsigned eighths) {
    const double scale = eighths / 8.0;
    return {region.left * scale, region.top * scale, region.width * scale, region.height * scale};
}

bool isSame(const Region& region, PixelSize content) {
    return region.width == content.width && region.height == content.height;
}

bool isAll(const Image& image, const Placement& placement) {
    return placement.content.width == image.width && placement.content.height == image.height &&
           isSame(placement.region, placement.content);
}

bool growsWholly(double from, uint32_t to) {
    return to > from && std::fmod(to, from) == 0;
}

bool keepsPixels(const Image& image, const Shape& shape, const Placement& placement) {
    const Region& region = placement.region;
    if (isSame(region, placement.content) || shape.scaling == Scaling::Pixels) return true;
    if (shape.scaling == Scaling::Smooth) return false;
    return growsWholly(region.width, placement.content.width) &&
           growsWholly(region.height, placement.content.height) && hasFewColors(image);
}

bool grows(const Placement& placement) {
    const auto pixels = uint64_t{placement.content.width} * placement.content.height;
    return static_cast<double>(pixels) > placement.region.width * placement.region.height;
}

void refuseHuge(PixelSize size, unsigned bits) {
    if (rowBytes(size.width, bits) * size.height <= std::numeric_limits<uint32_t>::max()) return;
    fail("--size " + std::to_string(size.width) + "x" + std::to_string(size.height) +
             " makes a picture of more than 4 gigabytes",
         "choose a smaller size");
}

}  // namespace

double enoughFor(const Shape& shape, PixelSize stored, int orientation) {
    if (shape.scaling == Scaling::Pixels) return 1;
    const Placement placement = placementIn(stored, orientation, shape);
    return kMargin * std::max(placement.content.width / placement.region.width,
                              placement.content.height / placement.region.height);
}

// What is turned is the smaller one of the picture and its content.
Image reshaped(Image image, const Shape& shape) {
    Placement placement = placementIn(image.whole, image.orientation, shape);
    const bool pixels = keepsPixels(image, shape, placement);
    refuseHuge(shape.size, pixels ? bitsOf(image.format) : kMostBits);
    if (pixels || grows(placement)) {
        makeUpright(image);
        placement = placementIn(image.whole, image.orientation, shape);
    }
    const Region region = decodedRegion(placement.region, image.eighths);
    if (!pixels) {
        image = scaledSmoothly(image, region, placement.content);
        makeUpright(image);
    } else if (!isAll(image, placement)) {
        image = scaledByPixels(image, region, placement.content);
    }
    return padded(std::move(image), shape.size, shape.pad, shape.padAlpha);
}

}  // namespace tool
