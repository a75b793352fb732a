// Which resolutions and sizes the settings take; what is beyond is refused or becomes the default.
#pragma once

#include <stdint.h>

namespace tivar {

inline constexpr int16_t kLowestResolution = 32;  // pixels per inch
inline constexpr int16_t kHighestResolution = 400;
inline constexpr double kSmallestInches = 0.03125;
inline constexpr double kLargestInches = 22.0;

}  // namespace tivar
