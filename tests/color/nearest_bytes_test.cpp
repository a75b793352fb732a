#include "color/nearest_bytes.h"

#include <gtest/gtest.h>
#include <tivar/color.h>

#include <vector>

#include "support/failing_call.h"
#include "support/memory_block.h"
#include "support/random_numbers.h"

namespace {

using support::Bytes;

enum class Choice { kColors, kGreys, kMixed, kCluster };

Bytes colorsOf(support::Random& random, int count, Choice kind) {
    Bytes colors;
    for (int i = 0; i < count; ++i) {
        const uint8_t first = random.byte();
        const bool grey = kind == Choice::kGreys || (kind == Choice::kMixed && random() % 2 == 0);
        for (int c = 0; c < 3; ++c) {
            const uint8_t level = kind == Choice::kCluster
                                      ? static_cast<uint8_t>(100 + random.byte() % 40)
                                      : random.byte();
            colors.push_back(grey ? first : level);
        }
    }
    return colors;
}

// Colours of all kinds, many of them close to each other, beside entries and beside what is grey.
Bytes randomRow(support::Random& random, int width, const Bytes& table) {
    Bytes row = colorsOf(random, width, Choice::kMixed);
    for (size_t x = 0; x < row.size(); x += 3) {
        const size_t entry = random() % (table.size() / 3) * 3;
        if (x / 3 % 4 == 0) row[x + 1] = static_cast<uint8_t>(row[x] + random() % 11 - 5);
        for (size_t c = 0; c < 3 && x / 3 % 4 == 1; ++c)
            row[x + c] = static_cast<uint8_t>(table[entry + c] + random() % 17 - 8);
        if (x > 0 && x / 3 % 4 == 2) row[x] = row[x - 3], row[x + 1] = row[x - 2];
    }
    return row;
}

void expectFound(tivar::NearestBytes& nearest, const Bytes& row, const Bytes& table) {
    const auto width = static_cast<uint32_t>(row.size() / 3);
    const auto count = static_cast<int16_t>(table.size() / 3);
    Bytes indices(width + 1, 0xEE);
    nearest.findRow(row.data(), width, indices.data());
    for (size_t x = 0; x < width; ++x)
        ASSERT_EQ(indices[x], static_cast<uint8_t>(rlNearestRGBIndex(
                                  row[x * 3], row[x * 3 + 1], row[x * 3 + 2], table.data(), count)))
            << x << " of " << width << ", " << count;
    EXPECT_EQ(indices[width], 0xEE) << "written behind the row";
}

TEST(NearestBytes, AreThoseThatALookThroughTheTableFinds) {
    support::Random random(64);
    for (const int count : {1, 2, 3, 16, 64, 65, 255, 256, 1000, 1500}) {
        for (const Choice kind :
             {Choice::kColors, Choice::kGreys, Choice::kMixed, Choice::kCluster}) {
            const Bytes table = colorsOf(random, count, kind);
            tivar::NearestBytes nearest(table.data(), static_cast<int16_t>(count));
            for (int width = 0; width < 20; ++width)
                expectFound(nearest, randomRow(random, width, table), table);
            expectFound(nearest, randomRow(random, 2000, table), table);
        }
    }
}

TEST(NearestBytes, AreFoundWhenThereIsNoRoomForFurtherCells) {
    support::Random random(8);
    const Bytes table = colorsOf(random, 256, Choice::kColors);
    tivar::NearestBytes nearest(table.data(), 256);
    // A colour of each cell, and those of some cells once more. Borders between so many entries
    // pass through more cells than there is room for.
    Bytes all;
    for (int cell = 0; cell < 1 << 18; ++cell) {
        for (int c = 0; c < 3; ++c) all.push_back(static_cast<uint8_t>((cell >> 6 * c & 63) * 4));
    }
    Bytes indices(all.size() / 3);
    nearest.findRow(all.data(), static_cast<uint32_t>(indices.size()), indices.data());
    expectFound(nearest, randomRow(random, 5000, table), table);
}

TEST(NearestBytes, AreFoundWithoutMemory) {
    support::Random random(9);
    const Bytes table = colorsOf(random, 256, Choice::kMixed);
    for (const char* call : {"calloc", "malloc"}) {
        for (int nth = 1; nth <= 5; ++nth) {
            const support::FailingCall failing(call, nth);
            tivar::NearestBytes nearest(table.data(), 256);
            expectFound(nearest, randomRow(random, 500, table), table);
        }
    }
}

}  // namespace
