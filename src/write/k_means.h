// Moves points to the cluster whose mean is nearest, in Lloyd's rounds over weighted colours
// (M. E. Celebi, "Improving the performance of k-means for color quantization", 2011), with
// comparisons saved by the distances between means (S. Phillips, "Acceleration of k-means and
// related clustering algorithms", 2002).
#pragma once

#include "write/clusters.h"

namespace tivar {

// One round; false when no point moved.
bool moveToNearest(Clusters& clusters, int threads);

}  // namespace tivar
