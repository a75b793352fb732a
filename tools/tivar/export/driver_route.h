// The driver route: the picture as operations of the library's raster driver.
#pragma once

#include "export/delivery.h"

namespace tool {

Delivery deliverByDriver(const Workshop& shop, ExportPlan& plan);

}  // namespace tool
