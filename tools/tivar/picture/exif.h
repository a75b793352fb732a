// What cameras tell about a picture beside its pixels.
#pragma once

#include <cstdint>
#include <span>

namespace tool {

// The orientation in EXIF data, which begin like a TIFF file, behind "Exif" or not; 1 = upright, or
// not told.
int orientationIn(std::span<const uint8_t> exif);

}  // namespace tool
