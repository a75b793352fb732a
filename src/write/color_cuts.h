// Divides weighted colours into clusters: of all parts, the one is cut whose cut lessens the
// squared error most, the first of several, by a plane across its principal axis, where the two
// parts' error is least (S. Wan, S. Wong, P. Prusinkiewicz, "An algorithm for multidimensional data
// clustering", 1988; X. Wu, "Color quantization by dynamic programming and principal analysis",
// 1992).
#pragma once

#include <cstdint>

#include "write/clusters.h"
#include "write/color_point.h"

namespace tivar {

// A plane across an axis: points whose slice is at most last lie below it.
struct CutPlane {
    int32_t axis[3];
    int32_t lowest;   // place of a point along the axis
    uint64_t factor;  // slices per place, shifted
    int last;
};

// Points side by side, and how they are best cut.
struct ColorPart {
    ColorPoint* points;
    uint32_t count;
    ColorSum sum;
    double gain;  // squared error less by the best cut; 0 = cannot be cut
    CutPlane plane;
};

// Along the axis a part is looked at in so many slices.
constexpr int kSlices = 256;

// Finds out how the part is best cut; slices is room for as many.
void weighPart(ColorPart& part, ColorSum* slices);

// Cuts a part in two: those below the plane stay in it.
ColorPart cutPart(ColorPart& part);

// Divides all points, which are in one cluster, into most clusters at most. False without memory.
bool cutClusters(Clusters& clusters, uint32_t most);

}  // namespace tivar
