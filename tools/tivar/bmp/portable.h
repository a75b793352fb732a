// The standard run-length form, made from a raw file: every row ends with a code for it and the
// bitmap does, as the readers of other makers expect.
#pragma once

#include <cstdint>
#include <vector>

namespace tool {

// raw is a whole raw file of 4 or 8 bits with the Windows header.
std::vector<uint8_t> encodePortable(std::vector<uint8_t> raw);

}  // namespace tool
