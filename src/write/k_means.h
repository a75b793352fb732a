// Moves the centres of clusters to where the squared error is less, by Lloyd's rounds over weighted
// colours (M. E. Celebi, "Improving the performance of k-means for color quantization", 2011), with
// comparisons saved by the distances between centres (S. Phillips, "Acceleration of k-means and
// related clustering algorithms", 2002).
#pragma once

#include <cstdint>

#include "write/color_point.h"

namespace tivar {

constexpr uint32_t kMostCenters = 256;

// In steps, as those of a point.
struct ColorCenter {
    int32_t channels[3];
};

// The means of the clusters as they are; what has no points gets one of the worst fitting.
void meanCenters(ColorPoint* points, uint32_t count, ColorCenter* centers, uint32_t clusters);

// So many rounds: every point to its nearest centre, every centre to its mean. False without
// memory.
bool refineCenters(ColorPoint* points, uint32_t count, ColorCenter* centers, uint32_t clusters,
                   int rounds, int threads);

}  // namespace tivar
