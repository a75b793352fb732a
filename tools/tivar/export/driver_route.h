// The driver route: the picture as operations of the library's raster driver.

#ifndef TIVAR_TOOL_DRIVER_ROUTE_H
#define TIVAR_TOOL_DRIVER_ROUTE_H

#include "export/delivery.h"

namespace tool {

Delivery deliverByDriver(const Workshop& shop, ExportPlan& plan);

}  // namespace tool

#endif
