// Sizes on the driver route: what the window and its scale do, and what the tool does beforehand.
#pragma once

#include "export/delivery.h"

namespace tool {

// The device window in units, and how many of them make an inch; 0 = no measure.
struct DeviceWindow {
    uint32_t width;
    uint32_t height;
    uint32_t unitsPerInch;
};

// Settles the plan's size, brings the picture to it as far as the driver cannot, and chooses the
// window that has the driver do the rest.
DeviceWindow settleSize(const Workshop& shop, ExportPlan& plan);

}  // namespace tool
