#include "shape/reshape.h"

#include <algorithm>
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

bool growsBy(double from, uint32_t to) {
    return to > from && static_cast<double>(to) / from == static_cast<uint32_t>(to / from);
}

bool keepsPixels(const Image& image, const Shape& shape, const Placement& placement) {
    const Region& region = placement.region;
    if (isSame(region, placement.content) || shape.scaling == Scaling::Pixels) return true;
    if (shape.scaling == Scaling::Smooth) return false;
    return growsBy(region.width, placement.content.width) &&
           growsBy(region.height, placement.content.height) && hasFewColors(image);
}

bool grows(const Placement& placement) {
    const auto pixels = uint64_t{placement.content.width} * placement.content.height;
    return static_cast<double>(pixels) > placement.region.width * placement.region.height;
}

void refuseHuge(PixelSize size) {
    constexpr unsigned kMostBits = 32;
    if (rowBytes(size.width, kMostBits) * size.height <= std::numeric_limits<uint32_t>::max()) {
        return;
    }
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
    refuseHuge(shape.size);
    Placement placement = placementIn(image.whole, image.orientation, shape);
    const bool pixels = keepsPixels(image, shape, placement);
    if (pixels || grows(placement)) {
        makeUpright(image);
        placement = placementIn(image.whole, image.orientation, shape);
    }
    const Region region = decodedRegion(placement.region, image.eighths);
    image = pixels ? scaledByPixels(image, region, placement.content)
                   : scaledSmoothly(image, region, placement.content);
    makeUpright(image);
    return padded(std::move(image), shape.size, shape.pad, shape.padAlpha);
}

}  // namespace tool
