// Files that are read; the name "-" is standard input.

#ifndef TIVAR_TOOL_INPUT_FILE_H
#define TIVAR_TOOL_INPUT_FILE_H

#include <cstdint>
#include <string>
#include <vector>

#include "system.h"

namespace tool {

// The input as messages name it.
std::string nameOfInput(const std::string& name);

OpenFile openInput(const std::string& name);

// The whole BMP file. Streams that do not begin like one are not read to their end.
std::vector<uint8_t> readBmpBytes(const std::string& name);

}  // namespace tool

#endif
