#include "export/filter_route.h"

#include <array>

#include "export/scaling.h"
#include "export/status.h"
#include "process/failure.h"
#include "process/interrupt.h"

namespace tool {
namespace {

CellPicture describePicture(const Picture& picture) {
    CellPicture cells{};
    cells.bits = picture.bits;
    cells.width = static_cast<uint16_t>(picture.width);
    cells.height = static_cast<uint16_t>(picture.height);
    cells.colorTable = picture.table.handle;
    cells.pixels = picture.pixels.handle;
    return cells;
}

// Without an offered resolution the width and height are only a ratio to fit into the page.
PictureDescription describeTarget(const ExportPlan& plan, const Picture& picture) {
    PictureDescription target{};
    target.displayResolution = kDisplayResolution;
    target.displayWidth = kDisplayWidth;
    target.displayHeight = kDisplayHeight;
    target.resolution = plan.sizeFromProfile ? int16_t{0} : kExactResolution;
    target.width = static_cast<int32_t>(plan.sizeFromProfile ? picture.width : plan.size.width);
    target.height = static_cast<int32_t>(plan.sizeFromProfile ? picture.height : plan.size.height);
    return target;
}

Block runExport(const Workshop& shop, const ExportPlan& plan, const Destination& destination) {
    const Library& library = shop.settings.library;
    StatusBlock status(shop.progress, destination.document);
    nameDocument(shop.settings, destination);
    std::array<HostWord, 7> parameters{};
    parameters[EXPORT_SETUP] = shop.settings.handle;
    parameters[EXPORT_STATUS] = wordOf(status.words.data());

    CellPicture cells = describePicture(shop.picture);
    const PictureDescription target = describeTarget(plan, shop.picture);
    int32_t result = 0;
    {
        const DeferSignals deferred;
        result = library.exportCellData(destination.fileName.c_str(), &cells, &target,
                                        parameters.data());
    }
    Block memory(library, status.words[STATUS_MEMORY]);
    throwIfInterrupted();
    if (result != 0) {
        failWithoutDescriptors();
        fail("the library could not open its output (code " + std::to_string(result) + ")",
             "check the target and the free memory");
    }
    return memory;
}

}  // namespace

// Scales beforehand what the library would garble. A size that the profile chooses is known only
// after an export, which leaves the rows intact in that case: it worked on scaled copies.
Delivery deliverByFilter(const Workshop& shop, ExportPlan& plan) {
    const auto run = [&](const Destination& destination) {
        return runExport(shop, plan, destination);
    };
    if (!plan.sizeFromProfile) {
        refuseTallShrinking(shop.picture, plan.size);
        if (scalesBothWays(shop.picture, plan.size)) {
            scaleTo(shop.settings.library, shop.picture, plan.size);
        }
        return deliver(shop, plan, run);
    }
    Delivery delivery = deliver(shop, plan, run);
    const PixelSize size = sizeInFile(delivery.start);
    refuseTallShrinking(shop.picture, size);
    if (!scalesBothWays(shop.picture, size)) return delivery;
    fixSize(shop.settings, plan, shop.picture, size);
    return deliverByFilter(shop, plan);
}

}  // namespace tool
