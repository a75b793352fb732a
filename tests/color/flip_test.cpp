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

constexpr int kNone = 0, kHorizontally = 1, kVertically = 2, kBoth = 3;

struct Shape {
    int16_t depth;
    uint32_t width, height;
};

void flip(MemHandle bits, const Shape& shape, int how) {
    EXPECT_EQ(rlFlipBitmap(bits, shape.depth, shape.width, shape.height,
                           static_cast<int16_t>((how & kHorizontally) != 0 ? 1 : 0),
                           static_cast<int16_t>((how & kVertically) != 0 ? -1 : 0)),
              bits);
}

Bytes flipped(const Bytes& bits, const Shape& shape, int how) {
    const Block block(bits);
    flip(block.handle, shape, how);
    return block.contents();
}

TEST(VerticalMirror, ExchangesWholeRows) {
    const Bytes rows = {1, 2, 3, 91, 4, 5, 6, 92, 7, 8, 9, 93};
    EXPECT_EQ(flipped(rows, {8, 3, 3}, kVertically),
              (Bytes{7, 8, 9, 93, 4, 5, 6, 92, 1, 2, 3, 91}));
    EXPECT_EQ(flipped(rows, {8, 3, 2}, kVertically),
              (Bytes{4, 5, 6, 92, 1, 2, 3, 91, 7, 8, 9, 93}));
    EXPECT_EQ(flipped(rows, {8, 3, 1}, kVertically), rows);
    EXPECT_EQ(flipped(rows, {1, 20, 3}, kVertically),
              (Bytes{7, 8, 9, 93, 4, 5, 6, 92, 1, 2, 3, 91}));
}

TEST(Mirror, WithoutDirectionsChangesNothing) {
    const Bytes rows = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(flipped(rows, {8, 4, 2}, kNone), rows);
}

TEST(HorizontalMirror, PairsPixelXWithPixelWidthMinusX) {
    // Four pixels A B C D with P just past them read P D C B, and A lies behind them.
    const Bytes rows = {'A', 'B', 'C', 'D', 'P', 0, 0, 0};
    EXPECT_EQ(flipped(rows, {8, 4, 1}, kHorizontally), (Bytes{'P', 'D', 'C', 'B', 'A', 0, 0, 0}));
}

TEST(HorizontalMirror, TakesThePlacePastTheRowFromItsPadding) {
    EXPECT_EQ(flipped({1, 2, 3, 9}, {8, 3, 1}, kHorizontally), (Bytes{9, 2, 3, 1}));
    EXPECT_EQ(flipped({1, 2, 3, 4, 5, 99, 98, 97}, {8, 5, 1}, kHorizontally),
              (Bytes{99, 5, 3, 4, 2, 1, 98, 97}));
    EXPECT_EQ(flipped({1, 2, 3, 11, 12, 13, 21, 22}, {24, 2, 1}, kHorizontally),
              (Bytes{21, 22, 0, 11, 12, 13, 1, 2}));
    // 0xA7, 0xF0 has 1 at x = 8; the row is 1010 0111 and becomes 1111 0010, 1 …
    EXPECT_EQ(flipped({0xA7, 0xF0, 0, 0}, {1, 8, 1}, kHorizontally), (Bytes{0xF2, 0xF0, 0, 0}));
    EXPECT_EQ(flipped({0x12, 0x39, 0, 0}, {4, 3, 1}, kHorizontally), (Bytes{0x92, 0x31, 0, 0}));
}

