// What the library says about itself.

#ifndef TIVAR_TOOL_INFO_H
#define TIVAR_TOOL_INFO_H

#include "library.h"

namespace tool {

// Both print to standard output; a full disk behind it is a Failure.
void printInfo(const Library& library);
void printVersion(const Library& library);
void finishPrinting();

}  // namespace tool

#endif
