// What commands print on standard output.

#ifndef TIVAR_TOOL_PRINTING_H
#define TIVAR_TOOL_PRINTING_H

namespace tool {

// A full disk behind standard output is a Failure.
void finishPrinting();

}  // namespace tool

#endif
