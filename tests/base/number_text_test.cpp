#include "base/number_text.h"

#include <cstdlib>

#include "support/environment.h"

namespace {

using tivar::formatDouble;
using tivar::parseDouble;

TEST(ParseDouble, FollowsTheStandardConversion) {
    EXPECT_EQ(parseDouble("6.67"), 6.67);
    EXPECT_EQ(parseDouble(" -1.5e2 inches"), -150.0);
    EXPECT_EQ(parseDouble("abc"), 0.0);
    EXPECT_EQ(parseDouble(""), 0.0);
}

TEST(ParseDouble, ReadsAPointWhateverTheLocale) {
    const support::CommaLocale locale;
    if (!locale.active()) GTEST_SKIP() << "no locale could be made";
    ASSERT_EQ(std::strtod("6,5", nullptr), 6.5);
    EXPECT_EQ(parseDouble("6.5"), 6.5);
    EXPECT_EQ(parseDouble("6,5"), 6.0);
}

TEST(FormatDouble, WritesSoManyDigitsWithAPoint) {
    char text[40];
    formatDouble(text, sizeof text, 6.67, 15);
    EXPECT_STREQ(text, "6.67");
    formatDouble(text, sizeof text, 1.5e20, 6);
    EXPECT_STREQ(text, "1.5e+20");
    formatDouble(text, 4, 123456.0, 6);
    EXPECT_STREQ(text, "123");
}

TEST(FormatDouble, WritesAPointWhateverTheLocale) {
    const support::CommaLocale locale;
    if (!locale.active()) GTEST_SKIP() << "no locale could be made";
    char text[40];
    formatDouble(text, sizeof text, 6.5, 15);
    EXPECT_STREQ(text, "6.5");
}

}  // namespace
