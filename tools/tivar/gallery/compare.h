// How much two pictures differ.

#ifndef TIVAR_TOOL_COMPARE_H
#define TIVAR_TOOL_COMPARE_H

#include "picture/pixel_rows.h"

namespace tool {

// The mean over the three channels of the pixels that both have; 0 = the same colours.
double meanSquaredError(const PixelRows& a, const PixelRows& b);

// In decibels, infinite for no error.
double signalToNoise(double meanSquaredError);

}  // namespace tool

#endif
