// Files that are read; the name "-" is standard input.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "process/system.h"

namespace tool {

// The input as messages name it.
std::string nameOfInput(const std::string& name);

OpenFile openInput(const std::string& name);

// All that is left of the file; more than 4 gigabytes are a Failure.
std::vector<uint8_t> readAll(std::FILE* file);

}  // namespace tool
