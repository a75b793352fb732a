// What the library says about itself.

#ifndef TIVAR_TOOL_INFO_H
#define TIVAR_TOOL_INFO_H

#include "process/library.h"

namespace tool {

// Both print to standard output.
void printInfo(const Library& library);
void printVersion(const Library& library);

}  // namespace tool

#endif
