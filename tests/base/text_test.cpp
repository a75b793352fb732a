#include "base/text.h"

#include <cmath>
#include <limits>

namespace {

using namespace tivar;
// Some C libraries have these names, too.
using tivar::stricmp;
using tivar::strlwr;
using tivar::strnicmp;
using tivar::strupr;

TEST(CaseConversion, WorksInPlaceAndReturnsTheString) {
    char text[] = "aZ 9_\xE4";
    EXPECT_EQ(strupr(text), text);
    EXPECT_STREQ(text, "AZ 9_\xE4");
    EXPECT_EQ(strlower(text), text);
    EXPECT_STREQ(text, "az 9_\xE4");
    strupr(text);
    EXPECT_EQ(strlwr(text), text);
    EXPECT_STREQ(text, "az 9_\xE4");
    char empty[] = "";
    EXPECT_STREQ(strupr(empty), "");
}

TEST(CaseConversion, NullStaysNull) {
    EXPECT_EQ(strupr(nullptr), nullptr);
    EXPECT_EQ(strlower(nullptr), nullptr);
    EXPECT_EQ(strlwr(nullptr), nullptr);
}

TEST(Stricmp, IsBlindToCaseAndSignedTheOtherWayRound) {
    const struct {
        const char* a;
        const char* b;
        int32_t expected;
    } cases[] = {
        {"resolution", "RESOLUTION", 0},
        {"", "", 0},
        {"abd", "abc", 'C' - 'D'},
        {"ABC", "abd", 'D' - 'C'},
        {"ab", "abc", 'C'},
        {"abc", "ab", -'C'},
        {"", "x", 'X'},
        {"a_", "aB", 'B' - '_'},
    };
    for (const auto& c : cases) EXPECT_EQ(stricmp(c.a, c.b), c.expected) << c.a << ' ' << c.b;
}

TEST(Strnicmp, ComparesExactlyThatManyCharacters) {
    EXPECT_EQ(strnicmp("abCx", "ABcy", 3), 0);
    EXPECT_EQ(strnicmp("abCx", "ABcy", 4), 'Y' - 'X');
    EXPECT_EQ(strnicmp("abd", "abc", 3), 'C' - 'D');
    EXPECT_EQ(strnicmp("ab", "abc", 3), 'C');
}

TEST(Strnicmp, GoesOnBehindTheEndOfBothStrings) {
    EXPECT_EQ(strnicmp("a\0b", "A\0c", 3), 'C' - 'B');
    EXPECT_EQ(strnicmp("a\0b", "A\0B", 3), 0);
}

TEST(Strnicmp, ReadsNothingForACountOfZero) {
    EXPECT_EQ(strnicmp(nullptr, nullptr, 0), 0);
    EXPECT_EQ(strnicmp("a", "b", -1), 0);
}

TEST(CopyBounded, CutsToFitAndTerminates) {
    char buffer[6] = "#####";
    copyBounded(buffer, 4, "abcdef");
    EXPECT_EQ(std::string(buffer, 6), std::string("abc\0#\0", 6));
    copyBounded(buffer, 4, "xy");
    EXPECT_STREQ(buffer, "xy");
    copyBounded(buffer, 1, "xy");
    EXPECT_STREQ(buffer, "");
    buffer[0] = 'k';
    copyBounded(buffer, 0, "xy");
    EXPECT_EQ(buffer[0], 'k');
}

TEST(ParseInt, FollowsTheStandardConversionAndSaturates) {
    const struct {
        const char* text;
        int32_t expected;
    } cases[] = {
        {"12abc", 12},
        {" \t-7", -7},
        {"+5", 5},
        {"", 0},
        {"x", 0},
        {"007", 7},
        {"2147483648", std::numeric_limits<int32_t>::max()},
        {"-99999999999999999999", std::numeric_limits<int32_t>::min()},
    };
    for (const auto& c : cases) EXPECT_EQ(parseInt(c.text), c.expected) << c.text;
}

TEST(IsEmpty, TakesNullForEmpty) {
    EXPECT_TRUE(isEmpty(nullptr));
    EXPECT_TRUE(isEmpty(""));
    EXPECT_FALSE(isEmpty(" "));
}

}  // namespace
