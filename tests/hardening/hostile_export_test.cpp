#include <cstring>

#include "hardening/hostile.h"
#include "support/export_host.h"
#include "support/memory_stream.h"

namespace {

using namespace hardening;
using support::CurrentSettings;
using support::Drawing;
using support::drawPicture;
using support::Export;
using support::MemoryStream;

model::Description sized(int width, int height) {
    model::Description description;
    description.resolution = 96;
    description.width = width;
    description.height = height;
    return description;
}

TEST(HostileArguments, ExportCellData) {
    Export host({}, drawPicture(Drawing::kNoise, 8, 4, 2, 1), sized(4, 2));
    CellPicture* picture = &host.source.picture;
    EXPECT_EQ(ExportCellData("", nullptr, &host.description, host.parameters), 303);
    EXPECT_EQ(ExportCellData("", picture, nullptr, host.parameters), 303);
    EXPECT_EQ(ExportCellData("", picture, &host.description, nullptr), 303);
    EXPECT_EQ(ExportCellData(nullptr, picture, &host.description, host.parameters), 303);
    HostWord without[7] = {};
    EXPECT_EQ(ExportCellData("", picture, &host.description, without), 303);
    without[EXPORT_SETUP] = host.settings.handle;
    EXPECT_EQ(ExportCellData("", picture, &host.description, without), 303) << "no status block";
    EXPECT_EQ(host.status[STATUS_MEMORY], 0u);
    for (const int depth : kStrangeDepths) {
        picture->bits = static_cast<uint16_t>(depth);
        EXPECT_EQ(host.run(""), 0) << depth;
        GlobalFree(host.status[STATUS_MEMORY]);
        host.status[STATUS_MEMORY] = 0;
    }
    // Sides that no block has, at every depth; without pixels or a table; wild targets.
    for (const uint16_t bits : {uint16_t{1}, uint16_t{4}, uint16_t{8}, uint16_t{24}}) {
        for (const MemHandle pixels : {picture->pixels, MemHandle{0}}) {
            for (const int32_t side : {0, -1, 1, 3, INT32_MIN}) {
                CellPicture wild = *picture;
                wild.bits = bits;
                wild.width = wild.height = 65535;
                wild.pixels = pixels;
                wild.colorTable = 0;
                host.description.width = side;
                host.description.height = side;
                EXPECT_EQ(ExportCellData("", &wild, &host.description, host.parameters), 0);
                GlobalFree(host.status[STATUS_MEMORY]);
                host.status[STATUS_MEMORY] = 0;
            }
        }
    }
}

TEST(HostileArguments, OutputPicture) {
    CurrentSettings settings;
    MemoryStream stream;
    support::PictureInMemory source(drawPicture(Drawing::kNoise, 8, 4, 2, 1));
    EXPECT_EQ(OutputPicture(0, &source.picture, DrawExportCellData), 27);
    EXPECT_EQ(OutputPicture(stream.stream, &source.picture, nullptr), 27);
    EXPECT_EQ(OutputPicture(stream.stream, nullptr, DrawExportCellData), 27);
    forgetCurrentRecord();
    EXPECT_EQ(OutputPicture(stream.stream, &source.picture, DrawExportCellData), 27);
    EXPECT_EQ(stream.finish(), Bytes());
}

TEST(HostileArguments, UpdateStatus) {
    CurrentSettings settings;
    HostWord status[13] = {};
    settings->exportParams = status;
    for (const int32_t percent : kNumbers) EXPECT_EQ(UpdateStatus(percent), 0);
    settings->exportParams = nullptr;
    EXPECT_EQ(UpdateStatus(INT32_MIN), 0);
    forgetCurrentRecord();
    EXPECT_EQ(UpdateStatus(50), 0);
}

TEST(HostileArguments, DrawExportCellData) {
    CellDataRequest request = {};
    HostWord block[5] = {9, 8, 7, 6, 5};
    const auto five = reinterpret_cast<HostWord>(block);
    for (const int32_t message : {0, 1, 2, 3, 4, -1, INT32_MAX, INT32_MIN})
        EXPECT_EQ(DrawExportCellData(message, nullptr, five, five), 0u);
    CellPicture picture = {};
    EXPECT_EQ(DrawExportCellData(DRAW_QUERY, &picture, 0, 0), 0u);
    for (const int32_t message : {1, 3, 4, -1}) {
        EXPECT_EQ(DrawExportCellData(message, &request, 0, 0), 0u);
        EXPECT_EQ(DrawExportCellData(message, &request, five, 0), 0u);
    }
    EXPECT_EQ(DrawExportCellData(DRAW_TERMINATE, &request, 0, 0), 1u);
    EXPECT_EQ(DrawExportCellData(DRAW_TERMINATE, &request, 0, 0), 1u);
    // A request of sizes and depths that nothing has.
    support::PictureInMemory source(drawPicture(Drawing::kNoise, 8, 4, 2, 1));
    for (const int16_t depth : kStrangeDepths) {
        for (const uint32_t side : {0u, 1u, kHuge}) {
            CellDataRequest wild = {};
            wild.picture = &source.picture;
            wild.destBits = depth;
            wild.destWidth = wild.destHeight = side;
            wild.colorCount = -1;
            DrawExportCellData(DRAW_INITIALISE, &wild, five, 0);
            DrawExportCellData(DRAW_ROWS, &wild, 0, 0);
            EXPECT_EQ(DrawExportCellData(DRAW_TERMINATE, &wild, 0, 0), 1u);
            oxlPtrGlobalFree(wild.colorTable);
        }
    }
}

TEST(HostileArguments, QueryCellFormat) {
    double width = 5;
    double height = 6;
    uint16_t bits = 7;
    uint16_t planes = 8;
    uint32_t resolution = 9;
    forgetCurrentRecord();
    QueryCellFormat(&width, &height, &bits, &resolution, &planes, 0);
    CurrentSettings settings;
    QueryCellFormat(nullptr, &height, &bits, &resolution, &planes, 0);
    QueryCellFormat(&width, nullptr, &bits, &resolution, &planes, 0);
    EXPECT_EQ(width, 5);
    EXPECT_EQ(height, 6);
    QueryCellFormat(&width, &height, nullptr, &resolution, &planes, 0);
    for (const double number : kStrangeDoubles) {
        for (const uint32_t offered : {0u, 1u, kHuge}) {
            width = height = number;
            resolution = offered;
            QueryCellFormat(&width, &height, &bits, &resolution, &planes, 0);
            EXPECT_EQ(bits, 8);
        }
    }
    QueryCellFormat(&width, &height, &bits, nullptr, nullptr, 0);
}

TEST(HostileArguments, RasterAdjustAspect) {
    double out[2] = {5, 6};
    forgetCurrentRecord();
    EXPECT_EQ(RasterAdjustAspect(out, 1, 1), -1);
    EXPECT_EQ(out[0], 5);
    CurrentSettings settings;
    EXPECT_EQ(RasterAdjustAspect(nullptr, 1, 1), -1);
    for (const double width : kStrangeDoubles)
        for (const double height : kStrangeDoubles)
            EXPECT_EQ(RasterAdjustAspect(out, width, height), 0);
}

HostWord refuse(int32_t, void*, HostWord, HostWord) {
    return 0;
}

TEST(HostileArguments, QueryPlatformOffscreen) {
    CellFormat format = {1, 2, 3, 4, 0};
    CellPicture picture = {};
    QueryPlatformOffscreen(&format, &picture, nullptr);
    QueryPlatformOffscreen(nullptr, nullptr, nullptr);
    QueryPlatformOffscreen(&format, nullptr, DrawExportCellData);
    QueryPlatformOffscreen(nullptr, &picture, DrawExportCellData);
    EXPECT_EQ(format.width, 1);
}

TEST(HostileArguments, InitPlatformOffscreen) {
    EXPECT_EQ(InitPlatformOffscreen(1, nullptr, 8, 0, nullptr, nullptr, refuse, nullptr), nullptr);
    for (const DrawProc draw : {static_cast<DrawProc>(nullptr), DrawProc{refuse}}) {
        uint32_t rows = kHuge;
        CellDataRequest* offscreen = InitPlatformOffscreen(kHuge, &rows, INT32_MIN, INT16_MIN,
                                                           nullptr, nullptr, draw, nullptr);
        ASSERT_NE(offscreen, nullptr);
        EXPECT_EQ(rows, 0u);
        TermPlatformOffscreen(offscreen);
    }
}

TEST(HostileArguments, DrawPlatformOffscreen) {
    EXPECT_EQ(DrawPlatformOffscreen(nullptr, 0, 1), 0u);
    CellDataRequest request = {};
    for (const int32_t first : kNumbers)
        for (const int32_t last : kNumbers)
            EXPECT_EQ(DrawPlatformOffscreen(&request, first, last), 0u);
}

TEST(HostileArguments, TermPlatformOffscreen) {
    TermPlatformOffscreen(nullptr);
}

TEST(HostileArguments, BeginCellBitmap) {
    CurrentSettings settings;
    MemoryStream stream;
    const Bytes palette(768, 7);
    MemHandle state = 5;
    EXPECT_EQ(BeginCellBitmap(0, 1, 1, 8, palette.data(), &state), 0);
    EXPECT_EQ(BeginCellBitmap(stream.stream, 1, 1, 8, palette.data(), nullptr), 0);
    EXPECT_EQ(state, 5u);
    for (const uint32_t depth : {30u, 31u, 32u, 33u, 256u, kHuge, 1u << 31}) {
        EXPECT_EQ(BeginCellBitmap(stream.stream, 1, 1, depth, palette.data(), &state), 0) << depth;
        EndCellBitmap(stream.stream, state);
    }
    EXPECT_EQ(BeginCellBitmap(stream.stream, 1, 1, 8, nullptr, &state), 0);
    EndCellBitmap(stream.stream, state);
    forgetCurrentRecord();
    EXPECT_EQ(BeginCellBitmap(stream.stream, 1, 1, 8, palette.data(), &state), 0);
    EXPECT_EQ(stream.finish(), Bytes());
}

TEST(HostileArguments, WriteCellBits) {
    CurrentSettings settings;
    MemoryStream stream;
    const Block bits(someRows(4, 2));
    const Block state(Bytes(8, 0));
    EXPECT_EQ(WriteCellBits(stream.stream, bits.handle, 4, 2, 8, 1, 0), -1);
    EXPECT_EQ(WriteCellBits(stream.stream, 0, 4, 2, 8, 1, state.handle), 0);
    // Rows that the block lacks.
    for (const uint32_t rows : {3u, 65536u, kHuge}) {
        EXPECT_EQ(WriteCellBits(stream.stream, bits.handle, 4, rows, 8, 1, state.handle), -1);
        EXPECT_EQ(WriteCellBits(stream.stream, bits.handle, kHuge, rows, 32, 1, state.handle), -1);
        EXPECT_EQ(WriteCellBits(0, bits.handle, 4, rows, 8, 1, state.handle), -1);
    }
    // The two rows that there are, in each of the three rounds on the stream.
    EXPECT_TRUE(sameBytes(stream.finish(), support::repeated(someRows(4, 2), 3)));
}

TEST(HostileArguments, EndCellBitmap) {
    EXPECT_EQ(EndCellBitmap(0, 0), 0);
    MemoryStream stream;
    EXPECT_EQ(EndCellBitmap(stream.stream, 0), 0);
    EXPECT_EQ(EndCellBitmap(0, support::newBlock(Bytes(8, 1))), 0);
    EXPECT_EQ(stream.finish(), Bytes());
}

TEST(HostileArguments, RLEWrite) {
    CurrentSettings settings;
    MemoryStream stream;
    const Bytes rows(16, 5);
    uint32_t size = 7;
    EXPECT_EQ(RLEWrite(stream.stream, rows.data(), 1, 8, 8, &size, 1), 303) << "no work buffer";
    const Block work(Bytes(16, 0));
    settings->hRLEBuffer = work.handle;
    settings->lpRLEBuffer = static_cast<uint8_t*>(GlobalLock(work.handle));
    for (const uint32_t length : {9u, 65536u, kHuge / 2 + 1, kHuge})
        EXPECT_EQ(RLEWrite(stream.stream, rows.data(), 1, length, 8, &size, 1), 303) << length;
    EXPECT_EQ(RLEWrite(0, rows.data(), 1, 8, 8, &size, 1), 303);
    EXPECT_EQ(RLEWrite(stream.stream, nullptr, 1, 8, 8, &size, 1), 303);
    EXPECT_EQ(RLEWrite(stream.stream, rows.data(), 0, 8, 8, &size, kHuge), 0);
    settings->lpRLEBuffer = nullptr;
    forgetCurrentRecord();
    EXPECT_EQ(RLEWrite(stream.stream, rows.data(), 1, 8, 8, &size, 1), 303);
    EXPECT_EQ(stream.finish(), Bytes());
}

using EncodeRow = void (*)(uint32_t, uint32_t*, const uint8_t*, uint8_t*);

void expectEncoderSurvives(EncodeRow encode) {
    uint8_t byte = 5;
    uint32_t length = 7;
    encode(0, &length, &byte, &byte);
    EXPECT_EQ(length, 0u);
    encode(1, nullptr, &byte, &byte);
    encode(1, &length, nullptr, &byte);
    encode(1, &length, &byte, nullptr);
    EXPECT_EQ(byte, 5);
    EXPECT_EQ(length, 0u);
}

TEST(HostileArguments, EncodeRLE8Row) {
    expectEncoderSurvives(EncodeRLE8Row);
}

TEST(HostileArguments, EncodeRLE4Row) {
    expectEncoderSurvives(EncodeRLE4Row);
}

}  // namespace
