// What the library says about itself.
#pragma once

#include "process/library.h"

namespace tool {

// Both print to standard output.
void printInfo(const Library& library);
void printVersion(const Library& library);

}  // namespace tool
