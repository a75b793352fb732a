#include "color/scale.h"

#include <tivar/color.h>

#include <algorithm>

#include "support/captured_text.h"
#include "support/color_bitmaps.h"
#include "support/failing_call.h"

namespace {

using support::Block;
using support::Bytes;
using support::CapturedText;
using support::FailingCall;
using support::padded;
using support::taken;

struct Size {
    uint32_t width, height;
};

Bytes scaled(const Bytes& bits, int16_t depth, const Size& from, const Size& to) {
    const Block source(bits);
    const Bytes shrunk =
        taken(rlShrinkBitmap(source.handle, depth, from.width, from.height, to.width, to.height));
    const Bytes stretched =
        taken(rlStretchBitmap(source.handle, depth, from.width, from.height, to.width, to.height));
    // The names differ, the routines do not.
    EXPECT_EQ(shrunk, stretched);
    EXPECT_EQ(source.contents(), bits);
    return shrunk;
}

// A row of pixels 1, 2, 3 … at depth 8.
Bytes counted(uint32_t width) {
    Bytes row;
    for (uint32_t x = 1; x <= width; ++x) row.push_back(static_cast<uint8_t>(x));
    return padded({row});
}

// A column of rows 1, 2, 3 …, one pixel wide.
Bytes countedColumn(uint32_t height) {
    Bytes rows;
    for (uint32_t y = 1; y <= height; ++y) {
        const auto value = static_cast<uint8_t>(y);
        rows.insert(rows.end(), {value, 0, 0, 0});
    }
    return rows;
}

Bytes columnOf(const Bytes& values) {
    Bytes rows;
    for (const uint8_t value : values) rows.insert(rows.end(), {value, 0, 0, 0});
    return rows;
}

TEST(ShrinkingRows, DropsPixelsButKeepsTheLast) {
    const struct {
        uint32_t from;
        Bytes to;
    } cases[] = {{10, {1, 4, 10}}, {10, {10}},        {7, {1, 3, 7}},
                 {3, {1, 3}},      {5, {1, 2, 3, 5}}, {100, {1, 15, 29, 43, 58, 72, 100}}};
    for (const auto& c : cases)
        EXPECT_EQ(scaled(counted(c.from), 8, {c.from, 1}, {static_cast<uint32_t>(c.to.size()), 1}),
                  padded({c.to}))
            << c.from;
}

TEST(StretchingRows, RepeatsPixelsFromTheRight) {
    const struct {
        uint32_t from;
        Bytes to;
    } cases[] = {{3, {1, 1, 1, 2, 2, 3, 3}},
                 {1, {1, 1, 1, 1, 1}},
                 {2, {1, 1, 2}},
                 {4, {1, 1, 2, 3, 4}},
                 {5, {1, 1, 2, 3, 3, 4, 5}}};
    for (const auto& c : cases)
        EXPECT_EQ(scaled(counted(c.from), 8, {c.from, 1}, {static_cast<uint32_t>(c.to.size()), 1}),
                  padded({c.to}))
            << c.from;
}

TEST(ShrinkingHeights, TakesTheRowsThatThePositionsTruncateTo) {
    EXPECT_EQ(scaled(countedColumn(10), 8, {1, 10}, {1, 3}), columnOf({1, 4, 7}));
    EXPECT_EQ(scaled(countedColumn(7), 8, {1, 7}, {1, 3}), columnOf({1, 3, 5}));
    EXPECT_EQ(scaled(countedColumn(10), 8, {1, 10}, {1, 1}), columnOf({1}));
}

TEST(StretchingHeights, RepeatsRowsFromTheBottom) {
    EXPECT_EQ(scaled(countedColumn(3), 8, {1, 3}, {1, 7}), columnOf({1, 1, 1, 2, 2, 3, 3}));
    EXPECT_EQ(scaled(countedColumn(2), 8, {1, 2}, {1, 3}), columnOf({1, 1, 2}));
}

TEST(Scaling, ToTheSameSizeCopiesPixelForPixel) {
    const struct {
        int16_t depth;
        Bytes bits, expected;
    } cases[] = {
        {1, {0xA7, 0xFF, 0xFF, 0xFF}, {0xA0, 0, 0, 0}},
        {4, {0x12, 0x34, 0xFF, 0xFF}, {0x12, 0x30, 0, 0}},
        {8, {1, 2, 3, 4}, {1, 2, 3, 0}},
        {24, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0, 0}},
        {32, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}}};
    // Padding is not part of the picture.
    for (const auto& c : cases)
        EXPECT_EQ(scaled(c.bits, c.depth, {3, 1}, {3, 1}), c.expected) << c.depth;
}

