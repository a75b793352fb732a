// Thresholds that spread over the plane as blue noise, for ordered dithering and for the
// diffusion's faint tones.
#pragma once

#include <cstdint>

namespace tivar {

constexpr uint32_t kMaskSide = 64;

// Each of 0 to 254 as often as the others, to one: a tone that is part / 255 of the way from one
// colour to the next takes the next one where part is above the threshold.
extern const uint8_t kThresholdMask[kMaskSide][kMaskSide];

// The thresholds of row y; that of pixel x stands at x % kMaskSide.
inline const uint8_t* thresholdsOf(uint32_t y) {
    return kThresholdMask[y % kMaskSide];
}

}  // namespace tivar
