// The filter route: the library's export call.
#pragma once

#include "export/delivery.h"

namespace tool {

// The picture's rows are used up: the library may exchange red and blue in them.
Delivery deliverByFilter(const Workshop& shop, ExportPlan& plan);

}  // namespace tool