TEST(Scaling, WorksAtEveryDepth) {
    // 101 becomes 11 00 11 and then 1 1.
    EXPECT_EQ(scaled({0xA0, 0, 0, 0}, 1, {3, 1}, {6, 1}), (Bytes{0xCC, 0, 0, 0}));
    EXPECT_EQ(scaled({0xA0, 0, 0, 0}, 1, {3, 1}, {2, 1}), (Bytes{0xC0, 0, 0, 0}));
    EXPECT_EQ(scaled({0x12, 0x30, 0, 0}, 4, {3, 1}, {7, 1}), (Bytes{0x11, 0x12, 0x23, 0x30}));
    EXPECT_EQ(scaled({1, 2, 3, 4, 5, 6, 0, 0}, 24, {2, 1}, {3, 1}),
              (Bytes{1, 2, 3, 1, 2, 3, 4, 5, 6, 0, 0, 0}));
    EXPECT_EQ(scaled({1, 2, 3, 4, 5, 6, 7, 8}, 32, {2, 1}, {3, 1}),
              (Bytes{1, 2, 3, 4, 1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST(Scaling, BothDirectionsMix) {
    const Bytes wide = padded({{1, 2, 3, 4, 5}, {6, 7, 8, 9, 10}});
    const Bytes low = padded({{1, 3, 5}, {6, 8, 10}});
    // Taller and narrower; lower and wider.
    EXPECT_EQ(scaled(wide, 8, {5, 2}, {2, 3}), padded({{1, 5}, {1, 5}, {6, 10}}));
    EXPECT_EQ(scaled(low, 8, {3, 2}, {7, 1}), padded({{1, 1, 1, 3, 3, 5, 5}}));
}

TEST(Scaling, PositionsOfRowsWrapAt16BitsAndReadNothingThere) {
    // Rows 32768 and up have negative positions.
    Bytes bits;
    for (int y = 0; y < 32770; ++y) bits.insert(bits.end(), {9, 0, 0, 0});
    const Bytes same = scaled(bits, 8, {1, 32770}, {1, 32770});
    Bytes expected = bits;
    expected[4 * 32768] = expected[4 * 32769] = 0;
    EXPECT_TRUE(support::sameBytes(same, expected));
    const Bytes half = scaled(bits, 8, {1, 32770}, {1, 16385});
    // Row 16384 is that of position 32768.
    Bytes halved(bits.begin(), bits.begin() + 16385 * 4);
    halved[4 * 16384] = 0;
    EXPECT_TRUE(support::sameBytes(half, halved));
}

TEST(Scaling, PositionsOfStretchedPixelsWrapAt16Bits) {
    // One pixel is written 70000 mod 65536 times, at the right; the rest stays zero.
    Bytes expected(70000, 0);
    std::fill(expected.end() - 4464, expected.end(), uint8_t{9});
    EXPECT_TRUE(support::sameBytes(scaled({9, 0, 0, 0}, 8, {1, 1}, {70000, 1}), expected));
    // The right half comes first; then the position falls back and writes nothing.
    Bytes halves(70000, 0);
    std::fill(halves.end() - 35000, halves.end(), uint8_t{8});
    EXPECT_TRUE(support::sameBytes(scaled({9, 8, 0, 0}, 8, {2, 1}, {70000, 1}), halves));
}

TEST(Scaling, EqualWidthsAreNotStretchedAndDoNotWrap) {
    const Bytes bits(70000, 9);
    EXPECT_TRUE(support::sameBytes(scaled(bits, 8, {70000, 1}, {70000, 1}), bits));
}

TEST(Scaling, PositionsOfStretchedRowsDoNotWrap) {
    EXPECT_TRUE(support::sameBytes(scaled({9, 0, 0, 0}, 8, {1, 1}, {1, 70000}),
                                   support::repeated({9, 0, 0, 0}, 70000)));
}

TEST(Scaling, RowsThatTheBlockLacksReadAsZero) {
    EXPECT_EQ(scaled({7}, 8, {2, 2}, {2, 2}), padded({{7, 0}, {0, 0}}));
    EXPECT_EQ(scaled({}, 24, {2, 2}, {1, 3}), Bytes(12, 0));
}

TEST(Scaling, FromOrToNothingGivesZeros) {
    EXPECT_EQ(scaled({1, 2, 3, 4}, 8, {0, 1}, {3, 2}), Bytes(8, 0));
    EXPECT_EQ(scaled({1, 2, 3, 4}, 8, {4, 0}, {3, 2}), Bytes(8, 0));
    EXPECT_EQ(scaled({1, 2, 3, 4}, 8, {4, 1}, {0, 2}), Bytes());
    EXPECT_EQ(scaled({1, 2, 3, 4}, 8, {4, 1}, {3, 0}), Bytes());
    EXPECT_EQ(scaled({1, 2, 3, 4}, 8, {0, 0}, {0, 0}), Bytes());
}

TEST(Scaling, OtherDepthsStoreNothing) {
    EXPECT_EQ(scaled({255, 255, 255, 255}, 16, {2, 1}, {4, 2}), Bytes(16, 0));
    EXPECT_EQ(scaled({255, 255, 255, 255}, 2, {2, 1}, {2, 1}), Bytes(4, 0));
    EXPECT_EQ(scaled({255, 255, 255, 255}, 0, {2, 1}, {2, 1}), Bytes());
}

TEST(Scaling, RefusesZeroAndImpossibleSizes) {
    const Block source(Bytes{1, 2, 3, 4});
    for (const auto scale : {rlShrinkBitmap, rlStretchBitmap}) {
        EXPECT_EQ(scale(0, 8, 4, 1, 2, 1), 0u);
        EXPECT_EQ(scale(0, 8, 0, 0, 0, 0), 0u);
        EXPECT_EQ(scale(source.handle, 8, 4, 1, 65536, 65536), 0u);
        EXPECT_EQ(scale(source.handle, 8, 65536, 65536, 4, 1), 0u);
        EXPECT_EQ(scale(source.handle, 32, 4, 1, 0x40000000, 1), 0u);
        EXPECT_EQ(scale(source.handle, -8, 4, 1, 2, 1), 0u);
        CapturedText output(stdout);
        const FailingCall failing("calloc");
        EXPECT_EQ(scale(source.handle, 8, 4, 1, 2, 1), 0u);
    }
}

// --- Steps ---

TEST(ScalingSteps, WorkOnLockedRowsAndReturnZero) {
    const Bytes source = padded({{1, 2, 3}, {4, 5, 6}});
    Bytes dest(4, 0);
    EXPECT_EQ(tivar::Shrink(source.data(), dest.data(), 8, 3, 2, 2, 1), 0);
    EXPECT_EQ(dest, padded({{1, 3}}));
    dest.assign(12, 0);
    EXPECT_EQ(tivar::Stretch(source.data(), dest.data(), 8, 3, 2, 2, 3), 0);
    EXPECT_EQ(dest, padded({{1, 3}, {1, 3}, {4, 6}}));
    dest.assign(4, 0);
    EXPECT_EQ(tivar::ShrinkX(source.data(), dest.data(), 8, 3, 1, 3), 0);
    EXPECT_EQ(dest, padded({{1, 2, 3}}));
    EXPECT_EQ(tivar::StretchX(source.data(), dest.data(), 8, 3, 1, 4), 0);
    EXPECT_EQ(dest, padded({{1, 1, 2, 3}}));
}

TEST(ScalingSteps, ResampleRowAfterRow) {
    const Bytes source = padded({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
    Bytes dest(12, 0);
    EXPECT_EQ(tivar::ShrinkX(source.data(), dest.data(), 8, 3, 3, 2), 0);
    EXPECT_EQ(dest, padded({{1, 3}, {4, 6}, {7, 9}}));
    dest.assign(12, 0);
    EXPECT_EQ(tivar::StretchX(source.data(), dest.data(), 8, 3, 3, 4), 0);
    EXPECT_EQ(dest, padded({{1, 1, 2, 3}, {4, 4, 5, 6}, {7, 7, 8, 9}}));
}

TEST(ScalingSteps, LeaveTheRestOfTheRowAlone) {
    const Bytes source = {1, 2, 3, 0};
    Bytes dest(4, 0x55);
    tivar::ShrinkX(source.data(), dest.data(), 8, 3, 1, 2);
    EXPECT_EQ(dest, (Bytes{1, 3, 0x55, 0x55}));
    dest.assign(4, 0x55);
    tivar::StretchX(source.data(), dest.data(), 4, 2, 1, 3);
    EXPECT_EQ(dest, (Bytes{0x00, 0x15, 0x55, 0x55}));
}

TEST(ScalingSteps, PrintEveryPixelThatTheyWriteAboveDebugLevel3) {
    const Bytes source = {1, 2, 3, 0};
    const auto printed = [&](int level, auto resample, uint32_t width) {
        Bytes dest(4, 0);
        const support::DebugLevel guard(level);
        CapturedText errors(stderr);
        resample(source.data(), dest.data(), int16_t{8}, 3, 1, width);
        return errors.text();
    };
    EXPECT_EQ(printed(3, tivar::ShrinkX, 2), "");
    EXPECT_EQ(printed(4, tivar::ShrinkX, 2), "(0,0): (1,0): ");
    EXPECT_EQ(printed(4, tivar::StretchX, 4), "(3,0): (2,0): (1,0): (0,0): ");
}

TEST(ScalingSteps, DoNothingWithoutPixels) {
    const Bytes source = {1, 2, 3, 0};
    Bytes dest(4, 0x55);
    tivar::ShrinkX(source.data(), dest.data(), 8, 3, 1, 0);
    tivar::ShrinkX(source.data(), dest.data(), 8, 3, 0, 3);
    tivar::StretchX(source.data(), dest.data(), 8, 0, 1, 3);
    tivar::StretchX(source.data(), dest.data(), 8, 3, 0, 4);
    tivar::Shrink(source.data(), dest.data(), 8, 3, 1, 3, 0);
    tivar::Shrink(source.data(), dest.data(), 8, 0, 1, 3, 1);
    tivar::Shrink(source.data(), dest.data(), 8, 3, 1, 0, 1);
    tivar::Stretch(source.data(), dest.data(), 8, 3, 0, 3, 1);
    tivar::Stretch(source.data(), dest.data(), 8, 0, 1, 3, 1);
    tivar::Stretch(source.data(), dest.data(), 8, 3, 1, 0, 1);
    EXPECT_EQ(dest, Bytes(4, 0x55));
}

TEST(ScalingBitmaps, GivesTheSamePixelsWithoutMemoryForItsColumns) {
    for (const int16_t depth : std::initializer_list<int16_t>{1, 4, 8, 24, 32}) {
        Bytes bits(static_cast<size_t>(rlBytesPerLine(23u, depth)) * 9);
        for (size_t i = 0; i < bits.size(); ++i) bits[i] = static_cast<uint8_t>(i * 37);
        const Block source(bits);
        for (const Size& to : {Size{11, 5}, Size{50, 20}}) {
            const auto scale = [&] {
                return taken(rlStretchBitmap(source.handle, depth, 23, 9, to.width, to.height));
            };
            const Bytes wanted = scale();
            for (const int nth : {2, 3}) {
                const FailingCall failing("calloc", nth);
                EXPECT_EQ(scale(), wanted) << depth << ", allocation " << nth;
            }
        }
    }
}

}  // namespace
