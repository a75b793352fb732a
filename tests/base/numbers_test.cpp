#include "base/numbers.h"

#include <cmath>
#include <limits>

namespace {

using namespace tivar;

constexpr int32_t kLowest = std::numeric_limits<int32_t>::min();
constexpr int32_t kHighest = std::numeric_limits<int32_t>::max();
const double kNotANumber = std::numeric_limits<double>::quiet_NaN();
const double kInfinity = std::numeric_limits<double>::infinity();

TEST(Dabs, GivesTheValueOrItsNegation) {
    EXPECT_EQ(dabs(2.5), 2.5);
    EXPECT_EQ(dabs(-2.5), 2.5);
    EXPECT_EQ(dabs(-kInfinity), kInfinity);
    EXPECT_TRUE(std::isnan(dabs(kNotANumber)));
}

TEST(Dabs, NegativeZeroBecomesPositive) {
    EXPECT_EQ(dabs(-0.0), 0.0);
    EXPECT_FALSE(std::signbit(dabs(-0.0)));
}

// What is not above zero is negated, zero included.
TEST(Dabs, PositiveZeroBecomesNegative) {
    EXPECT_TRUE(std::signbit(dabs(0.0)));
}

TEST(Feqi, TellsWhetherNumbersDifferByAtMostTheTolerance) {
    const struct {
        int32_t a, b, tolerance, expected;
    } cases[] = {
        {5, 3, 2, 1},
        {5, 3, 1, 0},
        {3, 5, 2, 1},
        {3, 5, 1, 0},
        {7, 7, 0, 1},
        {-3, 3, 6, 1},
        {-3, 3, 5, 0},
        // A tolerance is unsigned, so that a negative one is very large.
        {1000, 0, -1, 1},
        // The difference wraps at 32 bits; the lowest number is its own negation.
        {kLowest, kHighest, 1, 1},
        {kLowest, kHighest, 0, 0},
        {kLowest, 0, kHighest, 0},
        {kLowest, 0, kLowest, 1},
    };
    for (const auto& c : cases)
        EXPECT_EQ(feqi(c.a, c.b, c.tolerance), c.expected)
            << c.a << ' ' << c.b << ' ' << c.tolerance;
}

TEST(Roundd, RoundsHalfAwayFromZero) {
    const struct {
        double value;
        int32_t expected;
    } cases[] = {
        {0.49, 0},
        {0.5, 1},
        {-0.5, -1},
        {-0.49, 0},
        {2.5, 3},
        {-2.5, -3},
        {0.0, 0},
        {-0.0, 0},
        {2.4, 2},
        {-2.6, -3},
        // The sum itself rounds up to 1.
        {0.49999999999999994, 1},
        // What 32 bits do not hold saturates.
        {1e10, kHighest},
        {-1e10, kLowest},
        {kInfinity, kHighest},
        {-kInfinity, kLowest},
        {kNotANumber, 0},
    };
    for (const auto& c : cases) EXPECT_EQ(roundd(c.value), c.expected) << c.value;
}

TEST(Saturate, KeepsToTheRangeOfTheInteger) {
    EXPECT_EQ(saturate<int16_t>(32767.9), 32767);
    EXPECT_EQ(saturate<int16_t>(40000.0), 32767);
    EXPECT_EQ(saturate<int16_t>(-40000.0), -32768);
    EXPECT_EQ(saturate<int16_t>(-1.9), -1);
    EXPECT_EQ(saturate<uint32_t>(-1.0), 0u);
    EXPECT_EQ(saturate<uint32_t>(4294967295.0), 0xFFFFFFFFu);
    EXPECT_EQ(saturate<uint32_t>(1e300), 0xFFFFFFFFu);
    EXPECT_EQ(saturate<uint32_t>(kNotANumber), 0u);
}

TEST(EntriesOfDepth, IsATwosPowerIn16Bits) {
    EXPECT_EQ(entriesOfDepth(0), 1);
    EXPECT_EQ(entriesOfDepth(1), 2);
    EXPECT_EQ(entriesOfDepth(8), 256);
    EXPECT_EQ(entriesOfDepth(15), 32768);
    for (const int32_t bits : {-1, kLowest, 16, 24, 32, kHighest})
        EXPECT_EQ(entriesOfDepth(bits), 0) << bits;
}

}  // namespace
