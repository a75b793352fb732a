// Colours for a palette that is dithered to. Diffusion mixes entries, so it reaches no colour
// outside of them all; the means of clusters lie inside. Each is moved outwards, away from the
// picture's mean, by a part of its cluster's deviation in that direction. Clusters of one colour
// stay where they are.
#pragma once

#include "write/clusters.h"

namespace tivar {

// Puts the moved mean of every cluster that has points into means, in steps, 0 to the most.
void spreadMeans(const Clusters& clusters, float (*means)[3]);

}  // namespace tivar
