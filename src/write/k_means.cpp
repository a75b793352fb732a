#include "write/k_means.h"

#include <algorithm>

#include "base/block.h"
#include "write/parallel.h"

namespace tivar {
namespace {

// Another centre and a quarter of the squared distance to it, which is above the index: no point
// nearer to this centre than that can be nearer to the other one.
using Neighbour = uint32_t;
constexpr int kIndexBits = 8;
// The nearest neighbours are in order; the others are looked at when those were not enough.
constexpr uint32_t kOrdered = 24;
static_assert(kMostCenters <= 1 << kIndexBits);
static_assert(uint64_t{3} * 4095 * 4095 / 4 < uint64_t{1} << (32 - kIndexBits));

struct Neighbours {
    Neighbour all[kMostCenters];
};

template <class A, class B>
uint32_t squaredDistance(const A& a, const B& b) {
    uint32_t sum = 0;
    for (int i = 0; i < 3; ++i) {
        const int32_t apart = int32_t{a.channels[i]} - int32_t{b.channels[i]};
        sum += static_cast<uint32_t>(apart * apart);
    }
    return sum;
}

void orderNeighbours(const ColorCenter* centers, uint32_t clusters, Neighbours* neighbours) {
    for (uint32_t i = 0; i < clusters; ++i) {
        Neighbour* list = neighbours[i].all;
        uint32_t listed = 0;
        for (uint32_t k = 0; k < clusters; ++k) {
            if (k != i)
                list[listed++] = squaredDistance(centers[i], centers[k]) / 4 << kIndexBits | k;
        }
        if (listed > kOrdered) std::nth_element(list, list + kOrdered, list + listed);
        std::sort(list, list + std::min(listed, kOrdered));
    }
}

// Of equally near centres the lowest.
uint16_t nearestCenter(const ColorPoint& point, const ColorCenter* centers, uint32_t clusters,
                       const Neighbours* neighbours) {
    const uint32_t own = squaredDistance(point, centers[point.cluster]);
    const Neighbour* list = neighbours[point.cluster].all;
    uint32_t best = own;
    uint32_t nearest = point.cluster;
    for (uint32_t i = 0; i + 1 < clusters; ++i) {
        if (list[i] >> kIndexBits > own) {
            if (i < kOrdered) break;
            continue;
        }
        const uint32_t other = list[i] & (kMostCenters - 1);
        const uint32_t distance = squaredDistance(point, centers[other]);
        if (distance > best || (distance == best && other > nearest)) continue;
        best = distance;
        nearest = other;
    }
    return static_cast<uint16_t>(nearest);
}

void assignPoints(ColorPoint* points, uint32_t count, const ColorCenter* centers, uint32_t clusters,
                  const Neighbours* neighbours, int threads) {
    auto assign = [&](int, uint32_t first, uint32_t last) {
        for (uint32_t i = first; i < last; ++i)
            points[i].cluster = nearestCenter(points[i], centers, clusters, neighbours);
    };
    forParts(count, 1 << 13, threads, assign);
}

// The point that its cluster fits worst.
ColorPoint* worstPoint(ColorPoint* points, uint32_t count, const ColorCenter* centers) {
    uint64_t worst = 0;
    ColorPoint* found = points;
    for (uint32_t i = 0; i < count; ++i) {
        const uint64_t error =
            uint64_t{squaredDistance(points[i], centers[points[i].cluster])} * points[i].weight;
        if (error <= worst) continue;
        worst = error;
        found = points + i;
    }
    return found;
}

}  // namespace

void meanCenters(ColorPoint* points, uint32_t count, ColorCenter* centers, uint32_t clusters) {
    ColorSum sums[kMostCenters] = {};
    for (uint32_t i = 0; i < count; ++i) sums[points[i].cluster].add(points[i]);
    for (uint32_t i = 0; i < clusters; ++i) {
        if (sums[i].weight == 0) continue;
        for (int k = 0; k < 3; ++k)
            centers[i].channels[k] =
                static_cast<int32_t>(roundedQuotient(sums[i].channels[k], sums[i].weight));
    }
    for (uint32_t i = 0; i < clusters; ++i) {
        if (sums[i].weight != 0) continue;
        ColorPoint* moved = worstPoint(points, count, centers);
        moved->cluster = static_cast<uint16_t>(i);
        for (int k = 0; k < 3; ++k) centers[i].channels[k] = moved->channels[k];
    }
}

bool refineCenters(ColorPoint* points, uint32_t count, ColorCenter* centers, uint32_t clusters,
                   int rounds, int threads) {
    Block<Neighbours> neighbours;
    if (!neighbours.obtain(clusters)) return false;
    for (int round = 0; round < rounds; ++round) {
        orderNeighbours(centers, clusters, neighbours.data);
        assignPoints(points, count, centers, clusters, neighbours.data, threads);
        meanCenters(points, count, centers, clusters);
    }
    return true;
}

}  // namespace tivar
