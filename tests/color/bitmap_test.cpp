#include "color/bitmap.h"

#include "support/color_bitmaps.h"
#include "support/failing_call.h"

namespace {

using support::Block;
using support::Bytes;
using support::FailingCall;

Bytes bytesAt(const uint8_t* data, size_t size) {
    return {data, data + size};
}

TEST(MeasureBitmap, RowsTakeMultiplesOfFourBytes) {
    tivar::BitmapSize size;
    ASSERT_TRUE(tivar::measureBitmap(33, 3, 1, size));
    EXPECT_EQ(size.stride, 8u);
    EXPECT_EQ(size.bytes, 24u);
    ASSERT_TRUE(tivar::measureBitmap(0, 7, 24, size));
    EXPECT_EQ(size.bytes, 0u);
    ASSERT_TRUE(tivar::measureBitmap(7, 0, 24, size));
    EXPECT_EQ(size.stride, 24u);
    EXPECT_EQ(size.bytes, 0u);
}

TEST(MeasureBitmap, RefusesWhat32BitsDoNotHold) {
    const struct {
        uint32_t width, height;
        int32_t bits;
        bool fits;
    } cases[] = {{134217727, 1, 32, true},  {134217728, 1, 32, false},    {178956970, 1, 24, true},
                 {178956971, 1, 24, false}, {0xFFFFFFFF, 1, 1, true},     {0xFFFFFFFF, 7, 1, true},
                 {0xFFFFFFFF, 8, 1, false}, {65536, 65535, 8, true},      {65536, 65536, 8, false},
                 {8, 8, -1, false},         {0xFFFFFFFF, 1, 32767, false}};
    for (const auto& c : cases) {
        tivar::BitmapSize size{1, 1};
        EXPECT_EQ(tivar::measureBitmap(c.width, c.height, c.bits, size), c.fits) << c.width;
        if (!c.fits) {
            EXPECT_EQ(size.bytes, 0u) << c.width;
        }
    }
}

TEST(AllocateBitmap, GivesZeroedRows) {
    EXPECT_EQ(support::taken(tivar::allocateBitmap(5, 3, 24)), Bytes(48, 0));
    EXPECT_EQ(tivar::allocateBitmap(65536, 65536, 8), 0u);
    EXPECT_EQ(tivar::allocateBitmap(5, 3, -24), 0u);
}

TEST(ExtendedBlock, IsTheBlockItselfWhenThatIsLongEnough) {
    const Block block(Bytes{1, 2, 3, 4});
    EXPECT_EQ(tivar::ExtendedBlock(block.handle, 4).data, GlobalLock(block.handle));
    EXPECT_EQ(tivar::ExtendedBlock(block.handle, 0).data, GlobalLock(block.handle));
}

TEST(ExtendedBlock, OfAShortBlockIsACopyThatEndsInZeros) {
    const Block block(Bytes{1, 2, 3});
    const tivar::ExtendedBlock extended(block.handle, 6);
    ASSERT_NE(extended.data, nullptr);
    EXPECT_NE(extended.data, GlobalLock(block.handle));
    EXPECT_EQ(bytesAt(extended.data, 6), (Bytes{1, 2, 3, 0, 0, 0}));
    EXPECT_EQ(block.contents(), (Bytes{1, 2, 3}));
}

TEST(ExtendedBlock, HasNoDataForHandleZeroAndWithoutMemory) {
    EXPECT_EQ(tivar::ExtendedBlock(0, 4).data, nullptr);
    const Block block(Bytes{1});
    testing::internal::CaptureStdout();
    {
        const FailingCall failing("calloc");
        EXPECT_EQ(tivar::ExtendedBlock(block.handle, 4).data, nullptr);
    }
    testing::internal::GetCapturedStdout();
}

TEST(SourceBitmap, RowsLieOneStrideApart) {
    const Block block(Bytes{1, 2, 3, 0, 4, 5, 6, 0});
    const tivar::SourceBitmap source(block.handle, 3, 2, 8);
    ASSERT_TRUE(source);
    EXPECT_EQ(source.row(0)[0], 1);
    EXPECT_EQ(source.row(1)[2], 6);
}

TEST(SourceBitmap, RowsThatTheBlockLacksAreZero) {
    const Block block(Bytes{1, 2, 3, 0, 4});
    const tivar::SourceBitmap source(block.handle, 3, 3, 8);
    ASSERT_TRUE(source);
    EXPECT_EQ(bytesAt(source.row(1), 8), (Bytes{4, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(SourceBitmap, IsUnusableForHandleZeroAndSizesThatNoBlockHas) {
    const Block block(Bytes{1, 2, 3, 4});
    EXPECT_FALSE(tivar::SourceBitmap(0, 1, 1, 8));
    EXPECT_FALSE(tivar::SourceBitmap(block.handle, 65536, 65536, 8));
    EXPECT_FALSE(tivar::SourceBitmap(block.handle, 1, 1, -8));
}

TEST(SourceTable, IsBlackFromItsEndOn) {
    const Block block(Bytes{9, 8, 7, 6});
    EXPECT_EQ(bytesAt(tivar::SourceTable(block.handle, 3).data(), 9),
              (Bytes{9, 8, 7, 6, 0, 0, 0, 0, 0}));
    EXPECT_EQ(tivar::SourceTable(block.handle, 1).data(), GlobalLock(block.handle));
    EXPECT_EQ(tivar::SourceTable(block.handle, -5).data(), GlobalLock(block.handle));
    EXPECT_EQ(tivar::SourceTable(0, 2).data(), nullptr);
}

}  // namespace
