#include <tivar/color.h>
#include <tivar/driver.h>

#include "model/plain_model.h"
#include "support/byte_list.h"
#include "support/drawn_picture.h"
#include "support/export_host.h"
#include "support/failing_call.h"
#include "support/memory_block.h"

namespace {

using support::Block;
using support::ByteList;
using support::Bytes;
using support::Drawing;
using support::DrawnPicture;
using support::FailingCall;
using support::PictureInMemory;
using support::slice;

const Bytes kMonoTable = {0,   0,   0,   255, 255, 255, 64,  64,  64,  128, 128, 128,
                          160, 160, 160, 192, 192, 192, 208, 208, 208, 224, 224, 224};
const Bytes kFixedColors = {255, 255, 255, 255, 255, 0, 255, 0, 255, 0, 255, 255,
                            255, 0,   0,   0,   255, 0, 0,   0, 255, 0, 0,   0};

// A request for a picture, as the band loop makes it: a table of colorCount black entries.
struct Request {
    Request(const DrawnPicture& drawn, uint32_t width, uint32_t height, int16_t bits,
            int16_t colorCount)
        : source(drawn) {
        record.picture = &source.picture;
        record.destWidth = width;
        record.destHeight = height;
        record.destBits = bits;
        record.colorCount = colorCount;
        record.colorTable =
            static_cast<uint8_t*>(oxlPtrGlobalAlloc(static_cast<uint32_t>(colorCount) * 3));
    }
    ~Request() {
        DrawExportCellData(2, &record, 0, 0);
        oxlPtrGlobalFree(record.colorTable);
    }
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

    HostWord initialise() {
        HostWord block[5] = {1, 4711, 3, 4, 5};
        return DrawExportCellData(1, &record, reinterpret_cast<HostWord>(block), 0);
    }
    MemHandle rows() { return DrawExportCellData(3, &record, 0, record.destHeight); }
    Bytes table() const {
        return Bytes(record.colorTable,
                     record.colorTable + GlobalSize(GlobalHandle(record.colorTable)));
    }

