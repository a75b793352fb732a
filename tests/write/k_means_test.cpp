#include "write/k_means.h"

#include <gtest/gtest.h>

#include "write/point_list.h"

namespace {

using support::pointAt;
using support::PointList;

int squaredDistance(const tivar::ColorPoint& point, const std::array<int, 3>& mean) {
    int sum = 0;
    for (size_t c = 0; c < 3; ++c)
        sum += (point.channels[c] - mean[c]) * (point.channels[c] - mean[c]);
    return sum;
}

TEST(KMeans, EveryPointGoesToTheNearestMean) {
    for (const uint16_t count : std::initializer_list<uint16_t>{1, 2, 3, 16, 255, 256}) {
        PointList list(support::randomPoints(2000, count, count), count);
        std::vector<std::array<int, 3>> means(count);
        for (uint32_t i = 0; i < count; ++i) {
            for (int c = 0; c < 3 && list.clusters.sums[i].weight != 0; ++c)
                means[i][static_cast<size_t>(c)] =
                    static_cast<int>(tivar::meanOf(list.clusters.sums[i], c));
        }
        tivar::moveToNearest(list.clusters, 1);
        for (uint32_t i = 0; i < list.clusters.pointCount(); ++i) {
            const tivar::ColorPoint& point = list.points[i];
            const int own = squaredDistance(point, means[point.cluster]);
            for (const std::array<int, 3>& mean : means)
                ASSERT_LE(own, squaredDistance(point, mean)) << count;
        }
    }
}

TEST(KMeans, AMeanThatIsNearerByTheLeastIsTaken) {
    // The first point's distances, squared, are 9 + 16 to its own mean and 16 + 4 + 4 to the other.
    PointList list(
        {pointAt(100, 100, 100, 1, 0), pointAt(106, 108, 100, 1, 0), pointAt(96, 98, 98, 1, 1)}, 2);
    EXPECT_TRUE(tivar::moveToNearest(list.clusters, 1));
    EXPECT_EQ(list.clusters.sizeOf(0), 1u);
    EXPECT_EQ(list.clusters.sizeOf(1), 2u);
}

TEST(KMeans, RoundsLessenTheErrorUntilNothingMoves) {
    PointList list(support::randomPoints(1500, 40, 5), 40);
    double before = list.error();
    int rounds = 0;
    while (tivar::moveToNearest(list.clusters, 1)) {
        // Means are rounded to a step when distances are taken.
        EXPECT_LT(list.error(), before * 1.001);
        before = list.error();
        ASSERT_LT(++rounds, 300);
    }
    EXPECT_GT(rounds, 2);
}

TEST(KMeans, AClusterWithoutPointsAttractsNone) {
    PointList list({pointAt(10, 0, 0, 1, 0), pointAt(50, 0, 0, 1, 2)}, 3);
    EXPECT_FALSE(tivar::moveToNearest(list.clusters, 1));
    PointList black({pointAt(0, 0, 0, 1, 0), pointAt(90, 90, 90, 1, 0), pointAt(300, 0, 0, 1, 2)},
                    3);
    tivar::moveToNearest(black.clusters, 1);
    EXPECT_EQ(black.clusters.sizeOf(1), 0u);
}

TEST(KMeans, MovesTheSameForAnyNumberOfThreads) {
    PointList alone(support::randomPoints(70000, 200, 6), 200);
    tivar::moveToNearest(alone.clusters, 1);
    for (const int threads : {2, 4, 8}) {
        PointList several(support::randomPoints(70000, 200, 6), 200);
        tivar::moveToNearest(several.clusters, threads);
        for (uint32_t i = 0; i < 70000; ++i)
            ASSERT_EQ(several.points[i].cluster, alone.points[i].cluster);
    }
}

}  // namespace
