// The drawing primitive: an image begun, filled by cell arrays, ended and written.
#include <cstring>

#include "driver/operations.h"
#include "model/plain_model.h"
#include "support/body_host.h"
#include "support/drawn_picture.h"
#include "support/driver_host.h"
#include "support/failing_call.h"

namespace {

using support::Bytes;
using support::Drawing;
using support::DrawnPicture;
using support::DriverHost;
using support::FailingCall;
using support::ImageShape;

// A device in its body with a window x of 0 to x2.
struct ImageHost : support::BodyHost {
    explicit ImageHost(double x2 = 1e6, const model::Settings& wanted = {}, double scale = 0)
        : BodyHost({0, 0, 0, x2, 9, 0}, wanted, scale) {}
};

void expectNothingChanged(const EMData& before) {
    EXPECT_EQ(std::memcmp(lpEMData, &before, sizeof before), 0);
}

// ---- Beginning an image ------------------------------------------------------------------------

TEST(BeginImage, SetsTheImagesFieldsAndZeroedMemory) {
    ImageHost host;
    lpEMData->nextRow = 9;
    host.begin({101, 7, 8, -5});
    EXPECT_EQ(lpEMData->imagePending, 1);
    EXPECT_EQ(lpEMData->imageFlag, -5);
    EXPECT_EQ(lpEMData->imageWidth, 101);
    EXPECT_EQ(lpEMData->imageHeight, 7);
    EXPECT_EQ(lpEMData->bitsPerCell, 8);
    EXPECT_EQ(lpEMData->nextRow, 0);
    EXPECT_EQ(host.image(), Bytes(104 * 7, 0));
}

TEST(BeginImage, WidthIsTheWindowsAndAtMostTheHeaders) {
    struct Case {
        double x2;
        int32_t cells;
        int32_t width;
    };
    constexpr Case kCases[] = {{99, 80, 80}, {79, 80, 80}, {78, 80, 79}, {0, 80, 1}, {9, 0, 0}};
    for (const Case& given : kCases) {
        ImageHost host(given.x2);
        host.begin({given.cells, 2, 8});
        EXPECT_EQ(lpEMData->imageWidth, given.width) << given.x2;
    }
}

TEST(BeginImage, PrecisionsAbsoluteValueCounts) {
    constexpr int32_t kCases[][2] = {{-32768, 1}, {-8, 8}, {24, 24}, {-24, 24}, {1, 1}, {-1, 1}};
    for (const auto& [precision, bits] : kCases) {
        ImageHost host;
        host.begin({10, 2, precision});
        EXPECT_EQ(lpEMData->bitsPerCell, bits);
        EXPECT_EQ(host.image().size(), static_cast<size_t>((10 * bits + 31) / 32 * 4 * 2));
    }
}

TEST(BeginImage, HeaderLiesBehindThePoints) {
    for (const uint32_t points : {0u, 1u, 3u, 100u}) {
        ImageHost host;
        host.begin({12, 5, 4, 3}, points);
        EXPECT_EQ(lpEMData->imageWidth, 12) << points;
        EXPECT_EQ(lpEMData->imageHeight, 5) << points;
        EXPECT_EQ(lpEMData->imageFlag, 3) << points;
    }
}

#if UINTPTR_MAX == 0xFFFFFFFFu
TEST(BeginImage, MorePointsThanTheAddressesReachChangeNothing) {
    ImageHost host;
    const EMData before = *lpEMData;
    for (const uint32_t points : {0x05555555u, 0x0AAAAAABu, 0x80000000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(host.send(support::primitiveBlock(-5).put(20, points)), 0);
        expectNothingChanged(before);
    }
}
#endif

TEST(BeginImage, MemoryThatCannotBeHadIsFoundByTheCellArray) {
    constexpr ImageShape kHuge[] = {
        {65536, 65536, 8}, {10, -1, 8}, {10, INT32_MIN, 24}, {1, 1, INT32_MIN}, {4, 1, INT32_MAX}};
    for (const ImageShape& shape : kHuge) {
        ImageHost host;
        host.begin(shape);
        EXPECT_EQ(lpEMData->imagePending, 1);
        EXPECT_EQ(lpEMData->imageMemory, 0u);
        EXPECT_EQ(host.send(support::cellArrayBlock({1, 1, 8}, {1, 2, 3, 4})), 300);
        EXPECT_EQ(host.send(support::endImageBlock()), 0);
    }
}

TEST(BeginImage, NegativeNumberOfCellsIsLessThanTheWindowsAndHasNoMemory) {
    for (const int32_t precision : {1, 8}) {
        ImageHost host;
        host.begin({-1, 1, precision});
        EXPECT_EQ(lpEMData->imageWidth, -1);
        EXPECT_EQ(lpEMData->imageMemory, 0u);
        EXPECT_EQ(host.send(support::cellArrayBlock({1, 1, 8}, {1, 2, 3, 4})), 300);
    }
}

TEST(BeginImage, SecondBeginReplacesTheFirst) {
    ImageHost host;
    host.begin({4, 4, 8});
    host.send(support::cellArrayBlock({4, 2, 8}, Bytes(8, 9)));
    host.begin({8, 2, 8});
    EXPECT_EQ(lpEMData->nextRow, 0);
    EXPECT_EQ(host.image(), Bytes(16, 0));
}

TEST(BeginImage, OutlivesACloseAndEndsWithTheDeviceState) {
    ImageHost host;
    host.begin({4, 4, 8});
    host.closeAndTakeFile();
    EXPECT_EQ(lpEMData->imagePending, 1);
    EXPECT_NE(lpEMData->imageMemory, 0u);
}

// ---- Other identifiers -------------------------------------------------------------------------

TEST(Primitive, OtherIdentifiersChangeNothingAndPushNothing) {
    ImageHost host;
    const EMData before = *lpEMData;
    for (const int32_t id : {-3, -1, -2, -4, -7, 0, 5, 6, 1034, INT32_MIN, INT32_MAX}) {
        EXPECT_EQ(host.send(support::primitiveBlock(id)), 0) << id;
        expectNothingChanged(before);
    }
    EXPECT_EQ(host.closeAndTakeFile(), Bytes{});
}

TEST(Primitive, HandlerReturnsItsBlock) {
    const ImageHost host;
    auto block = support::primitiveBlock(-3);
    EXPECT_EQ(tivar::d_gdp(block.data()), block.data());
    EXPECT_EQ(tivar::d_gdp(nullptr), nullptr);
}

// ---- Ending an image ---------------------------------------------------------------------------

int32_t resolutionOfScale(double scale) {
    return scale == 0 ? 0 : static_cast<int32_t>(25.4 / scale + 0.5);
}

// Sends the picture in arrays of a few rows.
void sendRows(DriverHost& host, const DrawnPicture& drawn) {
    const size_t rowBytes = drawn.pixels.size() / drawn.height;
    for (uint32_t row = 0; row < drawn.height; row += 4) {
        const uint32_t rows = std::min<uint32_t>(4, drawn.height - row);
        const auto first = drawn.pixels.begin() + static_cast<ptrdiff_t>(row * rowBytes);
        const Bytes data(first, first + static_cast<ptrdiff_t>(rows * rowBytes));
        EXPECT_EQ(host.send(support::cellArrayBlock({drawn.width, rows, drawn.bits}, data)), 0);
    }
}

Bytes imageFile(const model::Settings& settings, const DrawnPicture& drawn, double scale) {
    ImageHost host(1e6, settings, scale);
    if (!drawn.table.empty()) host.send(support::colorsBlock(0, drawn.table));
    host.begin({drawn.width, drawn.height, drawn.bits});
    sendRows(host, drawn);
    EXPECT_EQ(host.send(support::endImageBlock()), 0);
    EXPECT_EQ(lpEMData->imagePending, 0);
    EXPECT_EQ(lpEMData->imageMemory, 0u);
    return host.closeAndTakeFile();
}

model::Picture pictureOf(uint32_t width, uint32_t height, int bits, const Bytes& pixels,
                         const Bytes& table) {
    model::Picture picture;
    picture.bitmap = {width, height, bits, pixels};
    picture.table = table;
    picture.hasTable = !table.empty();
    return picture;
}

Bytes expectedFile(const model::Settings& settings, const DrawnPicture& drawn, int resolution) {
    const model::Picture picture =
        pictureOf(drawn.width, drawn.height, drawn.bits, drawn.pixels, drawn.table);
    return model::exportPicture(picture, {0, resolution, drawn.width, drawn.height, 0, 0},
                                settings);
}

TEST(EndImage, WritesThePictureThatTheOutputLoopMakesOfIt) {
    for (const int bits : {1, 4, 8, 24}) {
        for (const int format : {215, 219, 221, 222}) {
            for (const double scale : {0.0, 0.254, 0.1, 0.01}) {
                SCOPED_TRACE(testing::Message()
                             << bits << " bits to format " << format << ", scale " << scale);
                model::Settings settings;
                settings.colorFormat = format;
                settings.pictureWidth = 0.4;
                settings.pictureHeight = 0.3;
                const DrawnPicture drawn =
                    support::drawPicture(Drawing::kGradient, bits, 21, 17, 3);
                EXPECT_TRUE(imageFile(settings, drawn, scale) ==
                            expectedFile(settings, drawn, resolutionOfScale(scale)));
            }
        }
    }
}

TEST(EndImage, SettingsOfSizeEncodingAndFlavourApply) {
    for (const int resolutionMode : {309, 310}) {
        for (const int fileType : {331, 332}) {
            for (const int compression : {228, 310}) {
                model::Settings settings;
                settings.resolutionMode = resolutionMode;
                settings.fileType = fileType;
                settings.compressionMode = compression;
                const DrawnPicture drawn = support::drawPicture(Drawing::kRuns, 8, 40, 20, 8);
                EXPECT_TRUE(imageFile(settings, drawn, 0.254) ==
                            expectedFile(settings, drawn, 100));
            }
        }
    }
}

TEST(EndImage, RowsThatNoArrayFilledAreBlack) {
    ImageHost host(1e6, {}, 0.254);
    host.send(support::colorsBlock(0, support::drawPicture(Drawing::kNoise, 8, 1, 1, 5).table));
    host.begin({4, 6, 8});
    host.send(support::cellArrayBlock({4, 2, 8}, Bytes(8, 9)));
    host.send(support::endImageBlock());
    DrawnPicture drawn = support::drawPicture(Drawing::kNoise, 8, 1, 1, 5);
    drawn.width = 4;
    drawn.height = 6;
    drawn.pixels.assign(24, 0);
    std::fill_n(drawn.pixels.begin(), 8, uint8_t{9});
    EXPECT_TRUE(host.closeAndTakeFile() == expectedFile({}, drawn, 100));
}

TEST(EndImage, OneBitImageTakesTwoColours) {
    model::Settings settings;
    settings.colorFormat = 215;
    ImageHost host(1e6, settings, 0.254);
    host.send(support::colorsBlock(0, {1, 2, 3, 4, 5, 6, 7, 8, 9}));
    host.begin({8, 2, 1});
    host.send(support::endImageBlock());
    const Bytes file = host.closeAndTakeFile();
    ASSERT_GE(file.size(), 62u);
    EXPECT_EQ(Bytes(file.begin() + 54, file.begin() + 62), (Bytes{3, 2, 1, 0, 6, 5, 4, 0}));
}

// Bytes of the heap that a block of the size takes.
size_t allocationOf(uint32_t size) {
    GlobalFree(GlobalAlloc(66, size));
    return support::lastAllocation;
}

TEST(EndImage, PaletteHasTheColoursOfItsDepthAndNoMore) {
    for (const int bits : {1, 2, 4, 8}) {
        ImageHost host;
        host.begin({8, 2, bits});
        size_t palette = 0;
        {
            // The first thing that the end asks for.
            const FailingCall first("calloc", 1, [&] { palette = support::lastAllocation; });
            host.send(support::endImageBlock());
        }
        EXPECT_EQ(palette, allocationOf(3u << bits)) << bits;
    }
}

TEST(EndImage, OneBitImageCopiesSixBytes) {
    ImageHost host;
    host.send(support::colorsBlock(0, {1, 2, 3, 4, 5, 6, 7, 8, 9}));
    host.begin({8, 2, 1});
    // What the palette's block holds, slack included, when the next one is asked for.
    Bytes palette(8, 99);
    {
        const FailingCall second("calloc", 2, [&] {
            const auto block = reinterpret_cast<MemHandle>(support::lastZeroed);
            std::memcpy(palette.data(), GlobalLock(block), palette.size());
        });
        host.send(support::endImageBlock());
    }
    EXPECT_EQ(palette, (Bytes{1, 2, 3, 4, 5, 6, 0, 0}));
}

TEST(EndImage, FreesItsImageAndItsPalette) {
    for (const int bits : {1, 4, 8, 24}) {
        ImageHost host;
        const long blocks = support::liveBlocks;
        host.begin({8, 2, bits});
        host.send(support::endImageBlock());
        EXPECT_EQ(support::liveBlocks, blocks) << bits;
    }
}

TEST(EndImage, TrueColourImageTakesNoPaletteFromTheDevice) {
    // 8-bit output of a 24-bit image has a reduced table, whatever the device's colours are.
    const DrawnPicture drawn = support::drawPicture(Drawing::kFewColors, 24, 12, 10, 2);
    ImageHost host(1e6, {}, 0.254);
    host.send(support::colorsBlock(0, Bytes(768, 77)));
    host.begin({12, 10, 24});
    sendRows(host, drawn);
    host.send(support::endImageBlock());
    EXPECT_TRUE(host.closeAndTakeFile() == expectedFile({}, drawn, 100));
}

TEST(EndImage, ColourModesReachTheImageThroughTheArraysAndTheTable) {
    for (int32_t mode = 104; mode <= 107; ++mode) {
        for (const int bits : {8, 24}) {
            DrawnPicture drawn = support::drawPicture(Drawing::kNoise, bits, 9, 6, 4);
            model::Settings settings;
            settings.colorFormat = 222;
            DriverHost host(settings);
            host.settings->colorMode = mode;
            host.enterBody(
                {support::windowBlock({0, 0, 0, 99, 9, 0}), support::scaleBlock(1, 0.254)});
            host.send(support::colorsBlock(0, drawn.table));
            host.send(support::beginImageBlock({9, 6, bits}));
            sendRows(host, drawn);
            host.send(support::endImageBlock());
            model::revRgb(drawn.table, static_cast<int>(drawn.table.size() / 3), mode - 103);
            const size_t rowBytes = drawn.pixels.size() / 6;
            for (size_t row = 0; row < 6 && bits == 24; ++row) {
                const auto first = drawn.pixels.begin() + static_cast<ptrdiff_t>(row * rowBytes);
                Bytes cells(first, first + 27);
                model::revRgb(cells, 9, mode - 103);
                std::copy(cells.begin(), cells.end(), first);
            }
            EXPECT_TRUE(host.closeAndTakeFile() == expectedFile(settings, drawn, 100)) << mode;
        }
    }
}

TEST(EndImage, ViewportResolutionIsKeptTo16Bits) {
    const DrawnPicture drawn = support::drawPicture(Drawing::kGradient, 8, 20, 10, 6);
    constexpr int32_t kCases[][2] = {{70000, 4464}, {65536, 0}, {-50, -50}, {32768, -32768}};
    for (const auto& [resolution, kept] : kCases) {
        model::Settings settings;
        settings.pictureWidth = 0.4;
        settings.pictureHeight = 0.3;
        ImageHost host(1e6, settings);
        host.send(support::colorsBlock(0, drawn.table));
        lpEMData->viewportResolution = resolution;
        host.begin({20, 10, 8});
        sendRows(host, drawn);
        host.send(support::endImageBlock());
        EXPECT_TRUE(host.closeAndTakeFile() == expectedFile(settings, drawn, kept)) << resolution;
    }
}

TEST(EndImage, WidthOfTheSourceIsKeptTo16BitsAndTheTargetsIsNot) {
    ImageHost host(1e6, {}, 0.254);
    host.begin({65536 + 40, 2, 1});
    host.send(support::endImageBlock());
    const model::Picture picture = pictureOf(40, 2, 1, Bytes(size_t{8200} * 2, 0), Bytes(6, 0));
    EXPECT_TRUE(host.closeAndTakeFile() ==
                model::exportPicture(picture, {0, 100, 65536 + 40, 2, 0, 0}, {}));
}

TEST(EndImage, BitsAreKeptTo16BitsAndThePaletteGoesByAllOfThem) {
    // 65540 bits are written as 4, without a palette.
    ImageHost host(1e6, {}, 0.254);
    host.send(support::colorsBlock(0, Bytes(768, 77)));
    host.begin({4, 2, 65540});
    host.send(support::endImageBlock());
    const model::Picture picture = pictureOf(4, 2, 4, Bytes(size_t{32772} * 2, 0), {});
    EXPECT_TRUE(host.closeAndTakeFile() == model::exportPicture(picture, {0, 100, 4, 2, 0, 0}, {}));
}

TEST(EndImage, ImagesFollowOneAnother) {
    const DrawnPicture drawn = support::drawPicture(Drawing::kNoise, 24, 6, 4, 7);
    model::Settings settings;
    settings.colorFormat = 222;
    ImageHost host(1e6, settings, 0.254);
    for (int i = 0; i < 2; ++i) {
        host.begin({6, 4, 24});
        sendRows(host, drawn);
        host.send(support::endImageBlock());
    }
    Bytes expected = expectedFile(settings, drawn, 100);
    const Bytes once = expected;
    expected.insert(expected.end(), once.begin(), once.end());
    EXPECT_TRUE(host.closeAndTakeFile() == expected);
}

TEST(EndImage, EndWithoutABeginLeavesNoImageBehind) {
    ImageHost host;
    EXPECT_EQ(host.send(support::endImageBlock()), 0);
    EXPECT_EQ(lpEMData->imagePending, 0);
    EXPECT_EQ(lpEMData->imageMemory, 0u);
}

TEST(EndImage, WritesWithTheDevicesSettings) {
    const DrawnPicture drawn = support::drawPicture(Drawing::kNoise, 8, 6, 4, 7);
    model::Settings settings;
    settings.fileType = 332;
    ImageHost host(1e6, settings, 0.254);
    host.send(support::colorsBlock(0, drawn.table));
    host.begin({6, 4, 8});
    sendRows(host, drawn);
    const support::CurrentSettings other;
    host.send(support::endImageBlock());
    EXPECT_EQ(lpRaster, host.settings.record);
    EXPECT_TRUE(host.closeAndTakeFile() == expectedFile(settings, drawn, 100));
}

TEST(EndImage, ProgressGoesToTheStatusBlockOfTheSettingsAndACancelEndsQuietly) {
    const DrawnPicture drawn = support::drawPicture(Drawing::kNoise, 8, 6, 4, 7);
    for (const bool cancel : {false, true}) {
        ImageHost host(1e6, {}, 0.254);
        support::StatusHook status;
        host.settings->exportParams = status.words;
        host.begin({6, 4, 8});
        sendRows(host, drawn);
        if (cancel) status.cancelFrom = 0;
        host.hook.calls.clear();
        EXPECT_EQ(host.send(support::endImageBlock()), 0) << "no error is pushed";
        EXPECT_EQ(status.calls[0], support::progressCall(100));
        EXPECT_EQ(status.calls.size(), cancel ? 2u : 1u);
        EXPECT_TRUE(host.hook.calls.empty());
        EXPECT_EQ(lpEMData->imageMemory, 0u);
        EXPECT_NE(host.closeAndTakeFile(), Bytes{});
    }
}

TEST(EndImage, PaletteThatCannotBeHadPushes300AndWritesNothing) {
    ImageHost host;
    host.begin({4, 4, 8});
    testing::internal::CaptureStdout();
    {
        const FailingCall failing("calloc");
        EXPECT_EQ(host.send(support::endImageBlock()), 300);
    }
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(lpEMData->imagePending, 0);
    // What the image held does not leak into, or out of, the arrays that follow.
    EXPECT_EQ(host.send(support::cellArrayBlock({4, 1, 8}, {1, 2, 3, 4})), 0);
    EXPECT_EQ(host.closeAndTakeFile(), model::writeBmp({}, 4, 1, 8, {}, {1, 2, 3, 4}, false));
}

TEST(EndImage, WhicheverAllocationFailsNothingLeaks) {
    const DrawnPicture drawn = support::drawPicture(Drawing::kGradient, 24, 12, 10, 7);
    bool pushed303 = false;
    for (int nth = 1; nth <= 20; ++nth) {
        model::Settings settings;
        settings.colorFormat = 219;
        ImageHost host(1e6, settings, 0.254);
        host.begin({12, 10, 24});
        sendRows(host, drawn);
        testing::internal::CaptureStdout();
        int32_t result = 0;
        {
            const FailingCall failing("calloc", nth);
            result = host.send(support::endImageBlock());
        }
        testing::internal::GetCapturedStdout();
        EXPECT_TRUE(result == 0 || result == 303) << nth;
        pushed303 = pushed303 || result == 303;
        EXPECT_EQ(lpEMData->imageMemory, 0u);
    }
    EXPECT_TRUE(pushed303) << "the drawing call-back's own memory is among them";
}

// ---- Hostile headers ---------------------------------------------------------------------------

TEST(Primitive, HostileHeadersDoNoHarm) {
    constexpr int32_t kNumbers[] = {0, 1, 3, -1, 65537, INT32_MAX, INT32_MIN};
    constexpr int32_t kPrecisions[] = {0, 1, 2, 7, 16, 23, 32, -1, 65535, 1000003, INT32_MIN};
    for (const int32_t cells : kNumbers) {
        for (const int32_t rows : kNumbers) {
            for (const int32_t precision : kPrecisions) {
                SCOPED_TRACE(testing::Message()
                             << cells << " x " << rows << ", precision " << precision);
                model::Settings settings;
                settings.pictureWidth = 0.2;
                settings.pictureHeight = 0.2;
                // A narrow window keeps what can be had small.
                ImageHost host(30, settings);
                host.begin({cells, rows, precision});
                if (lpEMData->imageMemory != 0 && GlobalSize(lpEMData->imageMemory) > 100000)
                    continue;
                host.send(support::cellArrayBlock({2, 1, 8}, {1, 2, 3, 4}));
                host.send(support::cellArrayBlock({2, 1, 24, 3, 1}, Bytes(8, 1)));
                host.send(support::endImageBlock());
                EXPECT_EQ(lpEMData->imageMemory, 0u);
            }
        }
    }
}

}  // namespace
