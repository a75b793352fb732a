#include "write/clusters.h"

#include <algorithm>
#include <utility>

namespace tivar {

void regroup(Clusters& clusters) {
    const uint32_t points = clusters.pointCount();
    const ColorPoint* from = clusters.points->data;
    uint32_t place[kMostClusters + 1] = {};
    for (uint32_t i = 0; i < points; ++i) ++place[from[i].cluster + 1u];
    for (uint32_t i = 0; i < clusters.count; ++i) place[i + 1] += place[i];
    std::copy(place, place + clusters.count + 1, clusters.first);
    std::fill(clusters.sums, clusters.sums + clusters.count, ColorSum{});
    for (uint32_t i = 0; i < points; ++i) {
        clusters.sums[from[i].cluster].add(from[i]);
        clusters.spare[place[from[i].cluster]++] = from[i];
    }
    std::swap(clusters.points->data, clusters.spare.data);
}

}  // namespace tivar
