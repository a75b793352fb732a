// The bytes of a BMP file.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace tool {

// The whole file. Streams that do not begin like a BMP file are not read to their end.
std::vector<uint8_t> readBmpBytes(std::FILE* file);
std::vector<uint8_t> readBmpBytes(const std::string& name);

}  // namespace tool
