// The filter route: the library's export call.

#ifndef TIVAR_TOOL_FILTER_ROUTE_H
#define TIVAR_TOOL_FILTER_ROUTE_H

#include "export/delivery.h"

namespace tool {

// The picture's rows are used up: the library may exchange red and blue in them.
Delivery deliverByFilter(const Workshop& shop, ExportPlan& plan);

}  // namespace tool

#endif
