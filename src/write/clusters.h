// Weighted colours in clusters.
#pragma once

#include <cstdint>

#include "base/block.h"
#include "write/color_point.h"

namespace tivar {

constexpr uint32_t kMostClusters = 256;

// The points of cluster i lie from first[i] to first[i + 1], without that one.
struct Clusters {
    Block<ColorPoint>* points;
    Block<ColorPoint> spare;
    uint32_t count = 0;  // of clusters
    uint32_t first[kMostClusters + 1] = {};
    ColorSum sums[kMostClusters] = {};

    uint32_t sizeOf(uint32_t cluster) const { return first[cluster + 1] - first[cluster]; }
    ColorPoint* pointsOf(uint32_t cluster) const { return points->data + first[cluster]; }
    uint32_t pointCount() const { return first[count]; }
};

// Brings the points of each cluster together after some have moved, and adds them up.
void regroup(Clusters& clusters);

// The mean of a cluster that has points, in steps.
inline float meanOf(const ColorSum& sum, int channel) {
    return static_cast<float>(roundedQuotient(sum.channels[channel], sum.weight));
}

}  // namespace tivar
