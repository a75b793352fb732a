// Encoded rows: as small as the format allows, and what raw rows show.
#include <gtest/gtest.h>

#include "write/write_kit.h"

namespace {

using namespace write_kit;

Drawn grayOf(const std::vector<uint32_t>& row) {
    Drawn drawn = {TIVAR_INDEX8, static_cast<uint32_t>(row.size()), 1, {}, {}};
    for (const uint32_t index : row) drawn.rows.push_back(static_cast<uint8_t>(index));
    drawn.palette.resize(16 * 3);
    for (size_t i = 0; i < drawn.palette.size(); ++i)
        drawn.palette[i] = static_cast<uint8_t>(i * 5);
    return drawn;
}

model::BmpFile encoded(const Drawn& drawn, int32_t bits, int32_t encoding = TIVAR_ENCODING_RLE) {
    TivarOptions options = optionsOf(bits);
    options.encoding = encoding;
    const Written written = toMemory(drawn, options);
    model::BmpFile file = {};
    EXPECT_EQ(read(written, file), "");
    EXPECT_EQ(model::compareExactly(file, drawn, options), "");
    return file;
}

// Literal runs of 4 bits have even lengths: odd ones are a trap for readers that count bytes.
size_t smallestFile(const std::vector<uint32_t>& row, uint32_t bits) {
    constexpr size_t kEndOfBitmap = 2;
    return model::smallestRow(row, bits, true) + kEndOfBitmap;
}

void expectSmallest(const std::vector<uint32_t>& row) {
    for (const int32_t bits : {4, 8}) {
        const model::BmpFile file = encoded(grayOf(row), bits);
        ASSERT_EQ(file.values, row);
        ASSERT_EQ(file.rowsLength, smallestFile(row, static_cast<uint32_t>(bits)))
            << bits << " bits, " << row.size() << " pixels";
    }
}

TEST(WriteRle, EveryShortRowIsAsSmallAsItCanBe) {
    for (uint32_t length = 1; length <= 9; ++length) {
        uint32_t count = 1;
        for (uint32_t i = 0; i < length; ++i) count *= 3;
        for (uint32_t number = 0; number < count; ++number) {
            std::vector<uint32_t> row;
            for (uint32_t rest = number; row.size() < length; rest /= 3) row.push_back(rest % 3);
            expectSmallest(row);
            ASSERT_FALSE(HasFailure()) << number;
        }
        if (length == 7) length = 8;  // 3^9 rows are enough
    }
}

TEST(WriteRle, RandomRowsAreAsSmallAsTheyCanBe) {
    support::Random random(11);
    for (int round = 0; round < 300; ++round) {
        const uint32_t length = 1 + random() % (round % 10 == 0 ? 1500 : 120);
        const uint32_t colors = 2 + random() % 4;
        const uint32_t longest = 1 + random() % (round % 7 == 0 ? 700 : 9);
        std::vector<uint32_t> row;
        while (row.size() < length) {
            const uint32_t first = random() % colors;
            const uint32_t second = random() % 3 == 0 ? random() % colors : first;
            for (uint32_t run = 1 + random() % longest; run-- > 0 && row.size() < length;)
                row.push_back(run % 2 == 0 ? first : second);
        }
        expectSmallest(row);
        ASSERT_FALSE(HasFailure()) << round;
    }
}

TEST(WriteRle, RunsAndLiteralsAroundTheirLongest) {
    for (const uint32_t length : {253u, 254u, 255u, 256u, 257u, 258u, 509u, 510u, 511u, 512u}) {
        std::vector<uint32_t> same(length, 3);
        expectSmallest(same);
        std::vector<uint32_t> different;
        for (uint32_t i = 0; i < length; ++i) different.push_back((i * i / 3 + i) % 16);
        expectSmallest(different);
        std::vector<uint32_t> alternating;
        for (uint32_t i = 0; i < length; ++i) alternating.push_back(i % 2 * 7);
        expectSmallest(alternating);
    }
}

TEST(WriteRle, RowsOfAPictureEndWithTheirCode) {
    for (const int32_t bits : {4, 8}) {
        const Drawn drawn = drawFew(TIVAR_INDEX4, 45, 33, 16, 3);
        const model::BmpFile file = encoded(drawn, bits);
        size_t wanted = 0;
        for (uint32_t y = 0; y < 33; ++y) {
            std::vector<uint32_t> row;
            for (uint32_t x = 0; x < 45; ++x) row.push_back(model::indexAt(drawn, x, y));
            wanted += model::smallestRow(row, static_cast<uint32_t>(bits), true) + 2;
        }
        EXPECT_EQ(file.rowsLength, wanted);
    }
}

TEST(WriteRle, SmallestIsTheSmallerOfTheTwo) {
    for (const int32_t bits : {4, 8}) {
        const Drawn runs = {TIVAR_INDEX8, 64, 8, Bytes(64 * 8, 1), Bytes(9, 7)};
        EXPECT_NE(encoded(runs, bits, TIVAR_ENCODING_SMALLEST).compression, model::kRaw);
        const Drawn noise = drawNoise(bits == 8 ? TIVAR_INDEX8 : TIVAR_INDEX4, 64, 8, 2);
        EXPECT_EQ(encoded(noise, bits, TIVAR_ENCODING_SMALLEST).compression, model::kRaw);
        for (uint32_t seed = 1; seed <= 40; ++seed) {
            const Drawn drawn = drawFew(TIVAR_INDEX4, 5 + seed, 3, 16, seed);
            TivarOptions options = optionsOf(bits);
            const size_t raw = toMemory(drawn, options).bytes.size();
            options.encoding = TIVAR_ENCODING_RLE;
            const size_t rle = toMemory(drawn, options).bytes.size();
            options.encoding = TIVAR_ENCODING_SMALLEST;
            EXPECT_EQ(toMemory(drawn, options).bytes.size(), std::min(raw, rle));
        }
    }
}

}  // namespace