    PictureInMemory source;
    CellDataRequest record = {};
};

DrawnPicture picture(uint16_t bits, uint16_t width, uint16_t height, const Bytes& pixels,
                     const Bytes& table = {}) {
    return {bits, width, height, pixels, table};
}

// 2 x 2 pixels at 24 bits: red and a blue that both survive 5 bits a channel.
DrawnPicture redAndBlue() {
    return picture(24, 2, 2, {255, 0, 0, 0, 0, 255, 0, 0, 0, 0, 255, 255, 0, 0, 0, 0});
}

TEST(CellScale, SizeIsDividedByTheResolution) {
    struct Case {
        int16_t resolution;
        double width;
        double height;
        uint32_t divisor;
    };
    for (const Case& c : {Case{96, 960.0 / 96, 480.0 / 96, 96},
                          {0, 960, 480, 0},
                          {-2, 960.0 / 4294967294.0, 480.0 / 4294967294.0, 0xFFFFFFFE}}) {
        CellPicture source = {};
        source.targetWidth = 960;
        source.targetHeight = 480;
        source.resolution = c.resolution;
        CellFormat format = {1, 2, 3, 9, 0};
        EXPECT_EQ(DrawExportCellData(0, &source, reinterpret_cast<HostWord>(&format), 0), 0u);
        EXPECT_EQ(format.width, c.width);
        EXPECT_EQ(format.height, c.height);
        EXPECT_EQ(format.resolution, c.divisor);
        EXPECT_EQ(format.swapRedBlue, 1);
    }
}

TEST(CellData, UnknownMessagesAndNullArgumentsDoNothing) {
    Request request(redAndBlue(), 2, 2, 8, 256);
    for (const int32_t message : {4, -1, 100})
        EXPECT_EQ(DrawExportCellData(message, &request.record, 0, 0), 0u);
    for (const int32_t message : {0, 1, 2, 3})
        EXPECT_EQ(DrawExportCellData(message, nullptr, 0, 0), 0u);
    EXPECT_EQ(DrawExportCellData(0, &request.source.picture, 0, 0), 0u);
    EXPECT_EQ(DrawExportCellData(1, &request.record, 0, 0), 0u);
    EXPECT_EQ(request.record.privateBlock, 0u);
    CellDataRequest none = {};
    HostWord block[5] = {};
    EXPECT_EQ(DrawExportCellData(1, &none, reinterpret_cast<HostWord>(block), 0), 0u);
    EXPECT_EQ(DrawExportCellData(3, &none, 0, 0), 0u);
}

TEST(CellData, RowsWithoutInitialisationAreThePicturesOwn) {
    Request request(redAndBlue(), 2, 2, 8, 256);
    EXPECT_EQ(request.rows(), request.source.pixels.handle);
}

TEST(CellTable, InitialisingAnswersTheSecondWordOfItsBlock) {
    Request request(redAndBlue(), 2, 2, 24, 0);
    EXPECT_EQ(request.initialise(), 4711u);
    EXPECT_EQ(GlobalSize(request.record.privateBlock), 2 * sizeof(MemHandle));
    EXPECT_EQ(DrawExportCellData(2, &request.record, 0, 0), 1u);
    request.record.privateBlock = 0;
    EXPECT_EQ(DrawExportCellData(2, &request.record, 0, 0), 1u);
}

TEST(CellTable, SameSizeAndDepthHandsOverThePictureItself) {
    for (const int bits : {1, 4, 8, 24}) {
        const auto drawn = support::drawPicture(Drawing::kNoise, bits, 5, 3, 1);
        Request request(drawn, 5, 3, static_cast<int16_t>(bits),
                        static_cast<int16_t>(bits > 8 ? 0 : 1 << bits));
        request.initialise();
        EXPECT_EQ(request.rows(), request.source.pixels.handle);
        EXPECT_EQ(request.table(), drawn.table);
    }
}

TEST(CellTable, EqualDepthsCopyTheWholeTableAndGrowTheRequests) {
    const auto drawn = support::drawPicture(Drawing::kNoise, 8, 2, 2, 7);
    struct Case {
        int16_t colorCount;
        bool grows;
    };
    for (const Case& c : {Case{1, true}, {16, true}, {255, true}, {256, false}, {300, false}}) {
        Request request(drawn, 2, 2, 8, c.colorCount);
        const uint8_t* before = request.record.colorTable;
        request.initialise();
        EXPECT_EQ(request.record.colorCount, 256);
        EXPECT_EQ(slice(request.table(), 0, 768), drawn.table);
        EXPECT_TRUE(c.grows || request.record.colorTable == before);
    }
}

TEST(CellTable, ShallowerPictureSetsItsOwnCountAndLeavesTheTail) {
    const auto drawn = support::drawPicture(Drawing::kNoise, 4, 2, 2, 7);
    Request request(drawn, 2, 2, 8, 256);
    request.initialise();
    EXPECT_EQ(request.record.colorCount, 16);
    EXPECT_EQ(request.table(), ByteList().add(drawn.table).repeat(768 - 48, 0).list);
}

TEST(CellTable, PictureOrRequestWithoutTableKeepsTheCount) {
    const DrawnPicture noTable = picture(8, 1, 1, {3, 0, 0, 0});
    Request black(noTable, 1, 1, 8, 256);
    black.initialise();
    EXPECT_EQ(black.record.colorCount, 256);
    EXPECT_EQ(black.table(), Bytes(768, 0));

    Request noRoom(support::drawPicture(Drawing::kNoise, 8, 1, 1, 7), 1, 1, 24, 0);
    noRoom.initialise();
    EXPECT_EQ(noRoom.record.colorCount, 0);
    EXPECT_EQ(noRoom.record.colorTable, nullptr);
}

TEST(CellTable, CountBelowOneTakesNoTable) {
    const auto drawn = support::drawPicture(Drawing::kNoise, 4, 1, 1, 7);
    for (const int16_t count : {int16_t{0}, int16_t{-1}}) {
        Request request(drawn, 1, 1, 4, 16);
        request.record.colorCount = count;
        request.initialise();
        EXPECT_EQ(request.record.colorCount, count);
        EXPECT_EQ(request.table(), Bytes(48, 0));
    }
}

TEST(CellTable, ShortPictureTableIsBlackFromItsEndOn) {
    Request request(picture(4, 1, 1, {0x10, 0, 0, 0}, {1, 2, 3, 4, 5}), 1, 1, 4, 16);
    request.initialise();
    EXPECT_EQ(request.table(), ByteList().add({1, 2, 3, 4, 5}).repeat(43, 0).list);
}

TEST(CellTable, RequestsTableShorterThanItsCountTakesWhatFits) {
    const Bytes colors = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16,
                          17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32,
                          33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43, 44, 45, 46, 47, 48};
    Request request(picture(4, 1, 1, {0, 0, 0, 0}, colors), 1, 1, 4, 2);
    request.record.colorCount = 256;
    EXPECT_EQ(request.initialise(), 4711u);
    EXPECT_EQ(request.record.colorCount, 16);
    EXPECT_EQ(request.table(), slice(colors, 0, 6));
}

