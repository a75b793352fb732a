// Points to be clustered, made by hand.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "support/random_numbers.h"
#include "write/clusters.h"

namespace support {

inline tivar::ColorPoint pointAt(int red, int green, int blue, std::uint32_t weight,
                                 std::uint16_t cluster = 0) {
    tivar::ColorPoint point{};
    const int channels[3] = {red, green, blue};
    for (int c = 0; c < 3; ++c) point.channels[c] = static_cast<std::uint16_t>(channels[c]);
    point.weight = weight;
    point.cluster = cluster;
    return point;
}

inline std::vector<tivar::ColorPoint> randomPoints(std::uint32_t count, std::uint16_t clusters,
                                                   std::uint32_t seed) {
    Random random(seed);
    std::vector<tivar::ColorPoint> points;
    for (std::uint32_t i = 0; i < count; ++i) {
        const auto level = [&] { return static_cast<int>(random() % 2041); };
        points.push_back(pointAt(level(), level(), level(), 1 + random() % 50,
                                 static_cast<std::uint16_t>(random() % clusters)));
    }
    return points;
}

// Clusters of those points, grouped.
struct PointList {
    PointList(const std::vector<tivar::ColorPoint>& list, std::uint32_t count) {
        EXPECT_TRUE(points.obtain(list.size()) && clusters.spare.obtain(list.size()));
        std::copy(list.begin(), list.end(), points.data);
        clusters.points = &points;
        clusters.count = count;
        clusters.first[count] = static_cast<std::uint32_t>(list.size());
        tivar::regroup(clusters);
    }

    // The weighted squared distances to the clusters' means.
    double error() const {
        double error = 0;
        for (std::uint32_t i = 0; i < clusters.count; ++i) {
            const tivar::ColorSum& sum = clusters.sums[i];
            for (std::uint32_t k = 0; k < clusters.sizeOf(i); ++k) {
                const tivar::ColorPoint& point = clusters.pointsOf(i)[k];
                for (int c = 0; c < 3; ++c) {
                    const double mean =
                        static_cast<double>(sum.channels[c]) / static_cast<double>(sum.weight);
                    const double apart = point.channels[c] - mean;
                    error += apart * apart * point.weight;
                }
            }
        }
        return error;
    }

    tivar::Block<tivar::ColorPoint> points;
    tivar::Clusters clusters;
};

}  // namespace support
