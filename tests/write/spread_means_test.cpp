#include "write/spread_means.h"

#include <gtest/gtest.h>

#include "write/point_list.h"

namespace {

using support::pointAt;
using support::PointList;

TEST(SpreadMeans, MeansMoveAwayFromTheMiddleByHalfTheDeviation) {
    // The middle is at 1000; both clusters deviate by 100.
    const PointList list({pointAt(400, 8, 8, 1, 0), pointAt(600, 8, 8, 1, 0),
                          pointAt(1400, 8, 8, 1, 1), pointAt(1600, 8, 8, 1, 1)},
                         2);
    float means[256][3];
    tivar::spreadMeans(list.clusters, means);
    EXPECT_EQ(means[0][0], 450);
    EXPECT_EQ(means[1][0], 1550);
    for (const int c : {1, 2}) {
        EXPECT_EQ(means[0][c], 8);
        EXPECT_EQ(means[1][c], 8);
    }
}

TEST(SpreadMeans, OnlyDeviationInTheirDirectionCounts) {
    const PointList list(
        {pointAt(500, 0, 40, 1, 0), pointAt(500, 80, 40, 1, 0), pointAt(1500, 40, 40, 2, 1)}, 2);
    float means[256][3];
    tivar::spreadMeans(list.clusters, means);
    EXPECT_EQ(means[0][0], 500);
    EXPECT_EQ(means[0][1], 40);
    EXPECT_EQ(means[1][0], 1500);
}

TEST(SpreadMeans, ClustersOfOneColourStay) {
    const PointList list(
        {pointAt(0, 0, 0, 5, 0), pointAt(2040, 2040, 2040, 9, 1), pointAt(16, 800, 8, 1, 2)}, 4);
    float means[256][3];
    tivar::spreadMeans(list.clusters, means);
    EXPECT_EQ(means[0][0], 0);
    EXPECT_EQ(means[1][1], 2040);
    EXPECT_EQ(means[2][1], 800);
}

TEST(SpreadMeans, NothingLeavesTheColourSpace) {
    const PointList list({pointAt(0, 0, 0, 9, 0), pointAt(40, 40, 40, 1, 0),
                          pointAt(2040, 2000, 0, 1, 1), pointAt(2040, 2040, 2040, 9, 1)},
                         2);
    float means[256][3];
    tivar::spreadMeans(list.clusters, means);
    for (int i = 0; i < 2; ++i) {
        for (const float mean : means[i]) {
            EXPECT_GE(mean, 0);
            EXPECT_LE(mean, 2040);
        }
    }
}

TEST(SpreadMeans, OneClusterStays) {
    const PointList list({pointAt(0, 0, 0, 1, 0), pointAt(400, 40, 40, 1, 0)}, 1);
    float means[256][3];
    tivar::spreadMeans(list.clusters, means);
    EXPECT_EQ(means[0][0], 200);
    EXPECT_EQ(means[0][1], 20);
}

}  // namespace