TEST(CellTable, TrueColourAtEightBitsGetsItsColoursInCellOrder) {
    Request request(redAndBlue(), 2, 2, 8, 256);
    request.initialise();
    EXPECT_EQ(request.record.colorCount, 2);
    EXPECT_EQ(slice(request.table(), 0, 6), (Bytes{0, 0, 255, 255, 0, 0}));
    // Both table entries are exact, so the rows name them.
    EXPECT_EQ(support::blockContents(request.rows()), (Bytes{1, 0, 0, 0, 0, 1, 0, 0}));
}

TEST(CellTable, TrueColourAtEightBitsNeverPasses256Entries) {
    Request request(support::drawPicture(Drawing::kNoise, 24, 40, 40, 3), 40, 40, 8, 256);
    request.initialise();
    EXPECT_EQ(request.record.colorCount, 256);
    EXPECT_EQ(request.table().size(), 768u);
}

TEST(CellTable, FourBitsGetEightPictureColoursAndTheEightFixedOnes) {
    Request many(support::drawPicture(Drawing::kNoise, 24, 40, 40, 3), 40, 40, 4, 16);
    many.initialise();
    EXPECT_EQ(many.record.colorCount, 16);
    EXPECT_EQ(slice(many.table(), 24), kFixedColors);

    // Two colours of the picture: the fixed ones move down and the tail stays black.
    Request few(redAndBlue(), 2, 2, 4, 16);
    few.initialise();
    EXPECT_EQ(few.record.colorCount, 16);
    EXPECT_EQ(few.table(),
              ByteList().add({0, 0, 255, 255, 0, 0}).add(kFixedColors).repeat(18, 0).list);
}

TEST(CellTable, OneBitGetsEightGreysWhateverThePicture) {
    for (const int bits : {4, 8, 24}) {
        Request request(support::drawPicture(Drawing::kNoise, bits, 9, 9, 3), 9, 9, 1, 2);
        request.initialise();
        EXPECT_EQ(request.record.colorCount, 8);
        EXPECT_EQ(request.table(), kMonoTable);
    }
}

TEST(CellTable, OneBitRowsHoldBitZeroOfTheGreysIndex) {
    // Greys that the table has, where nothing is left to diffuse; the last column repeats the one
    // before it.
    const DrawnPicture greys =
        picture(24, 8, 1, {0,   0,   0,   255, 255, 255, 64,  64,  64,  128, 128, 128,
                           160, 160, 160, 192, 192, 192, 208, 208, 208, 224, 224, 224});
    Request request(greys, 8, 1, 1, 2);
    request.initialise();
    EXPECT_EQ(support::blockContents(request.rows()), (Bytes{0x54, 0, 0, 0}));
}

TEST(CellTable, NoMemoryForThePrivateBlockPushes303) {
    EMData device = {};
    for (EMData* current : {&device, static_cast<EMData*>(nullptr)}) {
        Request request(redAndBlue(), 2, 2, 8, 256);
        lpEMData = current;
        HostWord result = 99;
        {
            const FailingCall failing("calloc");
            result = request.initialise();
        }
        lpEMData = nullptr;
        EXPECT_EQ(result, 0u);
        EXPECT_EQ(request.record.privateBlock, 0u);
    }
    EXPECT_EQ(device.errors.firstRecord.code, 303);
    EXPECT_EQ(device.errors.lastCode, 303);
    EXPECT_EQ(device.errors.overflowCount, 1);
}

struct SizeCase {
    const char* what;
    DrawnPicture source;
    uint32_t width;
    uint32_t height;
    Bytes rows;
};

