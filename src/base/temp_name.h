#pragma once

#include <cstddef>
#include <cstdint>

namespace tivar {

constexpr size_t kTempNameBytes = 144;

// A name for a temporary file that did not exist a moment ago, into destination (at least
// kTempNameBytes): 1, or 0 when none could be had. The first three arguments are ignored.
int32_t OXLGetTempFileName(uint8_t drive, const char* prefix, uint32_t unique, char* destination);

}  // namespace tivar
