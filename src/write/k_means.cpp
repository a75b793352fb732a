#include "write/k_means.h"

#include <algorithm>
#include <atomic>

#include "write/four_floats.h"
#include "write/parallel.h"

namespace tivar {
namespace {

struct Means {
    float channels[kMostClusters][3];
    bool empty[kMostClusters];
};

// The means that can be nearer than its own to points of one cluster, the nearest to it first, in
// fours.
struct Rivals {
    FourFloats channels[kMostClusters / 4][3];
    FourInts clusters[kMostClusters / 4];
    float quarters[kMostClusters / 4];  // of the squared distance to the first of the four
    uint32_t fours;
};

float squaredDistance(const float* a, const float* b) {
    float sum = 0;
    for (int i = 0; i < 3; ++i) sum += (a[i] - b[i]) * (a[i] - b[i]);
    return sum;
}

struct Place {
    float channels[3];

    explicit Place(const ColorPoint& point)
        : channels{static_cast<float>(point.channels[0]), static_cast<float>(point.channels[1]),
                   static_cast<float>(point.channels[2])} {}
};

void findMeans(const Clusters& clusters, Means& means) {
    for (uint32_t i = 0; i < clusters.count; ++i) {
        means.empty[i] = clusters.sums[i].weight == 0;
        for (int c = 0; c < 3; ++c)
            means.channels[i][c] = means.empty[i] ? 0 : meanOf(clusters.sums[i], c);
    }
}

// The greatest squared distance of a point to its cluster's mean.
float reachOf(const Clusters& clusters, const Means& means, uint32_t cluster) {
    const ColorPoint* points = clusters.pointsOf(cluster);
    const uint32_t size = clusters.sizeOf(cluster);
    float reach = 0;
    for (uint32_t i = 0; i < size; ++i)
        reach =
            std::max(reach, squaredDistance(Place(points[i]).channels, means.channels[cluster]));
    return reach;
}

// No point nearer to its mean than half the distance to another mean is nearer to that one.
void findRivals(const Clusters& clusters, const Means& means, uint32_t cluster, Rivals& rivals) {
    constexpr int kIndexBits = 8;
    const float reach = reachOf(clusters, means, cluster);
    uint32_t order[kMostClusters + 3];
    uint32_t listed = 0;
    for (uint32_t i = 0; i < clusters.count; ++i) {
        const float apart = squaredDistance(means.channels[cluster], means.channels[i]);
        order[listed] = static_cast<uint32_t>(apart) << kIndexBits | i;
        listed += apart < 4 * reach && i != cluster && !means.empty[i] ? 1 : 0;
    }
    std::sort(order, order + listed);
    rivals.fours = (listed + 3) / 4;
    for (uint32_t i = 0; i < rivals.fours * 4; ++i) {
        const uint32_t rival = order[std::min(i, listed - 1)];
        const uint32_t index = rival & (kMostClusters - 1);
        for (int c = 0; c < 3; ++c) rivals.channels[i / 4][c][i % 4] = means.channels[index][c];
        rivals.clusters[i / 4][i % 4] = static_cast<int32_t>(index);
        if (i % 4 == 0) rivals.quarters[i / 4] = static_cast<float>(rival >> kIndexBits) / 4;
    }
}

// The cluster with the nearest mean; its own as long as no other is nearer.
uint16_t nearestCluster(const ColorPoint& point, const float* own, const Rivals& rivals) {
    const Place place(point);
    const float distance = squaredDistance(place.channels, own);
    if (rivals.fours == 0 || rivals.quarters[0] >= distance) return point.cluster;
    FourFloats best = fourOf(distance);
    FourInts nearest = fourOf(int32_t{point.cluster});
    for (uint32_t i = 0; i < rivals.fours && rivals.quarters[i] < distance; ++i) {
        const FourFloats red = rivals.channels[i][0] - fourOf(place.channels[0]);
        const FourFloats green = rivals.channels[i][1] - fourOf(place.channels[1]);
        const FourFloats blue = rivals.channels[i][2] - fourOf(place.channels[2]);
        const FourFloats apart = red * red + green * green + blue * blue;
        nearest = whereLess(apart, best, rivals.clusters[i], nearest);
        best = lesser(apart, best);
    }
    uint32_t at = 0;
    for (uint32_t i = 1; i < 4; ++i) at = best[i] < best[at] ? i : at;
    return static_cast<uint16_t>(nearest[at]);
}

uint32_t movePoints(Clusters& clusters, const Means& means, uint32_t cluster) {
    if (clusters.sizeOf(cluster) == 0) return 0;
    Rivals rivals;
    findRivals(clusters, means, cluster, rivals);
    uint32_t moved = 0;
    ColorPoint* points = clusters.pointsOf(cluster);
    const uint32_t size = clusters.sizeOf(cluster);
    for (uint32_t i = 0; i < size; ++i) {
        points[i].cluster = nearestCluster(points[i], means.channels[cluster], rivals);
        moved += points[i].cluster != cluster ? 1 : 0;
    }
    return moved;
}

}  // namespace

bool moveToNearest(Clusters& clusters, int threads) {
    Means means;
    findMeans(clusters, means);
    std::atomic<uint32_t> moved{0};
    auto move = [&](int, uint32_t first, uint32_t last) {
        for (uint32_t i = first; i < last; ++i)
            moved.fetch_add(movePoints(clusters, means, i), std::memory_order_relaxed);
    };
    // A thread is worth having for so many points.
    constexpr uint32_t kPointsOfThread = 1 << 14;
    forParts(clusters.count, 8, threadsFor(clusters.pointCount() / kPointsOfThread, threads), move);
    if (moved.load() == 0) return false;
    regroup(clusters);
    return true;
}

}  // namespace tivar
