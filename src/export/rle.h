// Modes of the run-length encoder, which are also the compression codes of the file header.
#pragma once

#include <cstdint>

namespace tivar {

enum RleMode : uint32_t { kRleNone = 0, kRle8 = 1, kRle4 = 2 };

}  // namespace tivar