TEST(HorizontalMirror, BehindTheLastRowIsTheBlocksSlack) {
    // Two mirrors restore the row: the slack keeps what was put there.
    const struct {
        int16_t depth;
        uint32_t width;
        Bytes bits, mirrored;
    } cases[] = {
        {8, 4, {1, 2, 3, 4}, {0, 4, 3, 2}},
        {24, 4, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, {0, 0, 0, 10, 11, 12, 7, 8, 9, 4, 5, 6}},
        {32, 2, {1, 2, 3, 4, 5, 6, 7, 8}, {0, 0, 0, 0, 5, 6, 7, 8}},
        {4, 8, {0x12, 0x34, 0x56, 0x78}, {0x08, 0x76, 0x54, 0x32}},
        {1, 32, {0xFF, 0, 0, 1}, {0x40, 0, 0, 0x7F}}};
    for (const auto& c : cases) {
        const Block block(c.bits);
        const Shape shape = {c.depth, c.width, 1};
        flip(block.handle, shape, kHorizontally);
        EXPECT_EQ(block.contents(), c.mirrored) << c.depth;
        flip(block.handle, shape, kHorizontally);
        EXPECT_EQ(block.contents(), c.bits) << c.depth;
    }
}

TEST(HorizontalMirror, WithoutPaddingTradesWithTheFirstPixelOfTheNextRow) {
    // x = 0: the top row trades with the first pixel of the bottom row, that one with the slack.
    // Both pairs are read before any is written: 1 and 5, 5 and the zero behind.
    EXPECT_EQ(flipped({1, 2, 3, 4, 5, 6, 7, 8}, {8, 4, 2}, kHorizontally),
              (Bytes{5, 4, 3, 2, 0, 8, 7, 6}));
}

TEST(HorizontalMirror, OfTheMiddleRowWritesTheSamePairsTwice) {
    EXPECT_EQ(flipped({1, 2, 3, 9, 1, 2, 3, 9, 1, 2, 3, 9}, {8, 3, 3}, kHorizontally),
              (Bytes{9, 2, 3, 1, 9, 2, 3, 1, 9, 2, 3, 1}));
}

TEST(HorizontalMirror, OfOnePixelChangesNothing) {
    EXPECT_EQ(flipped({1, 9, 9, 9}, {8, 1, 1}, kHorizontally), (Bytes{1, 9, 9, 9}));
}

TEST(Mirror, InBothDirectionsExchangesTheRowsFirst) {
    EXPECT_EQ(flipped({1, 2, 3, 91, 4, 5, 6, 92}, {8, 3, 2}, kBoth),
              (Bytes{92, 5, 6, 4, 91, 2, 3, 1}));
}

TEST(VerticalMirror, ARowOf32768BytesOrMoreHasNoBuffer) {
    Bytes rows(2 * 32768, 1);
    std::fill(rows.begin() + 32768, rows.end(), uint8_t{2});
    EXPECT_EQ(flipped(rows, {8, 32768, 2}, kVertically), rows);
    // 16 bits hold 32764 bytes as they are.
    Bytes shorter(2 * 32764, 1);
    std::fill(shorter.begin() + 32764, shorter.end(), uint8_t{2});
    Bytes exchanged(shorter.rbegin(), shorter.rend());
    EXPECT_TRUE(support::sameBytes(flipped(shorter, {8, 32764, 2}, kVertically), exchanged));
}

TEST(VerticalMirror, ARowOf65536BytesOrMoreLosesWhatItsBufferCannotHold) {
    // The buffer has 65540 mod 65536 bytes.
    Bytes rows(2 * 65540, 1);
    std::fill(rows.begin() + 65540, rows.end(), uint8_t{2});
    Bytes expected(2 * 65540, 0);
    std::fill(expected.begin(), expected.begin() + 65540, uint8_t{2});
    std::fill(expected.begin() + 65540, expected.begin() + 65544, uint8_t{1});
    EXPECT_TRUE(support::sameBytes(flipped(rows, {8, 65540, 2}, kVertically), expected));
    // Not one byte here, and a middle row loses itself.
    EXPECT_EQ(flipped(Bytes(65536, 7), {8, 65536, 1}, kVertically), Bytes(65536, 0));
}

