#include "export/driver_size.h"

#include <limits>

#include "export/scaling.h"
#include "process/failure.h"

namespace tool {
namespace {

// The size that the profile's page gives the picture. The library negotiates with the record that
// was created last, which is this one.
PixelSize pageSize(const Settings& settings, const Picture& picture) {
    const Library& library = settings.library;
    library.setDisplayInfo(kDisplayWidth, kDisplayHeight, kDisplayResolution, kDisplayResolution);
    double width = picture.width;
    double height = picture.height;
    uint32_t noneOffered = 0;
    library.queryCellFormat(&width, &height, nullptr, &noneOffered, nullptr, 0);
    const auto usable = [](double side) { return side >= 1 && side <= kLargestSide; };
    if (!usable(width) || !usable(height)) {
        failAt(settings.profile, "the mode's page gives no size of 1 to 65535 pixels a side",
               "choose a size with --size");
    }
    return {static_cast<uint32_t>(width), static_cast<uint32_t>(height)};
}

bool isSize(PixelSize a, PixelSize b) {
    return a.width == b.width && a.height == b.height;
}

void scaleBeforehand(const Workshop& shop, ExportPlan& plan) {
    refuseTallShrinking(shop.picture, plan.size);
    scaleTo(shop.settings.library, shop.picture, plan.size);
    fixSize(shop.settings, plan, shop.picture, plan.size);
}

// An image has the size of its cells: the window only cuts them, and the scale changes nothing
// because the file takes its resolution from it. An odd height is evened by the band loop.
DeviceWindow settleImage(const Workshop& shop, ExportPlan& plan) {
    const Picture& picture = shop.picture;
    if (!isSize(plan.size, {picture.width, evenHeight(picture.height)}))
        scaleBeforehand(shop, plan);
    return {picture.width, picture.height, kExactResolution};
}

// A stand-alone array is scaled to the window, but a window narrower than the array cuts it. So
// that it never is, several units make a pixel: a power of two, which keeps the arithmetic exact.
uint32_t unitsPerPixel(const Picture& picture, PixelSize size) {
    uint32_t units = 1;
    while (uint64_t{size.width} * units < picture.width) units *= 2;
    return units;
}

// The driver looks at heights only to decide about scaling, and changes the depth in between as if
// a growing picture had grown already.
bool driverScales(const ExportPlan& plan, const Picture& picture) {
    constexpr auto kLargestUnit = static_cast<uint64_t>(std::numeric_limits<int32_t>::max());
    const bool inRange =
        uint64_t{plan.size.height} * unitsPerPixel(picture, plan.size) <= kLargestUnit;
    const bool grows = plan.size.height > picture.height && plan.bits == picture.bits;
    return inRange && (plan.size.height < picture.height || grows);
}

DeviceWindow settleArray(const Workshop& shop, ExportPlan& plan) {
    const Picture& picture = shop.picture;
    if (isSize(plan.size, {picture.width, picture.height}))
        return {picture.width, picture.height, 0};
    if (!driverScales(plan, picture)) {
        scaleBeforehand(shop, plan);
        return {picture.width, picture.height, 0};
    }
    refuseTallShrinking(picture, plan.size);
    // The window's inches times this resolution are the pixels of the file.
    SetupRecord& record = *shop.settings.record;
    record.resolutionMode = RESOLUTION_FIXED;
    record.xResolution = kExactResolution;
    record.yResolution = kExactResolution;
    const uint32_t units = unitsPerPixel(picture, plan.size);
    return {plan.size.width * units, plan.size.height * units, kExactResolution * units};
}

}  // namespace

DeviceWindow settleSize(const Workshop& shop, ExportPlan& plan) {
    if (plan.sizeFromProfile) {
        const PixelSize page = pageSize(shop.settings, shop.picture);
        fixSize(shop.settings, plan, shop.picture, sizeOfFile(shop.request, page));
    }
    return shop.request.cellArrays == CellArrays::Single ? settleArray(shop, plan)
                                                         : settleImage(shop, plan);
}

}  // namespace tool