// Eight-bit pictures that keep their depth: the values move unchanged.
TEST(CellRows, SizesAreReachedByDroppingAndRepeating) {
    const SizeCase cases[] = {
        {"narrower: 0, 3 and the last",
         picture(8, 10, 1, {10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 0, 0}),
         3,
         1,
         {10, 13, 19, 0}},
        {"wider: from the right", picture(8, 3, 1, {1, 2, 3, 0}), 7, 1, {1, 1, 1, 2, 2, 3, 3, 0}},
        {"lower: rows 0 and 2",
         picture(8, 1, 4, {1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0}),
         1,
         2,
         {1, 0, 0, 0, 3, 0, 0, 0}},
        {"higher: from the bottom",
         picture(8, 1, 2, {1, 0, 0, 0, 2, 0, 0, 0}),
         1,
         3,
         {1, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0}},
        // Narrower makes rows of the target already; higher reads them as rows of the source again.
        {"narrower and higher: scaled twice",
         picture(8, 4, 1, {1, 2, 3, 4}),
         2,
         2,
         {1, 0, 0, 0, 1, 0, 0, 0}},
        // Lower and wider: first to 4 x 1 (rows [1 1 2 2]), then read as 2 x 2 again: row 0 of
        // those, [1 1], once more widened.
        {"lower and wider: scaled twice",
         picture(8, 2, 2, {1, 2, 0, 0, 3, 4, 0, 0}),
         4,
         1,
         {1, 1, 1, 1}},
    };
    for (const SizeCase& c : cases) {
        Request request(c.source, c.width, c.height, 8, 256);
        request.initialise();
        EXPECT_EQ(support::blockContents(request.rows()), c.rows) << c.what;
        EXPECT_EQ(support::blockContents(request.source.pixels.handle), c.source.pixels) << c.what;
    }
}

TEST(CellRows, AreMadeAfreshForEachRequest) {
    Request request(picture(8, 2, 1, {1, 2, 0, 0}), 4, 1, 8, 256);
    request.initialise();
    const MemHandle first = request.rows();
    EXPECT_EQ(support::blockContents(first), (Bytes{1, 1, 2, 2}));
    EXPECT_EQ(support::blockContents(request.rows()), (Bytes{1, 1, 2, 2}));
}

TEST(CellRows, DeeperTargetsTakeTheTablesColours) {
    Request request(picture(1, 3, 1, {0xA0, 0, 0, 0}, {1, 2, 3, 200, 0, 0}), 3, 1, 24, 0);
    request.initialise();
    EXPECT_EQ(support::blockContents(request.rows()),
              (Bytes{200, 0, 0, 1, 2, 3, 200, 0, 0, 0, 0, 0}));
}

TEST(CellRows, WithoutMemoryThePicturesOwnAreHandedOver) {
    Request request(picture(8, 2, 1, {1, 2, 0, 0}), 4, 1, 8, 256);
    request.initialise();
    const FailingCall failing("calloc");
    EXPECT_EQ(request.rows(), request.source.pixels.handle);
}

TEST(CellRows, SizesThatNoBlockHoldsHandOverThePicturesOwn) {
    Request request(picture(8, 2, 1, {1, 2, 0, 0}), 70000, 70000, 8, 256);
    request.initialise();
    EXPECT_EQ(request.rows(), request.source.pixels.handle);
}

TEST(CellRows, PictureWithoutPixelsHasNoRows) {
    for (const int16_t bits : {int16_t{1}, int16_t{4}, int16_t{8}, int16_t{24}}) {
        for (const uint32_t size : {1u, 2u, 5u}) {
            Request request(redAndBlue(), size, size, bits, 2);
            request.source.picture.pixels = 0;
            EXPECT_EQ(request.initialise(), 4711u);
            EXPECT_EQ(request.rows(), 0u);
        }
    }
}

// Every source and target depth and every kind of size against the plain model.
TEST(CellRows, AgreeWithTheModelForEveryDepthAndSize) {
    struct Size {
        uint32_t width;
        uint32_t height;
    };
    for (const int from : {1, 4, 8, 24, 32}) {
        for (const int to : {1, 4, 8, 24}) {
            for (const Drawing drawing : {Drawing::kNoise, Drawing::kFewColors, Drawing::kGreys}) {
                const auto drawn = support::drawPicture(drawing, from, 13, 7, 17);
                const model::Picture plain = support::modelPicture(drawn);
                for (const Size& size :
                     {Size{13, 7}, {5, 3}, {29, 12}, {6, 20}, {40, 2}, {13, 8}}) {
                    Request request(drawn, size.width, size.height, static_cast<int16_t>(to),
                                    static_cast<int16_t>(to > 8 ? 0 : 1 << to));
                    request.initialise();
                    const Bytes rows = support::blockContents(request.rows());
                    const model::CellTables tables = model::prepareTables(plain, to);
                    ASSERT_EQ(rows, model::prepareCells(plain, tables, size.width, size.height, to))
                        << from << " to " << to << ", " << size.width << " x " << size.height;
                    if (to > 8) continue;
                    ASSERT_EQ(request.table(), tables.palette) << from << " to " << to;
                    ASSERT_EQ(request.record.colorCount, tables.count) << from << " to " << to;
                }
            }
        }
    }
}

}  // namespace
