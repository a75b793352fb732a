// Cell arrays: rows of cells from the host into a pending image, or into a picture of their own.
#include <cmath>
#include <limits>

#include "driver/operations.h"
#include "model/plain_model.h"
#include "support/body_host.h"
#include "support/byte_list.h"
#include "support/driver_host.h"
#include "support/failing_call.h"

namespace {

using support::Bytes;
using support::CellArrayShape;
using support::FailingCall;
using support::ImageShape;
using support::ramp;
using support::rowBytesOf;
using support::slice;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

int32_t colorFormatOf(int32_t bits) {
    return bits == 1 ? 215 : bits == 4 ? 219 : bits == 8 ? 221 : 222;
}

model::Settings settingsOfDepth(int32_t bits) {
    model::Settings settings;
    settings.colorFormat = colorFormatOf(bits);
    return settings;
}

// A device in its body with window x from x1 to x2 and y from y1 to y2.
struct ArrayHost : support::BodyHost {
    ArrayHost(double x1, double x2, double y1 = 0, double y2 = 9, int32_t colorMode = 103,
              const model::Settings& wanted = {})
        : BodyHost({x1, y1, 0, x2, y2, 0}, wanted, 0, colorMode) {}
};

// ---- Width and rows ----------------------------------------------------------------------------

TEST(CellArray, NarrowWindowCopiesShortRowsOneBehindTheOther) {
    ArrayHost host(0, 9);
    host.begin({16, 10, 8});
    host.add({16, 10, 8}, ramp(120));
    EXPECT_EQ(lpEMData->imageWidth, 10);
    EXPECT_EQ(host.image(), ramp(120));
    EXPECT_EQ(lpEMData->nextRow, 10);
}

TEST(CellArray, NarrowWindowSkipsTheRestOf24BitRows) {
    ArrayHost host(0, 4);
    host.begin({8, 3, 24});
    const Bytes data = ramp(3 * 24);
    host.add({8, 3, 24}, data);
    Bytes expected;
    for (size_t row = 0; row < 3; ++row) {
        const Bytes part = slice(data, row * 24, 16);
        expected.insert(expected.end(), part.begin(), part.end());
    }
    EXPECT_EQ(host.image(), expected);
}

TEST(CellArray, LastNarrowRowIsReadNoFurtherThanItsOwnBytes) {
    ArrayHost host(0, 4);
    host.begin({8, 2, 24});
    host.add({8, 2, 24}, ramp(24 + 16));
    EXPECT_EQ(slice(host.image(), 16), slice(ramp(40), 24));
}

TEST(CellArray, WindowAsWideAsTheCellsSkipsNothing) {
    for (const double x2 : {7.0, 8.0, 1e9}) {
        ArrayHost host(0, x2);
        host.begin({8, 2, 24});
        host.add({8, 2, 24}, ramp(48));
        EXPECT_EQ(host.image(), ramp(48)) << x2;
    }
}

TEST(CellArray, WidthIsTheDistanceOfTheTruncatedCornersAndOne) {
    struct Case {
        double x1;
        double x2;
        int32_t width;
    };
    constexpr Case kCases[] = {
        {0, 9, 10}, {9, 0, 10},  {0.9, 9.99, 10}, {-4.9, 4.9, 9},      {-0.9, 0.9, 1},
        {5, 5, 1},  {0, 19, 20}, {0, 20, 20},     {-1e300, 1e300, 20}, {0, kInfinity, 20}};
    for (const Case& given : kCases) {
        ArrayHost host(given.x1, given.x2);
        host.begin({20, 1, 8});
        EXPECT_EQ(lpEMData->imageWidth, given.width) << given.x1 << " to " << given.x2;
        const auto bytes = rowBytesOf(static_cast<uint32_t>(given.width), 8);
        host.add({20, 1, 8}, ramp(bytes));
        EXPECT_EQ(host.image(), ramp(bytes));
    }
}

TEST(CellArray, UndefinedWindowCornersCountAsZero) {
    ArrayHost host(std::nan(""), 3);
    host.begin({20, 1, 8});
    EXPECT_EQ(lpEMData->imageWidth, 4);
}

TEST(CellArray, EachDepthHasItsRowSize) {
    struct Case {
        int32_t precision;
        int32_t cells;
        size_t rowBytes;
    };
    constexpr Case kCases[] = {{1, 1, 4},  {1, 32, 4},    {1, 33, 8}, {4, 8, 4},   {4, 9, 8},
                               {8, 4, 4},  {8, 101, 104}, {24, 1, 4}, {24, 5, 16}, {32, 3, 12},
                               {2, 17, 8}, {7, 5, 8},     {16, 3, 8}};
    for (const Case& given : kCases) {
        ArrayHost host(0, 1000);
        host.begin({given.cells, 2, given.precision});
        host.add({static_cast<uint32_t>(given.cells), 2, given.precision},
                 ramp(2 * given.rowBytes));
        EXPECT_EQ(host.image(), ramp(2 * given.rowBytes)) << given.precision;
    }
}

// ---- Data inline and elsewhere -----------------------------------------------------------------

TEST(CellArray, NegativePrecisionTakesTheDataFromItsAddress) {
    for (const int32_t precision : {-8, -24, -4}) {
        ArrayHost host(0, 100);
        const auto bits = static_cast<uint32_t>(-precision);
        const Bytes data = ramp(2 * rowBytesOf(5, bits));
        host.begin({5, 2, precision});
        EXPECT_EQ(lpEMData->bitsPerCell, -precision);
        EXPECT_EQ(host.send(support::cellArrayBlockAt({5, 2, precision}, data.data())), 0);
        EXPECT_EQ(host.image(), data);
    }
}

TEST(CellArray, PrecisionMinus32768StandsForOneBitAtAnAddress) {
    ArrayHost host(0, 100);
    host.begin({40, 2, -32768});
    EXPECT_EQ(lpEMData->bitsPerCell, 1);
    const Bytes data = ramp(16);
    EXPECT_EQ(host.send(support::cellArrayBlockAt({40, 2, -32768}, data.data())), 0);
    EXPECT_EQ(host.image(), data);
}

TEST(CellArray, NullAddressChangesNothing) {
    ArrayHost host(0, 100);
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(host.send(support::cellArrayBlockAt({5, 2, -8}, nullptr)), 0);
    EXPECT_EQ(lpEMData->imageMemory, 0u);
    host.begin({5, 2, 8});
    EXPECT_EQ(host.send(support::cellArrayBlockAt({5, 2, -8}, nullptr)), 0);
    EXPECT_EQ(host.image(), Bytes(16, 0));
    EXPECT_EQ(lpEMData->nextRow, 0);
}

TEST(CellArray, HandlerReturnsItsBlock) {
    const ArrayHost host(0, 9);
    auto block = support::cellArrayBlock({1, 1, 8}, {1, 2, 3, 4});
    EXPECT_EQ(tivar::d_ca(block.data()), block.data());
    EXPECT_EQ(tivar::d_ca(nullptr), nullptr);
}

// ---- Direction ---------------------------------------------------------------------------------

TEST(CellArray, TwoArraysFillAPendingImageFromTheTop) {
    ArrayHost host(0, 9);
    host.begin({4, 8, 8});
    host.add({4, 3, 8}, ramp(12));
    EXPECT_EQ(lpEMData->nextRow, 3);
    host.add({4, 3, 8}, ramp(12, 100));
    EXPECT_EQ(lpEMData->nextRow, 6);
    Bytes expected = ramp(12);
    const Bytes second = ramp(12, 100);
    expected.insert(expected.end(), second.begin(), second.end());
    expected.resize(32);
    EXPECT_EQ(host.image(), expected);
    EXPECT_EQ(lpEMData->imagePending, 1);
}

TEST(CellArray, RowsBeyondTheImageAreLeftOut) {
    ArrayHost host(0, 9);
    host.begin({4, 4, 8});
    host.add({4, 6, 8}, ramp(24));
    EXPECT_EQ(host.image(), ramp(16));
    EXPECT_EQ(lpEMData->nextRow, 4);
    host.add({4, 2, 8}, ramp(8, 50));
    EXPECT_EQ(host.image(), ramp(16));
    EXPECT_EQ(lpEMData->nextRow, 4);
}

TEST(CellArray, BottomUpFillStartsOneRowAboveTheLast) {
    ArrayHost host(0, 9);
    host.begin({4, 4, 8});
    host.add({4, 4, 8, 5, 1}, ramp(16));
    EXPECT_EQ(host.image(), support::ByteList()
                                .add(slice(ramp(16), 8, 4))
                                .add(slice(ramp(16), 4, 4))
                                .add(slice(ramp(16), 0, 4))
                                .u32(0)
                                .list);
    EXPECT_EQ(lpEMData->nextRow, 0);
}

TEST(CellArray, BottomUpArraysGoOnUpwardsAndStartAgainAtTheTop) {
    ArrayHost host(0, 9);
    host.begin({4, 4, 8});
    host.add({4, 2, 8, 5, 1}, Bytes(8, 1));
    EXPECT_EQ(lpEMData->nextRow, 1);
    host.add({4, 2, 8, 5, 1}, Bytes(8, 2));
    EXPECT_EQ(lpEMData->nextRow, 0);
    EXPECT_EQ(host.image(), support::ByteList().repeat(4, 2).repeat(8, 1).u32(0).list);
    host.add({4, 1, 8, 5, 1}, Bytes(4, 3));
    EXPECT_EQ(lpEMData->nextRow, 2) << "an index of 0 starts at the bottom again";
    EXPECT_EQ(slice(host.image(), 8, 4), Bytes(4, 3));
}

TEST(CellArray, DirectionsMayBeMixed) {
    ArrayHost host(0, 9);
    host.begin({4, 5, 8});
    host.add({4, 2, 8}, Bytes(8, 1));
    host.add({4, 1, 8, 5, 1}, Bytes(4, 2));
    EXPECT_EQ(lpEMData->nextRow, 1);
    EXPECT_EQ(slice(host.image(), 0, 12),
              support::ByteList().repeat(4, 1).repeat(4, 2).u32(0).list);
}

TEST(CellArray, RowsRunBottomUpWhereArrayAndWindowRunApart) {
    struct Case {
        double firstY;
        double secondY;
        double windowY1;
        double windowY2;
        bool bottomUp;
    };
    const Case cases[] = {
        {5, 1, 0, 9, true},
        {1, 5, 9, 0, true},
        {1, 5, 0, 9, false},
        {5, 1, 9, 0, false},
        {3, 3, 0, 9, false},
        {3, 3, 9, 0, false},
        {5, 1, 4, 4, false},
        {1, 5, 4, 4, false},
        {5, 1, 0.2, 0.7, true},
        {0.2, 0.1, 0, 9, true},
        {0.1, 0.2, 9, 0, true},
        {std::nan(""), 1, 0, 9, false},
        {5, 1, std::nan(""), 9, false},
        {kInfinity, 1, 0, kInfinity, true},
    };
    for (const Case& given : cases) {
        SCOPED_TRACE(testing::Message() << given.firstY << " to " << given.secondY << ", window "
                                        << given.windowY1 << " to " << given.windowY2);
        ArrayHost host(0, 9, given.windowY1, given.windowY2);
        host.begin({4, 3, 8});
        host.add({4, 1, 8, given.firstY, given.secondY}, Bytes(4, 9));
        EXPECT_EQ(lpEMData->nextRow, 1);
        const auto first = static_cast<size_t>(given.bottomUp ? 4 : 0);
        EXPECT_EQ(slice(host.image(), first, 4), Bytes(4, 9));
    }
}

// ---- Colour modes ------------------------------------------------------------------------------

TEST(CellArray, ColourModesTransformTheCellsOf24BitRows) {
    for (int32_t mode = 103; mode <= 107; ++mode) {
        SCOPED_TRACE(mode);
        ArrayHost host(0, 4, 0, 9, mode);
        host.begin({8, 2, 24});
        const Bytes data = ramp(48);
        host.add({8, 2, 24}, data);
        Bytes expected;
        for (const size_t start : {size_t{0}, size_t{24}}) {
            Bytes row = slice(data, start, 16);
            model::revRgb(row, 5, mode - 103);
            expected.insert(expected.end(), row.begin(), row.end());
        }
        EXPECT_EQ(host.image(), expected) << "the row's sixteenth byte stays";
    }
}

TEST(CellArray, HostsOwnRowsAreNotTransformed) {
    ArrayHost host(0, 9, 0, 9, 104);
    host.begin({4, 1, 24});
    const Bytes data = ramp(12);
    host.send(support::cellArrayBlockAt({4, 1, -24}, data.data()));
    EXPECT_EQ(data, ramp(12));
    EXPECT_NE(host.image(), data);
}

TEST(CellArray, OtherDepthsAreNotTransformed) {
    for (const int32_t bits : {1, 4, 8, 32}) {
        ArrayHost host(0, 9, 0, 9, 104);
        host.begin({4, 2, bits});
        const Bytes data = ramp(2 * rowBytesOf(4, static_cast<uint32_t>(bits)));
        host.add({4, 2, bits}, data);
        EXPECT_EQ(host.image(), data) << bits;
    }
}

// ---- Stand-alone arrays ------------------------------------------------------------------------

TEST(StandAloneArray, IsWrittenAsAPictureOfItsOwnSize) {
    constexpr int32_t kShapes[][3] = {{1, 33, 3}, {1, 1, 1}, {4, 9, 4}, {8, 16, 10}, {24, 5, 7}};
    for (const auto& [bits, cells, rows] : kShapes) {
        SCOPED_TRACE(testing::Message() << bits << " bits, " << cells << " x " << rows);
        const auto width = static_cast<uint32_t>(cells);
        const auto height = static_cast<uint32_t>(rows);
        const Bytes data = ramp(height * rowBytesOf(width, static_cast<uint32_t>(bits)));
        const Bytes colors = ramp(768, 5);
        ArrayHost host(0, 1000, 0, 9, 103, settingsOfDepth(bits));
        host.send(support::colorsBlock(0, colors));
        host.add({width, height, bits}, data);
        EXPECT_EQ(lpEMData->imageMemory, 0u);
        EXPECT_EQ(host.closeAndTakeFile(), model::writeBmp(settingsOfDepth(bits), width, height,
                                                           bits, colors, data, bits == 24));
    }
}

TEST(StandAloneArray, NarrowWindowMakesItNarrower) {
    ArrayHost host(0, 9);
    host.add({16, 10, 8}, ramp(120));
    EXPECT_EQ(host.closeAndTakeFile(), model::writeBmp({}, 10, 10, 8, {}, ramp(120), false));
}

TEST(StandAloneArray, ColourModeAndDataAtAnAddress) {
    const model::Settings settings = settingsOfDepth(24);
    ArrayHost host(0, 9, 0, 9, 107, settings);
    const Bytes data = ramp(3 * 16);
    host.send(support::cellArrayBlockAt({5, 3, -24}, data.data()));
    Bytes rows;
    for (size_t row = 0; row < 3; ++row) {
        Bytes part = slice(data, row * 16, 16);
        model::revRgb(part, 5, 4);
        rows.insert(rows.end(), part.begin(), part.end());
    }
    EXPECT_EQ(host.closeAndTakeFile(), model::writeBmp(settings, 5, 3, 24, {}, rows, true));
}

TEST(StandAloneArray, BottomUpLeavesItsLastRowBlack) {
    ArrayHost host(0, 9);
    host.add({4, 3, 8, 5, 1}, support::ByteList().repeat(4, 1).repeat(4, 2).repeat(4, 3).list);
    const Bytes rows = support::ByteList().repeat(4, 2).repeat(4, 1).u32(0).list;
    EXPECT_EQ(host.closeAndTakeFile(), model::writeBmp({}, 4, 3, 8, {}, rows, false));
}

TEST(StandAloneArray, BracketsFieldsStayUntouched) {
    ArrayHost host(0, 9);
    lpEMData->nextRow = 2;
    lpEMData->imageWidth = 77;
    lpEMData->imageHeight = 3;
    lpEMData->bitsPerCell = 4;
    host.add({4, 5, 8}, ramp(20));
    host.add({4, 5, 8, 5, 1}, ramp(20));
    EXPECT_EQ(lpEMData->nextRow, 2);
    EXPECT_EQ(lpEMData->imageWidth, 77);
    EXPECT_EQ(lpEMData->imageHeight, 3);
    EXPECT_EQ(lpEMData->bitsPerCell, 4);
    EXPECT_EQ(lpEMData->imagePending, 0);
    Bytes upside = model::writeBmp({}, 4, 5, 8, {},
                                   support::ByteList()
                                       .add(slice(ramp(20), 12, 4))
                                       .add(slice(ramp(20), 8, 4))
                                       .add(slice(ramp(20), 4, 4))
                                       .add(slice(ramp(20), 0, 4))
                                       .u32(0)
                                       .list,
                                   false);
    Bytes both = model::writeBmp({}, 4, 5, 8, {}, ramp(20), false);
    both.insert(both.end(), upside.begin(), upside.end());
    EXPECT_EQ(host.closeAndTakeFile(), both);
}

// ---- Memory that cannot be had, and hostile shapes ---------------------------------------------

TEST(CellArray, MemoryThatCannotBeHadPushes300) {
    ArrayHost host(0, 1e9);
    constexpr CellArrayShape kHuge[] = {{65536, 65536, 8},
                                        {0xFFFFFFFF, 1, 24},
                                        {1, 0xFFFFFFFF, 24},
                                        {1, 1, INT32_MIN},
                                        {4, 1, 0x7FFFFFFF}};
    const Bytes data(64, 0);
    int32_t pushes = 0;
    for (const CellArrayShape& shape : kHuge) {
        const int32_t result = shape.precision < 0
                                   ? host.send(support::cellArrayBlockAt(shape, data.data()))
                                   : host.send(support::cellArrayBlock(shape, data));
        EXPECT_EQ(result, 300) << shape.cells << " x " << shape.rows;
        EXPECT_EQ(lpEMData->errors.overflowCount, ++pushes);
    }
    EXPECT_EQ(host.closeAndTakeFile(), Bytes{});
}

TEST(CellArray, ExhaustedHeapPushes300) {
    ArrayHost host(0, 9);
    testing::internal::CaptureStdout();
    {
        const FailingCall failing("calloc");
        EXPECT_EQ(host.send(support::cellArrayBlock({4, 1, 8}, ramp(4))), 300);
    }
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(host.closeAndTakeFile(), Bytes{});
}

TEST(CellArray, PendingImageWithoutMemoryPushes300) {
    ArrayHost host(0, 1e9);
    host.begin({65536, 65536, 8});
    EXPECT_EQ(lpEMData->imageMemory, 0u);
    EXPECT_EQ(host.send(support::cellArrayBlock({4, 1, 8}, ramp(4))), 300);
    EXPECT_EQ(lpEMData->nextRow, 0);
}

TEST(CellArray, PendingImageWithoutMemoryHasItsNextRowSettledFromTheBottomUp) {
    ArrayHost host(0, 1e9);
    host.begin({65536, 65536, 8});
    EXPECT_EQ(host.send(support::cellArrayBlock({4, 1, 8, 5, 1}, ramp(4))), 300);
    EXPECT_EQ(lpEMData->nextRow, 65535);
    EXPECT_EQ(host.send(support::cellArrayBlock({4, 1, 8, 5, 1}, ramp(4))), 300);
    EXPECT_EQ(lpEMData->nextRow, 65535);
}

TEST(StandAloneArray, WithoutMemoryLeavesTheNextRowAlone) {
    ArrayHost host(0, 1e9);
    EXPECT_EQ(host.send(support::cellArrayBlock({65536, 65536, 8, 5, 1}, ramp(4))), 300);
    EXPECT_EQ(lpEMData->nextRow, 0);
}

TEST(StandAloneArray, CellsAndRowsAreUnsigned) {
    // As signed numbers both would be fewer than the window's and the image's.
    ArrayHost host(0, 3);
    EXPECT_EQ(host.send(support::cellArrayBlock({0x80000000, 1, 8}, ramp(4))), 0);
    host.begin({4, 2, 8});
    host.add({4, 0xFFFFFFFF, 8}, ramp(8));
    EXPECT_EQ(host.image(), ramp(8));
    EXPECT_EQ(lpEMData->nextRow, 2);
    EXPECT_EQ(host.closeAndTakeFile(), model::writeBmp({}, 4, 1, 8, {}, ramp(4), false));
}

TEST(StandAloneArray, FreesItsImage) {
    ArrayHost host(0, 9);
    host.add({4, 1, 8}, ramp(4));
    const long blocks = support::liveBlocks;
    host.add({4, 1, 8}, ramp(4));
    EXPECT_EQ(support::liveBlocks, blocks);
}

TEST(CellArray, EmptyArraysWriteAnEmptyPicture) {
    constexpr CellArrayShape kEmpty[] = {{0, 5, 8}, {5, 0, 8}, {0, 0, 8}, {0, 0, 24}};
    for (const CellArrayShape& shape : kEmpty) {
        const model::Settings settings = settingsOfDepth(shape.precision);
        ArrayHost host(0, 9, 0, 9, 104, settings);
        host.add(shape, {1, 2, 3, 4});
        EXPECT_EQ(host.closeAndTakeFile(), model::writeBmp(settings, shape.cells, shape.rows,
                                                           shape.precision, {}, {}, true));
    }
}

TEST(CellArray, CellsWithoutBytesMayClaimAnyNumberOfRows) {
    for (const uint32_t rows : {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        for (const double secondY : {-1.0, 1.0}) {
            ArrayHost host(0, 9);
            host.add({0, rows, 8, 0, secondY}, {1, 2, 3, 4});
            host.begin({0, static_cast<int32_t>(rows), 8});
            host.add({0, rows, 8, 0, secondY}, {1, 2, 3, 4});
            host.add({0, 3, 8, 0, secondY}, {1, 2, 3, 4});
        }
    }
}

TEST(CellArray, PrecisionOfZeroBitsIsTaken) {
    ArrayHost host(0, 9);
    host.add({4, 4, 0}, {1, 2, 3, 4});
    host.begin({4, 4, 0});
    host.add({4, 4, 0}, {1, 2, 3, 4});
    EXPECT_EQ(lpEMData->nextRow, 4);
}

TEST(CellArray, WiderRowsThanTheImagesStayInsideItsMemory) {
    ArrayHost host(0, 9);
    host.begin({4, 3, 8});
    host.add({8, 3, 8}, ramp(24));
    EXPECT_EQ(host.image(), ramp(12)) << "the second row is cut, the third dropped";
    EXPECT_EQ(lpEMData->nextRow, 3);
}

TEST(CellArray, CutRowsAreTransformedAsFarAsTheyLieInTheImage) {
    const Bytes data = ramp(32);
    for (int32_t mode = 104; mode <= 107; ++mode) {
        ArrayHost host(0, 9, 0, 9, mode);
        host.begin({1, 5, 24});
        host.add({5, 2, 24}, data);
        Bytes first = slice(data, 0, 16);
        model::revRgb(first, 5, mode - 103);
        // What lies outside reads as zero.
        Bytes second = slice(data, 16, 4);
        second.resize(16, 0);
        model::revRgb(second, 5, mode - 103);
        EXPECT_EQ(host.image(), support::ByteList().add(first).add(slice(second, 0, 4)).list)
            << mode;
    }
}

TEST(CellArray, RowFarBehindTheImageIsDropped) {
    // Its byte position passes 32 bits: 71583 x 60000.
    ArrayHost host(0, 19999);
    host.begin({1, 80000, 1});
    host.add({1, 71583, 1}, Bytes(size_t{71583} * 4, 0));
    host.add({20000, 1, 24}, Bytes(60000, 0xEE));
    EXPECT_EQ(host.image(), Bytes(size_t{80000} * 4, 0));
    EXPECT_EQ(lpEMData->nextRow, 71584);
}

}  // namespace
