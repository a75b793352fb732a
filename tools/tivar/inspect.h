// What is in a BMP file, field by field.

#ifndef TIVAR_TOOL_INSPECT_H
#define TIVAR_TOOL_INSPECT_H

#include <string>

namespace tool {

// Prints it to standard output: the exit code, which tells whether everything fits together.
int inspectFile(const std::string& input);

}  // namespace tool

#endif
