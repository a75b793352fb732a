// Divides weighted colours into clusters: of all parts, the one is cut whose cut lessens the
// squared error most, by a plane across its principal axis, where the two parts' error is least
// (S. Wan, S. Wong, P. Prusinkiewicz, "An algorithm for multidimensional data clustering", 1988;
// X. Wu, "Color quantization by dynamic programming and principal analysis", 1992).
#pragma once

#include <cstdint>

#include "write/color_point.h"

namespace tivar {

// Gives every point its cluster and reorders the points, those of a cluster side by side. Returns
// how many clusters there are: at most most, 1 to 256; 0 without memory.
uint32_t cutColors(ColorPoint* points, uint32_t count, uint32_t most);

}  // namespace tivar
