// Files that are read; the name "-" is standard input.

#ifndef TIVAR_TOOL_INPUT_FILE_H
#define TIVAR_TOOL_INPUT_FILE_H

#include <string>

#include "process/system.h"

namespace tool {

// The input as messages name it.
std::string nameOfInput(const std::string& name);

OpenFile openInput(const std::string& name);

}  // namespace tool

#endif
