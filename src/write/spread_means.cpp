#include "write/spread_means.h"

#include <algorithm>
#include <cmath>

namespace tivar {
namespace {

// Of the standard deviation. More of it brings colours yet nearer to the picture's from a distance,
// and more grain from close by.
constexpr double kSpread = 0.5;

struct Vector {
    double v[3];
};

Vector meanOfSum(const ColorSum& sum) {
    Vector mean{};
    for (int c = 0; c < 3; ++c)
        mean.v[c] = static_cast<double>(sum.channels[c]) / static_cast<double>(sum.weight);
    return mean;
}

double product(const Vector& a, const Vector& b) {
    return a.v[0] * b.v[0] + a.v[1] * b.v[1] + a.v[2] * b.v[2];
}

// Of the cluster's points along a direction of length 1.
double deviationOf(const Clusters& clusters, uint32_t cluster, const Vector& mean,
                   const Vector& direction) {
    double squares = 0;
    const ColorPoint* points = clusters.pointsOf(cluster);
    const uint32_t size = clusters.sizeOf(cluster);
    for (uint32_t i = 0; i < size; ++i) {
        Vector apart{};
        for (int c = 0; c < 3; ++c) apart.v[c] = points[i].channels[c] - mean.v[c];
        const double along = product(apart, direction);
        squares += along * along * points[i].weight;
    }
    return std::sqrt(squares / static_cast<double>(clusters.sums[cluster].weight));
}

}  // namespace

void spreadMeans(const Clusters& clusters, float (*means)[3]) {
    ColorSum all{};
    for (uint32_t i = 0; i < clusters.count; ++i) all.add(clusters.sums[i]);
    const Vector center = meanOfSum(all);
    for (uint32_t i = 0; i < clusters.count; ++i) {
        if (clusters.sums[i].weight == 0) continue;
        const Vector mean = meanOfSum(clusters.sums[i]);
        Vector outward{};
        for (int c = 0; c < 3; ++c) outward.v[c] = mean.v[c] - center.v[c];
        const double length = std::sqrt(product(outward, outward));
        for (double& part : outward.v) part = length > 0 ? part / length : 0;
        const double shift = kSpread * deviationOf(clusters, i, mean, outward);
        for (int c = 0; c < 3; ++c) {
            const double moved = std::floor(mean.v[c] + shift * outward.v[c] + 0.5);
            means[i][c] = static_cast<float>(std::clamp(moved, 0.0, 255.0 * kPointSteps));
        }
    }
}

}  // namespace tivar
