#pragma once

#include <cstdint>

namespace tivar {

// Modes of rev_rgb, the colour-depth code of the device state.
enum ColorTransform {
    kColorsAsGiven = 0,
    kInvertAll = 1,
    kInvertGreys = 2,
    kTurnGrey = 3,
    kTurnGreyInverted = 4
};

// Transforms count colours of three bytes in place; other modes change nothing.
void rev_rgb(int32_t count, uint8_t* triples, int32_t mode);

}  // namespace tivar