TEST(Mirror, OfAShortBlockReadsZerosBehindItsEndAndDropsWhatLandsThere) {
    EXPECT_EQ(flipped({1, 2, 3, 4, 5, 6}, {8, 4, 2}, kVertically), (Bytes{5, 6, 0, 0, 1, 2}));
    EXPECT_EQ(flipped({1, 2, 3, 4, 5, 6}, {8, 4, 3}, kVertically), (Bytes{0, 0, 0, 0, 5, 6}));
    EXPECT_EQ(flipped({1, 2, 3}, {8, 4, 1}, kHorizontally), (Bytes{0, 0, 3}));
    EXPECT_EQ(flipped({1, 2, 3, 4, 5}, {8, 4, 2}, kBoth), (Bytes{1, 0, 0, 0, 0}));
    EXPECT_EQ(flipped({}, {8, 4, 2}, kBoth), Bytes());
}

TEST(Mirror, OfWrappedMemoryEndsWithThatMemory) {
    Bytes memory = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 21};
    const Block exact(GlobalPointerToHandle(memory.data(), 12));
    flip(exact.handle, {24, 4, 1}, kHorizontally);
    EXPECT_EQ(memory, (Bytes{0, 0, 0, 10, 11, 12, 7, 8, 9, 4, 5, 6, 21}));
    // One byte of the place past the row is there.
    const Block partial(GlobalPointerToHandle(memory.data(), 13));
    flip(partial.handle, {24, 4, 1}, kHorizontally);
    EXPECT_EQ(memory, (Bytes{21, 0, 0, 4, 5, 6, 7, 8, 9, 10, 11, 12, 0}));
}

// All four bytes of what lies behind the memory are zero, whatever was there in the call before.
TEST(Mirror, OfFourBytePixelsReadsZerosBehindTheMemory) {
    for (int again = 0; again < 3; ++again) {
        Bytes memory = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 21};
        const Block exact(GlobalPointerToHandle(memory.data(), 16));
        flip(exact.handle, {32, 4, 1}, kHorizontally);
        EXPECT_EQ(memory, (Bytes{0, 0, 0, 0, 13, 14, 15, 16, 9, 10, 11, 12, 5, 6, 7, 8, 21}));
    }
}

// Leaves bytes that are not zero where the next call has its variables.
[[gnu::noinline]] void dirtyTheStack() {
    volatile uint8_t bytes[8192];
    for (volatile uint8_t& byte : bytes) byte = 0xA5;
}

TEST(Mirror, OfFourBytePixelsReadsZerosWhateverTheStackHolds) {
    Bytes memory = {1, 2, 3, 4, 21};
    const Block exact(GlobalPointerToHandle(memory.data(), 4));
    dirtyTheStack();
    flip(exact.handle, {32, 2, 1}, kHorizontally);
    EXPECT_EQ(memory, (Bytes{0, 0, 0, 0, 21}));
}

TEST(Mirror, OfOtherDepthsExchangesRowsButNoPixels) {
    const Bytes rows = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(flipped(rows, {16, 2, 2}, kBoth), (Bytes{5, 6, 7, 8, 1, 2, 3, 4}));
    EXPECT_EQ(flipped(rows, {2, 16, 2}, kHorizontally), rows);
}

TEST(Mirror, ChangesNothingWithoutPixelsMemoryOrBits) {
    const Bytes rows = {1, 2, 3, 4, 5, 6, 7, 8};
    const Shape shapes[] = {{8, 0, 2},         {8, 4, 0},          {0, 4, 2},          {-8, 4, 2},
                            {8, 65536, 65536}, {8, 0, 0xFFFFFFFF}, {32, 0x40000000, 1}};
    for (const Shape& shape : shapes)
        EXPECT_EQ(flipped(rows, shape, kBoth), rows) << shape.width << " x " << shape.height;
    EXPECT_EQ(rlFlipBitmap(0, 8, 4, 2, 1, 1), 0u);
    const Block block(rows);
    CapturedText output(stdout);
    const FailingCall failing("calloc");
    flip(block.handle, {8, 4, 2}, kBoth);
    EXPECT_EQ(block.contents(), rows);
    EXPECT_TRUE(failing.happened());
}

}  // namespace
