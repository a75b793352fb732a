// The factor of multiplicative hashing.
#pragma once

#include <stdint.h>

namespace tivar {

// 2^32 over the golden ratio: spreads keys that differ in any of their bits. See Knuth, The Art of
// Computer Programming, volume 3, section 6.4.
inline constexpr uint32_t kHashFactor = 2654435769u;

}  // namespace tivar
