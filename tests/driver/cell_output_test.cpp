// Writing a stand-alone cell array, held against the plain model step by step: negotiation,
// scaling, conversion, the file and the progress that the host sees.
#include <algorithm>

#include "model/plain_model.h"
#include "support/drawn_picture.h"
#include "support/driver_host.h"
#include "support/failing_call.h"

namespace {

using support::Block;
using support::Bytes;
using support::Drawing;
using support::DrawnPicture;
using support::DriverHost;

using Calls = std::vector<support::StatusCall>;

struct Target {
    int32_t windowWidth = 0;  // of the device window, in cells
    int32_t windowHeight = 0;
    uint32_t resolution = 0;  // 0 = none
};

struct Output {
    Bytes file;
    std::vector<int32_t> progress;
};

// The picture on its way, as the plain model sees it.
struct Way {
    model::Bitmap image;
    int model = 0;
    Bytes colors;
    bool hasColors = true;
    std::vector<int32_t> progress;

    void step() { progress.push_back((progress.empty() ? 0 : progress.back()) + 20); }
};

// Four-byte cells become three-byte ones at the front of their block; the rest of it stays. Cells
// outside the block read as zero.
void convertModel(Way& way, uint32_t cells) {
    const Bytes packed = way.model == 2 ? model::cmykToRgb(way.image.data, cells)
                                        : model::alphaToRgb(way.image.data, cells);
    const size_t inside = std::min(packed.size(), way.image.data.size());
    std::copy_n(packed.begin(), inside, way.image.data.begin());
    way.image.bits = 24;
    way.model = 1;
}

void convertDepth(Way& way, uint32_t width, uint32_t height, int outputBits, const Bytes& colors) {
    const model::Bitmap asTarget{width, height, way.image.bits, way.image.data};
    const model::Resolved resolved =
        model::changeColorResolution(asTarget, outputBits, way.hasColors ? &way.colors : nullptr);
    way.image = resolved.bitmap;
    way.colors = resolved.hasTable ? resolved.table : colors;
    way.model = outputBits > 23 ? 1 : 0;
    way.step();
}

Output expectedOutput(model::Settings settings, const model::Bitmap& source, int colorModel,
                      const Bytes& colors, const Target& target) {
    const double divisor = target.resolution == 0 ? 1.0 : target.resolution;
    model::CellFormat format{target.resolution == 0 ? source.width : target.windowWidth / divisor,
                             target.resolution == 0 ? source.height : target.windowHeight / divisor,
                             target.resolution, 0};
    const int outputBits = model::negotiate(settings, format, source.bits);
    const uint32_t width = target.resolution == 0 ? source.width : model::toUnsigned(format.width);
    const double exactHeight = target.resolution == 0 ? source.height : format.height;
    const uint32_t height = model::toUnsigned(exactHeight);

    Way way{source, colorModel, colors, source.bits < 24, {}};
    if (exactHeight < source.height) {
        way.image = model::scale(source, width, height);
        way.step();
    }
    if ((way.model == 2 || way.model == 3) && outputBits < source.bits)
        convertModel(way, width * height);
    if (outputBits != way.image.bits) convertDepth(way, width, height, outputBits, colors);
    if (exactHeight > source.height) {
        const model::Bitmap asSource{source.width, source.height, outputBits, way.image.data};
        way.image = model::scale(asSource, width, height);
        way.step();
    }
    if (way.progress.empty() || way.progress.back() < 50) way.progress.push_back(50);
    return {model::writeBmp(settings, width, height, outputBits, way.colors, way.image.data,
                            way.model == 1),
            way.progress};
}

// Colours that a picture of the device's table shows, 256 entries.
Bytes deviceColors() {
    return support::drawPicture(Drawing::kNoise, 8, 1, 1, 99).table;
}

// A device ready for the output, with its colours and its window.
struct OutputHost : DriverHost {
    explicit OutputHost(const model::Settings& wanted = {}, const Target& target = {})
        : DriverHost(wanted) {
        const double right = 3.0 + target.windowWidth - 1;
        const double top = -5.0 + target.windowHeight - 1;
        enterBody({support::windowBlock({3, -5, 0, right, top, 0})});
        send(support::colorsBlock(0, deviceColors()));
        hook.calls.clear();
    }
};

Output actualOutput(const model::Settings& settings, const model::Bitmap& source, int colorModel,
                    const Target& target) {
    OutputHost host(settings, target);
    const Block image(source.data);
    RasterWriteCellData(image.handle, source.width, source.height, target.resolution,
                        static_cast<int16_t>(source.bits), static_cast<int16_t>(colorModel));
    Output output;
    for (const support::StatusCall& call : host.hook.calls) {
        EXPECT_EQ(call, support::progressCall(call[3]));
        output.progress.push_back(call[3]);
    }
    output.file = host.closeAndTakeFile();
    return output;
}

void expectAsModel(const model::Settings& settings, const model::Bitmap& source, int colorModel,
                   const Target& target) {
    const Output expected = expectedOutput(settings, source, colorModel, deviceColors(), target);
    const Output actual = actualOutput(settings, source, colorModel, target);
    EXPECT_EQ(actual.progress, expected.progress);
    EXPECT_EQ(actual.file.size(), expected.file.size());
    EXPECT_TRUE(actual.file == expected.file);
}

model::Bitmap drawn(Drawing drawing, int bits, int width, int height, uint32_t seed = 1) {
    const DrawnPicture picture = support::drawPicture(drawing, bits, width, height, seed);
    return {picture.width, picture.height, bits, picture.pixels};
}

constexpr int kDepths[] = {1, 4, 8, 24, 32};
constexpr int kFormats[] = {215, 219, 221, 222};

constexpr Target kTargets[] = {
    {},              // own size
    {23, 17, 100},   // the same
    {11, 9, 100},    // both smaller
    {40, 9, 100},    // wider and lower
    {50, 40, 100},   // both larger
    {10, 40, 100},   // narrower and higher
    {40, 17, 100},   // only the width differs
    {10, 17, 100},   //
    {23, 17, 72},    // sizes that do not come out even
    {31, 29, 333},   //
    {60, 50, 1000},  // beyond the highest resolution
    {40, 28, 100},   // 28.000000000000004 rows
};

TEST(CellOutput, EveryDepthFormatAndSizeComesOutAsThePlainModelSays) {
    for (const int bits : kDepths) {
        for (const int format : kFormats) {
            for (const Target& target : kTargets) {
                SCOPED_TRACE(testing::Message()
                             << bits << " bits to format " << format << ", window "
                             << target.windowWidth << " x " << target.windowHeight << " at "
                             << target.resolution);
                model::Settings settings;
                settings.colorFormat = format;
                expectAsModel(settings, drawn(Drawing::kGradient, bits, 23, 17), bits == 24 ? 1 : 0,
                              target);
            }
        }
    }
}

TEST(CellOutput, OtherDrawingsDepthByDepth) {
    for (const Drawing drawing : {Drawing::kNoise, Drawing::kFewColors, Drawing::kRuns}) {
        for (const int bits : kDepths) {
            for (const int format : kFormats) {
                SCOPED_TRACE(testing::Message() << bits << " bits to format " << format);
                model::Settings settings;
                settings.colorFormat = format;
                expectAsModel(settings, drawn(drawing, bits, 19, 13), bits == 24 ? 1 : 0, {});
            }
        }
    }
}

TEST(CellOutput, EncodedAndOs2FilesDifferInTheWriterOnly) {
    for (const int bits : {4, 8, 24}) {
        for (const int format : kFormats) {
            for (const int fileType : {331, 332}) {
                for (const int compression : {228, 310}) {
                    model::Settings settings;
                    settings.colorFormat = format;
                    settings.fileType = fileType;
                    settings.compressionMode = compression;
                    expectAsModel(settings, drawn(Drawing::kRuns, bits, 30, 12), bits == 24 ? 1 : 0,
                                  {});
                }
            }
        }
    }
}

TEST(CellOutput, FourChannelModelsAreConvertedWhenTheOutputIsShallower) {
    for (const int colorModel : {0, 1, 2, 3, 4}) {
        for (const int format : kFormats) {
            for (const Target& target : {Target{}, Target{11, 9, 100}, Target{30, 30, 100}}) {
                SCOPED_TRACE(testing::Message() << "model " << colorModel << ", format " << format
                                                << ", height " << target.windowHeight);
                model::Settings settings;
                settings.colorFormat = format;
                expectAsModel(settings, drawn(Drawing::kNoise, 32, 20, 15), colorModel, target);
            }
        }
    }
}

TEST(CellOutput, FourChannelModelOfAShallowArrayIsTakenAtItsWord) {
    for (const int colorModel : {2, 3}) {
        model::Settings settings;
        settings.colorFormat = 219;
        expectAsModel(settings, drawn(Drawing::kNoise, 8, 20, 15), colorModel, {});
        settings.colorFormat = 221;
        expectAsModel(settings, drawn(Drawing::kNoise, 8, 20, 15), colorModel, {});
    }
}

// A colour format that there is none of leaves the array its depth.
TEST(CellOutput, FourChannelCellsStayWhatTheyAreInAFileAsDeep) {
    for (const int colorModel : {CELLS_CMYK, CELLS_RGB_ALPHA}) {
        model::Settings settings;
        settings.colorFormat = 220;
        OutputHost host(settings);
        const Block image(Bytes{10, 20, 30, 100});
        RasterWriteCellData(image.handle, 1, 1, 0, 32, static_cast<int16_t>(colorModel));
        const Bytes file = host.closeAndTakeFile();
        ASSERT_GE(file.size(), 4u);
        EXPECT_EQ(Bytes(file.end() - 4, file.end()), (Bytes{10, 20, 30, 100}));
    }
}

TEST(CellOutput, OneCmykCellBecomesRgb) {
    model::Settings settings;
    settings.colorFormat = 222;
    OutputHost host(settings);
    const Block image(Bytes{10, 20, 30, 100});
    RasterWriteCellData(image.handle, 1, 1, 0, 32, CELLS_CMYK);
    // 255 - max(channel, black), stored blue first; the fourth byte is what the cell left behind.
    const Bytes file = host.closeAndTakeFile();
    EXPECT_EQ(Bytes(file.begin() + 54, file.end()), (Bytes{155, 155, 155, 100}));
}

TEST(CellOutput, OneCellWithAlphaLosesIt) {
    model::Settings settings;
    settings.colorFormat = 222;
    OutputHost host(settings);
    const Block image(Bytes{10, 20, 30, 100});
    RasterWriteCellData(image.handle, 1, 1, 0, 32, CELLS_RGB_ALPHA);
    const Bytes file = host.closeAndTakeFile();
    EXPECT_EQ(Bytes(file.begin() + 54, file.end()), (Bytes{30, 20, 10, 100}));
    EXPECT_EQ(image.contents(), (Bytes{30, 20, 10, 100})) << "it is the caller's own";
}

TEST(CellOutput, CmykCellsGetAPaletteOfTheirColours) {
    OutputHost host;
    // White, black, cyan, red; the table lists them in the order of their cells.
    const Block image(Bytes{0, 0, 0, 0, 0, 0, 0, 255, 255, 0, 0, 0, 0, 255, 255, 0});
    RasterWriteCellData(image.handle, 4, 1, 0, 32, CELLS_CMYK);
    EXPECT_EQ(host.closeAndTakeFile(),
              model::writeBmp({}, 4, 1, 8, {0, 0, 0, 0, 255, 255, 255, 0, 0, 255, 255, 255},
                              {3, 0, 1, 2}, false));
}

TEST(CellOutput, CellsWithAlphaGetAPaletteOfTheirColours) {
    OutputHost host;
    const Block image(Bytes{255, 255, 255, 1, 0, 0, 0, 2, 0, 255, 255, 3, 255, 0, 0, 4});
    RasterWriteCellData(image.handle, 4, 1, 0, 32, CELLS_RGB_ALPHA);
    EXPECT_EQ(host.closeAndTakeFile(),
              model::writeBmp({}, 4, 1, 8, {0, 0, 0, 0, 255, 255, 255, 0, 0, 255, 255, 255},
                              {3, 0, 1, 2}, false));
}

TEST(CellOutput, FourChannelCellsThatShrinkAreConvertedInACopy) {
    // 100 an inch: two cells become one, the last.
    OutputHost host({}, {1, 1, 100});
    const Bytes cells = {0, 0, 0, 0, 0, 255, 255, 0, 9, 9, 9, 9, 9, 9, 9, 9};
    const Block image(cells);
    RasterWriteCellData(image.handle, 2, 2, 100, 32, CELLS_CMYK);
    EXPECT_EQ(image.contents(), cells);
    EXPECT_EQ(host.closeAndTakeFile(),
              model::writeBmp({}, 1, 1, 8, {255, 0, 0}, {0, 0, 0, 0}, false));
}

TEST(CellOutput, ResolutionsAndSizesOfTheSettings) {
    for (const int sizeMode : {600, 602, 603}) {
        for (const int resolutionMode : {308, 309, 310}) {
            for (const Target& target : {Target{}, Target{30, 20, 100}}) {
                SCOPED_TRACE(testing::Message()
                             << sizeMode << ", " << resolutionMode << ", " << target.resolution);
                model::Settings settings;
                settings.colorFormat = 219;
                settings.sizeMode = sizeMode;
                settings.resolutionMode = resolutionMode;
                settings.pictureWidth = 0.5;
                settings.pictureHeight = 0.75;
                settings.xResolution = 50;
                settings.yResolution = 60;
                // The display's page is large and its size no matter of the driver.
                if (sizeMode == 600 && target.resolution != 0) continue;
                expectAsModel(settings, drawn(Drawing::kGradient, 8, 25, 21), 0, target);
            }
        }
    }
}

// 28 rows at 100 an inch are 28.000000000000004, more than the picture's 28.
TEST(CellOutput, HeightsAreComparedBeforeTheyAreTruncated) {
    const Target target = {20, 28, 100};
    Bytes cells;
    Bytes rows;
    for (int row = 0; row < 28; ++row) {
        for (int column = 0; column < 12; ++column)
            cells.push_back(static_cast<uint8_t>(column < 10 ? row * 5 + column * 7 : 0));
        for (int column = 0; column < 20; ++column)
            rows.push_back(static_cast<uint8_t>(row * 5 + column / 2 * 7));
    }
    const Output output = actualOutput({}, {10, 28, 8, cells}, 0, target);
    EXPECT_EQ(output.progress, (std::vector<int32_t>{20, 50}));
    EXPECT_EQ(output.file, model::writeBmp({}, 20, 28, 8, deviceColors(), rows, false));
    expectAsModel({}, {10, 28, 8, cells}, 0, target);
    // 14 rows are 14.000000000000002 at 100 an inch; a picture of 15 is shrunk to 14.
    EXPECT_EQ(actualOutput({}, drawn(Drawing::kNoise, 8, 20, 14), 0, {20, 14, 100}).progress,
              (std::vector<int32_t>{20, 50}));
    expectAsModel({}, drawn(Drawing::kNoise, 8, 20, 15), 0, {20, 14, 100});
}

TEST(CellOutput, AHeightThatIsNoNumberScalesNothing) {
    model::Settings settings;
    settings.sizeMode = 603;
    settings.resolutionMode = 310;
    settings.yResolution = 0;
    const Output output = actualOutput(settings, drawn(Drawing::kNoise, 8, 5, 5), 0, {30, 20, 100});
    EXPECT_EQ(output.progress, std::vector<int32_t>{50});
    expectAsModel(settings, drawn(Drawing::kNoise, 8, 5, 5), 0, {30, 20, 100});
}

TEST(CellOutput, NegativeResolutionIsReadAsUnsigned) {
    // The window is next to nothing at 4294967196 per inch: a file of no pixels.
    const Target target = {30, 20, static_cast<uint32_t>(-100)};
    const Output output = actualOutput({}, drawn(Drawing::kNoise, 8, 5, 5), 0, target);
    EXPECT_EQ(output.file, model::writeBmp({}, 0, 0, 8, deviceColors(), {}, false));
    EXPECT_EQ(output.progress, (std::vector<int32_t>{20, 50}));
    expectAsModel({}, drawn(Drawing::kNoise, 8, 5, 5), 0, target);
}

TEST(CellOutput, WindowCornersAreTruncatedAndMayLieEitherWay) {
    model::Settings settings;
    const model::Bitmap source = drawn(Drawing::kGradient, 8, 10, 10);
    const Target target = {20, 16, 100};
    const Bytes expected = expectedOutput(settings, source, 0, deviceColors(), target).file;
    const support::SixDoubles windows[] = {
        {0, 0, 0, 19, 15, 0}, {19, 15, 0, 0, 0, 0}, {0.9, -0.9, 7, 19.9, 15.9, 7}};
    for (const support::SixDoubles& window : windows) {
        DriverHost host(settings);
        host.enterBody({support::windowBlock(window)});
        host.send(support::colorsBlock(0, deviceColors()));
        const Block image(source.data);
        RasterWriteCellData(image.handle, 10, 10, 100, 8, 0);
        EXPECT_TRUE(host.closeAndTakeFile() == expected);
    }
}

TEST(CellOutput, CellArrayHandsItsViewportResolutionOver) {
    // 0.254 millimetres per unit are 100 units per inch: the window is 20 x 16 pixels.
    model::Settings settings;
    settings.colorFormat = 222;
    const model::Bitmap source = drawn(Drawing::kNoise, 24, 10, 10);
    DriverHost host(settings);
    host.enterBody({support::windowBlock({0, 0, 0, 19, 15, 0}), support::scaleBlock(1, 0.254)});
    EXPECT_EQ(host.send(support::cellArrayBlock({10, 10, 24}, source.data)), 0);
    const Target target = {20, 16, 100};
    EXPECT_TRUE(host.closeAndTakeFile() ==
                expectedOutput(settings, source, 1, Bytes(768, 0), target).file);
}

TEST(CellOutput, CellArrayOf32BitsIsIndexed) {
    const model::Bitmap source = drawn(Drawing::kNoise, 32, 6, 5);
    DriverHost host;
    host.enterBody({support::windowBlock({0, 0, 0, 19, 15, 0})});
    EXPECT_EQ(host.send(support::cellArrayBlock({6, 5, 32}, source.data)), 0);
    EXPECT_TRUE(host.closeAndTakeFile() == expectedOutput({}, source, 0, Bytes(768, 0), {}).file);
}

TEST(CellOutput, LeavesTheCallersImageItsOwn) {
    const OutputHost host;
    const Block image(Bytes{1, 2, 3, 4});
    RasterWriteCellData(image.handle, 4, 1, 0, 8, 0);
    EXPECT_EQ(image.contents(), (Bytes{1, 2, 3, 4}));
}

TEST(CellOutput, WritesWithTheDevicesSettingsWhateverRecordWasUsedMeanwhile) {
    model::Settings settings;
    settings.fileType = 332;
    OutputHost host(settings);
    const support::CurrentSettings other;
    lpRaster->colorFormat = COLOR_FORMAT_4BIT;
    const Block image(Bytes{1, 2, 3, 4});
    RasterWriteCellData(image.handle, 4, 1, 0, 8, 0);
    EXPECT_EQ(lpRaster, host.settings.record);
    EXPECT_EQ(hRaster, host.settings.handle);
    EXPECT_TRUE(host.closeAndTakeFile() ==
                model::writeBmp(settings, 4, 1, 8, deviceColors(), {1, 2, 3, 4}, false));
}

TEST(CellOutput, RefusedColourFormatsWriteTheRowsWithoutHeaders) {
    // The writer's results are not checked: it begins nothing, yet takes the rows.
    model::Settings settings;
    settings.colorFormat = 220;
    const Output output = actualOutput(settings, {4, 2, 8, {1, 2, 3, 4, 5, 6, 7, 8}}, 0, {});
    EXPECT_EQ(output.file, (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(output.progress, std::vector<int32_t>{50});
    for (const int format : {216, 217, 218}) {
        settings.colorFormat = format;
        actualOutput(settings, drawn(Drawing::kNoise, 8, 20, 15), 0, {});
        actualOutput(settings, drawn(Drawing::kNoise, 24, 20, 15), 1, {50, 40, 100});
    }
}

// ---- Progress and cancelling -------------------------------------------------------------------

struct ProgressCase {
    int bits;
    int colorFormat;
    Target target;
    std::vector<int32_t> progress;
};

const ProgressCase kProgressCases[] = {
    {8, 221, {}, {50}},                     // nothing to do
    {8, 222, {}, {20, 50}},                 // depth
    {8, 221, {10, 5, 100}, {20, 50}},       // shrink
    {8, 221, {10, 50, 100}, {20, 50}},      // stretch
    {24, 221, {10, 5, 100}, {20, 40, 50}},  // shrink and depth
    {24, 219, {30, 30, 100}, {20, 40, 50}}  // depth and stretch
};

TEST(CellOutput, ProgressIsReportedStepByStep) {
    for (const ProgressCase& given : kProgressCases) {
        model::Settings settings;
        settings.colorFormat = given.colorFormat;
        const model::Bitmap source = drawn(Drawing::kGradient, given.bits, 12, 10);
        EXPECT_EQ(actualOutput(settings, source, given.bits == 24 ? 1 : 0, given.target).progress,
                  given.progress);
    }
}

TEST(CellOutput, CancelAtAnyReportWritesNothing) {
    for (const ProgressCase& given : kProgressCases) {
        for (size_t report = 0; report < given.progress.size(); ++report) {
            SCOPED_TRACE(testing::Message() << given.bits << " bits, report " << report);
            model::Settings settings;
            settings.colorFormat = given.colorFormat;
            OutputHost host(settings, given.target);
            const Block image(drawn(Drawing::kGradient, given.bits, 12, 10).data);
            host.hook.cancelFrom = report;
            RasterWriteCellData(image.handle, 12, 10, given.target.resolution,
                                static_cast<int16_t>(given.bits), given.bits == 24 ? 1 : 0);
            Calls expected;
            for (size_t i = 0; i <= report; ++i)
                expected.push_back(support::progressCall(given.progress[i]));
            expected.push_back(support::kCancelQuestion);
            EXPECT_EQ(host.hook.calls, expected);
            EXPECT_EQ(lpEMData->errors.overflowCount, 0) << "the output ends quietly";
            host.hook.cancelFrom = SIZE_MAX;
            EXPECT_EQ(host.closeAndTakeFile(), Bytes{});
        }
    }
}

TEST(CellOutput, CancelThatTheHostTakesBackGoesOn) {
    model::Settings settings;
    settings.colorFormat = 222;
    OutputHost host(settings);
    const model::Bitmap source = drawn(Drawing::kGradient, 8, 12, 10);
    const Block image(source.data);
    host.hook.cancelFrom = 0;
    host.hook.confirmation = 0;
    RasterWriteCellData(image.handle, 12, 10, 0, 8, 0);
    EXPECT_EQ(host.hook.calls, (Calls{support::progressCall(20), support::kCancelQuestion,
                                      support::progressCall(50), support::kCancelQuestion}));
    EXPECT_TRUE(host.closeAndTakeFile() ==
                expectedOutput(settings, source, 0, deviceColors(), {}).file);
}

TEST(CellOutput, WithoutAHookOrACallBackNothingIsAsked) {
    const Block image(Bytes{1, 2, 3, 4});
    for (const bool hookMissing : {true, false}) {
        OutputHost host;
        if (hookMissing)
            lpEMData->statusHook = nullptr;
        else
            host.hook.words[STATUS_PROC] = 0;
        RasterWriteCellData(image.handle, 4, 1, 0, 8, 0);
        EXPECT_TRUE(host.hook.calls.empty());
        EXPECT_TRUE(host.closeAndTakeFile() ==
                    model::writeBmp({}, 4, 1, 8, deviceColors(), {1, 2, 3, 4}, false));
    }
}

// ---- Arguments that steps cannot take ----------------------------------------------------------

TEST(CellOutput, WithoutAnImageOrADeviceNothingHappens) {
    const Block image(Bytes{1, 2, 3, 4});
    RasterWriteCellData(image.handle, 4, 1, 0, 8, 0);
    OutputHost host;
    RasterWriteCellData(0, 4, 1, 0, 8, 0);
    EXPECT_TRUE(host.hook.calls.empty());
    EXPECT_EQ(host.closeAndTakeFile(), Bytes{});
}

TEST(CellOutput, ShortImageIsWrittenAsFarAsItsRowsGo) {
    OutputHost host;
    const Block image(Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    RasterWriteCellData(image.handle, 4, 5, 0, 8, 0);
    EXPECT_TRUE(host.closeAndTakeFile() ==
                model::writeBmp({}, 4, 5, 8, deviceColors(), {1, 2, 3, 4, 5, 6, 7, 8}, false));
}

TEST(CellOutput, ShortImageReadsAsZeroWhereItIsConverted) {
    model::Settings settings;
    settings.colorFormat = 222;
    expectAsModel(settings, {4, 5, 8, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}}, 0, {});
    settings.colorFormat = 219;
    expectAsModel(settings, {20, 15, 24, Bytes(100, 77)}, 1, {});
    expectAsModel(settings, {20, 15, 32, Bytes(102, 77)}, 2, {});
}

// Serves a document and frees the image with the first bytes of it.
struct ImageFreeingHost {
    static intptr_t serve(intptr_t first, int32_t operation, intptr_t, intptr_t count) {
        if (operation == 1) return first;
        if (operation != 3) return 0;
        auto& self = *reinterpret_cast<ImageFreeingHost*>(first);
        GlobalFree(self.image);
        self.image = 0;
        self.written += count;
        return count;
    }

    MemHandle image;
    intptr_t written;
};

TEST(CellOutput, ImageThatEndsWhileTheHeadersAreWrittenLeavesThemAlone) {
    const long before = support::liveBlocks;
    {
        ImageFreeingHost document = {support::newBlock(Bytes(12 * 10, 7)), 0};
        DriverHost host;
        host.settings->documentStream = reinterpret_cast<HostWord>(&ImageFreeingHost::serve);
        host.hook.words[STATUS_DOCUMENT] = reinterpret_cast<HostWord>(&document);
        host.enterBody();
        RasterWriteCellData(document.image, 12, 10, 0, 8, CELLS_INDEXED);
        EXPECT_EQ(document.written, 54 + 256 * 4);
    }
    EXPECT_EQ(support::liveBlocks, before);
}

TEST(CellOutput, UnsupportedDepthsAndHugeSizesDoNoHarm) {
    constexpr int16_t kDepth[] = {0, 2, 3, 7, 16, 33, -1, -8, INT16_MAX, INT16_MIN};
    const Block image(Bytes(64, 0xAB));
    for (const int format : kFormats) {
        for (const int16_t bits : kDepth) {
            model::Settings settings;
            settings.colorFormat = format;
            OutputHost host(settings, {30, 20, 100});
            RasterWriteCellData(image.handle, 4, 4, 0, bits, 0);
            RasterWriteCellData(image.handle, 4, 4, 100, bits, 2);
        }
        OutputHost host;
        RasterWriteCellData(image.handle, 0xFFFFFFFF, 0xFFFFFFFF, 0, 8, 0);
        RasterWriteCellData(image.handle, 0, 0xFFFFFFFF, 0, 24, 1);
    }
}

TEST(CellOutput, ExhaustedHeapEndsTheOutputQuietly) {
    // Whichever allocation fails, the call comes back and leaks nothing.
    for (const int16_t bits : {int16_t{8}, int16_t{24}}) {
        for (int nth = 1; nth <= 12; ++nth) {
            model::Settings settings;
            settings.colorFormat = 219;
            OutputHost host(settings, {30, 30, 100});
            const Block image(drawn(Drawing::kGradient, bits, 12, 10).data);
            testing::internal::CaptureStdout();
            {
                const support::FailingCall failing("calloc", nth);
                RasterWriteCellData(image.handle, 12, 10, 100, bits, bits == 24 ? 1 : 0);
            }
            testing::internal::GetCapturedStdout();
            EXPECT_EQ(lpEMData->errors.overflowCount, 0);
        }
    }
}

}  // namespace
