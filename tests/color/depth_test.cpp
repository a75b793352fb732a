#include "color/depth.h"

#include <gtest/gtest.h>

#include "color/pixel.h"

namespace {

using namespace tivar;

TEST(Depths, AreTheFiveThatPixelsAreStoredAt) {
    for (int bits = -40; bits <= 70; ++bits) {
        const bool stored = bits == 1 || bits == 4 || bits == 8 || bits == 24 || bits == 32;
        EXPECT_EQ(isStoredDepth(bits), stored) << bits;
        EXPECT_EQ(isIndexedDepth(bits), bits == 1 || bits == 4 || bits == 8) << bits;
        EXPECT_EQ(isPackedDepth(bits), bits == 1 || bits == 4) << bits;
        EXPECT_EQ(bytesPerPixel(bits), bits == 8 ? 1 : bits == 24 ? 3 : bits == 32 ? 4 : 0) << bits;
    }
    // Whose low 16 bits are a depth's.
    EXPECT_FALSE(isStoredDepth(65536 + 24));
}

TEST(Depths, EachColourFormatOfFilesHasOne) {
    struct Case {
        int32_t format;
        int bits;
        int entries;
    };
    for (const Case& given :
         {Case{215, 1, 2}, Case{219, 4, 16}, Case{221, 8, 256}, Case{222, 24, 0}}) {
        const Depth* depth = depthOfFormat(given.format);
        ASSERT_NE(depth, nullptr) << given.format;
        EXPECT_EQ(depth->bits, given.bits);
        EXPECT_EQ(depth->paletteEntries, given.entries);
    }
    for (const int32_t format : {0, 1, 214, 216, 217, 218, 220, 223, -1, 65536 + 221})
        EXPECT_EQ(depthOfFormat(format), nullptr) << format;
}

// The table and the plain rule for single pixels know the same depths.
TEST(Depths, AreThoseThatAPixelIsReadAndWrittenAt) {
    for (int16_t bits = -40; bits <= 70; ++bits) {
        const uint8_t full[4] = {0xFF, 0xFF, 0xFF, 0xFF};
        EXPECT_EQ(getPixel(full, 0, bits) != 0, isStoredDepth(bits)) << bits;
        uint8_t row[4] = {};
        storePixel(row, 0, bits, 0xFFFFFFFF);
        EXPECT_EQ(row[0] != 0, isStoredDepth(bits)) << bits;
    }
}

}  // namespace
