#include "color/row_counter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/failing_call.h"
#include "support/random_numbers.h"

namespace {

using tivar::ColorContext;
using tivar::kHistogramCells;
using tivar::RowCounter;

struct Counted {
    std::vector<uint16_t> histogram = std::vector<uint16_t>(kHistogramCells);
    ColorContext context{};

    bool operator==(const Counted& other) const {
        return histogram == other.histogram && context.distinct == other.context.distinct;
    }
};

// The rule: five bits a channel, red highest, and no more than 65535.
void countPlainly(Counted& counted, const std::vector<uint8_t>& row) {
    for (size_t at = 0; at < row.size(); at += 3) {
        const int cell = row[at] / 8 * 1024 + row[at + 1] / 8 * 32 + row[at + 2] / 8;
        uint16_t& count = counted.histogram[static_cast<size_t>(cell)];
        if (count == 0) ++counted.context.distinct;
        if (count < 65535) ++count;
    }
}

void countRows(Counted& counted, const std::vector<uint8_t>& row, uint32_t rows) {
    const auto width = static_cast<uint32_t>(row.size() / 3);
    RowCounter counter(counted.histogram.data(), counted.context, uint64_t{width} * rows);
    for (uint32_t y = 0; y < rows; ++y) counter.addRow(row.data(), width);
    counter.finish();
}

std::vector<uint8_t> randomRow(support::Random& random, uint32_t width, uint32_t levels) {
    std::vector<uint8_t> row(size_t{width} * 3);
    for (uint8_t& byte : row) byte = static_cast<uint8_t>(random.byte() % levels);
    return row;
}

TEST(RowCounter, CountsLikeOnePixelAfterTheOther) {
    support::Random random(12);
    // Small pictures and large ones, counted apart, one upon the other.
    for (const uint32_t rows : {1u, 3u, 70000u}) {
        Counted counted;
        Counted wanted;
        for (const uint32_t width : {0u, 1u, 2u, 3u, 4u, 5u, 9u, 33u}) {
            const std::vector<uint8_t> row = randomRow(random, width, 256);
            countRows(counted, row, rows);
            for (uint32_t y = 0; y < rows; ++y) countPlainly(wanted, row);
        }
        EXPECT_TRUE(counted == wanted) << rows;
    }
}

TEST(RowCounter, SaturatesHowManyPixelsThereMayBe) {
    support::Random random(13);
    Counted counted;
    Counted wanted;
    const std::vector<uint8_t> row = randomRow(random, 65536, 24);
    countRows(counted, row, 130);
    // 27 cells, each of which has 65535 after some rows.
    for (int y = 0; y < 40; ++y) countPlainly(wanted, row);
    EXPECT_EQ(wanted.context.distinct, 27);
    EXPECT_EQ(std::count(wanted.histogram.begin(), wanted.histogram.end(), 65535), 27);
    EXPECT_TRUE(counted == wanted);
}

TEST(RowCounter, CountsWithoutMemoryToo) {
    support::Random random(14);
    Counted counted;
    Counted wanted;
    const std::vector<uint8_t> row = randomRow(random, 65536, 256);
    const support::FailingCall failing("calloc");
    countRows(counted, row, 1);
    EXPECT_TRUE(failing.happened());
    countPlainly(wanted, row);
    EXPECT_TRUE(counted == wanted);
}

}  // namespace
