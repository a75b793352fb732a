#include "shape/placement.h"

#include <algorithm>
#include <cmath>

namespace tool {
namespace {

// The side that goes with another one in proportion.
double proportional(uint32_t side, uint32_t of, uint32_t to) {
    return static_cast<double>(uint64_t{side} * to) / of;
}

uint32_t wholeSide(double side, uint32_t most) {
    return static_cast<uint32_t>(std::clamp(std::round(side), 1.0, static_cast<double>(most)));
}

}  // namespace

Placement placementOf(PixelSize picture, PixelSize wanted, Fit fit) {
    const double width = picture.width;
    const double height = picture.height;
    Placement placement{{0, 0, width, height}, wanted};
    if (fit == Fit::Stretch) return placement;
    const bool wider =
        uint64_t{picture.width} * wanted.height > uint64_t{wanted.width} * picture.height;
    if (fit == Fit::Contain) {
        PixelSize& content = placement.content;
        if (wider) {
            const double side = proportional(picture.height, picture.width, wanted.width);
            content.height = wholeSide(side, wanted.height);
        } else {
            const double side = proportional(picture.width, picture.height, wanted.height);
            content.width = wholeSide(side, wanted.width);
        }
        return placement;
    }
    Region& region = placement.region;
    if (wider) {
        region.width = proportional(wanted.width, wanted.height, picture.height);
        region.left = (width - region.width) / 2;
    } else {
        region.height = proportional(wanted.height, wanted.width, picture.width);
        region.top = (height - region.height) / 2;
    }
    return placement;
}

Placement exchanged(const Placement& placement) {
    const Region& region = placement.region;
    return {{region.top, region.left, region.height, region.width}, exchanged(placement.content)};
}

}  // namespace tool
