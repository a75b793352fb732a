#include "write/index_rows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "write/write_kit.h"

namespace {

using namespace write_kit;
using tivar::ColorTable;
using tivar::Job;
using tivar::KeptIndices;

Job jobOf(const Drawn& drawn, const TivarOptions& options) {
    Job job;
    const TivarPicture picture = recordOf(drawn);
    EXPECT_EQ(tivar::checkJob(&picture, &options, job).result, TIVAR_RESULT_OK);
    return job;
}

// Five colours: the sixth entry is the black that every index beyond them becomes.
TEST(KeptIndicesOfAPalette, AreTheirOwnAndBlackBeyondIt) {
    Drawn drawn = drawFew(TIVAR_INDEX8, 12, 9, 5);
    std::fill(drawn.palette.begin(), drawn.palette.end(), uint8_t{200});
    const Job job = jobOf(drawn, noOptions());
    struct {
        KeptIndices kept;
        uint8_t behind[8];
    } fenced;
    std::fill(std::begin(fenced.behind), std::end(fenced.behind), uint8_t{0xEE});
    ColorTable table;
    tivar::prepareKeptIndices(fenced.kept, job, table);
    EXPECT_FALSE(fenced.kept.plain);
    EXPECT_TRUE(fenced.kept.blackBeyond);
    EXPECT_EQ(table.count, 6u);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(table.entries[5][c], 0);
    for (int i = 0; i < 256; ++i) EXPECT_EQ(fenced.kept.translated[i], std::min(i, 5)) << i;
    for (const uint8_t byte : fenced.behind) EXPECT_EQ(byte, 0xEE);
}

TEST(PackIndices, PutsTheLeftmostPixelHighestAndZerosBehindTheLast) {
    const uint8_t bits[11] = {1, 0, 0, 1, 1, 1, 0, 1, 1, 0, 1};
    const uint8_t halves[3] = {0xA, 0x3, 0xF};
    uint8_t out[5] = {0xEE, 0xEE, 0xEE, 0xEE, 0xEE};
    tivar::packIndices(bits, 11, 1, out);
    EXPECT_EQ(out[0], 0x9D);
    EXPECT_EQ(out[1], 0xA0);
    EXPECT_EQ(out[2], 0xEE);
    tivar::packIndices(halves, 3, 4, out);
    EXPECT_EQ(out[0], 0xA3);
    EXPECT_EQ(out[1], 0xF0);
    EXPECT_EQ(out[2], 0xEE);
    tivar::packIndices(halves, 3, 8, out);
    EXPECT_EQ(out[0], 0x0A);
    EXPECT_EQ(out[2], 0x0F);
    EXPECT_EQ(out[3], 0xEE);
}

}  // namespace
