#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <utility>

#include "support/byte_list.h"
#include "support/export_host.h"
#include "support/failing_call.h"
#include "support/memory_stream.h"

namespace {

using support::Block;
using support::Bytes;
using support::CurrentSettings;
using support::Drawing;
using support::FailingCall;
using support::MemoryStream;
using support::slice;
using support::StatusRecorder;
using support::u32At;

using Rows = std::pair<int32_t, int32_t>;

// A drawing call-back that records its calls and hands over rows of numbered bytes.
struct Painter {
    Painter(double widthPixels, double heightPixels) : width(widthPixels), height(heightPixels) {
        current() = this;
    }
    ~Painter() { current() = nullptr; }
    Painter(const Painter&) = delete;
    Painter& operator=(const Painter&) = delete;

    static constexpr uint32_t kOffered = 1;  // a pixel per inch keeps the sizes exact

    double width;
    double height;
    int16_t swapRedBlue = 0;
    uint32_t bandHeight = 0;  // what message 1 answers
    uint32_t rowBytes = 4;
    int32_t missingRows = 0;  // taken off every band
    bool draws = true;
    std::function<void(CellDataRequest&)> onInitialise;

    std::vector<int32_t> messages;
    std::vector<Rows> ranges;
    CellDataRequest request = {};  // as message 1 found it
    HostWord block[5] = {};

    static HostWord draw(int32_t message, void* input, HostWord output, HostWord extra) {
        return current()->answer(message, input, output, extra);
    }

    int count(int32_t message) const {
        return static_cast<int>(std::count(messages.begin(), messages.end(), message));
    }

  private:
    static Painter*& current() {
        static Painter* painter = nullptr;
        return painter;
    }

    HostWord answer(int32_t message, void* input, HostWord output, HostWord extra) {
        messages.push_back(message);
        switch (message) {
            case DRAW_QUERY:
                *reinterpret_cast<CellFormat*>(output) = {width, height, kOffered, swapRedBlue, 0};
                return 0;
            case DRAW_INITIALISE:
                request = *static_cast<CellDataRequest*>(input);
                std::copy_n(reinterpret_cast<HostWord*>(output), 5, block);
                if (onInitialise) onInitialise(*static_cast<CellDataRequest*>(input));
                return bandHeight;
            case DRAW_ROWS:
                ranges.emplace_back(static_cast<int32_t>(output), static_cast<int32_t>(extra));
                return draws ? paint(ranges.back()) : 0;
            default:
                return 0;
        }
    }

    // Every byte of a row is the row's number.
    MemHandle paint(const Rows& rows) {
        Bytes bytes;
        for (int32_t y = rows.first; y < std::max(rows.second, rows.first + minimum) - missingRows;
             ++y)
            bytes.insert(bytes.end(), rowBytes, static_cast<uint8_t>(y));
        GlobalFree(std::exchange(band.handle, support::newBlock(bytes)));
        return band.handle;
    }

  public:
    int32_t minimum = 0;  // rows of a band at least

  private:
    Block band;
};

// Settings for one colour format, a stream and a status block.
struct Output {
    explicit Output(int32_t colorFormat, bool encoded = false) {
        settings->colorFormat = colorFormat;
        if (encoded) settings->compressionMode = COMPRESSION_RLE;
        settings->exportParams = status;
        recorder.attach(status);
    }

    int32_t run() { return OutputPicture(target.stream, &picture, &Painter::draw); }

    CurrentSettings settings;
    MemoryStream target;
    CellPicture picture = {};
    HostWord status[13] = {};
    StatusRecorder recorder;
};

TEST(PictureOutput, HeightInPixelsIsCutAndRoundedUpToEvenAndWidthIsCut) {
    struct Case {
        double height;
        uint32_t rows;
        double width;
        uint32_t columns;
    };
    for (const Case& c : {Case{480.4, 480, 3.9, 3},
                          {481, 482, 4, 4},
                          {481.9, 482, 1.5, 1},
                          {1, 2, 2, 2},
                          {2, 2, 0.5, 0}}) {
        Output output(COLOR_FORMAT_8BIT);
        Painter painter(c.width, c.height);
        painter.bandHeight = c.rows;
        EXPECT_EQ(output.run(), 0);
        EXPECT_EQ(painter.ranges, (std::vector<Rows>{{0, static_cast<int32_t>(c.rows)}}));
        const Bytes file = output.target.finish();
        EXPECT_EQ(u32At(file, 18), c.columns) << c.width;
        EXPECT_EQ(u32At(file, 22), c.rows) << c.height;
        EXPECT_EQ(file.size(), 1078 + (c.columns == 0 ? 0 : 4) * c.rows);
    }
}

TEST(PictureOutput, AColourFormatThatThereIsNoneOfHasNoBitsAndOneColour) {
    Output output(220);
    Painter painter(4, 2);
    painter.bandHeight = 2;
    output.run();
    EXPECT_EQ(painter.count(DRAW_INITIALISE), 1);
    EXPECT_EQ(painter.block[2], 0u);
    EXPECT_EQ(painter.block[3], 1u);
}

TEST(PictureOutput, BandsWalkUpFromTheBottomAndTheLastIsShorter) {
    Output output(COLOR_FORMAT_8BIT);
    Painter painter(4, 482);
    painter.bandHeight = 100;
    EXPECT_EQ(output.run(), 0);
    const std::vector<Rows> ranges = {{0, 100}, {100, 200}, {200, 300}, {300, 400}, {400, 482}};
    EXPECT_EQ(painter.ranges, ranges);
    EXPECT_EQ(output.recorder.percentages, (std::vector<int32_t>{20, 40, 60, 80, 100}));
    EXPECT_TRUE(output.recorder.wellFormed);
    EXPECT_EQ(painter.messages, (std::vector<int32_t>{0, 1, 3, 3, 3, 3, 3, 2}));
    const Bytes file = output.target.finish();
    ASSERT_EQ(file.size(), 1078u + 4 * 482);
    for (size_t y = 0; y < 482; ++y)
        ASSERT_EQ(slice(file, 1078 + 4 * y, 4), Bytes(4, static_cast<uint8_t>(y))) << y;
}

TEST(PictureOutput, PercentagesAreCut) {
    Output output(COLOR_FORMAT_8BIT);
    Painter painter(4, 6);
    painter.bandHeight = 2;
    EXPECT_EQ(output.run(), 0);
    EXPECT_EQ(output.recorder.percentages, (std::vector<int32_t>{33, 66, 100}));
}

TEST(PictureOutput, EncodedBandsShareOneImageSize) {
    Output output(COLOR_FORMAT_8BIT, true);
    Painter painter(4, 4);
    painter.bandHeight = 2;
    EXPECT_EQ(output.run(), 0);
    const Bytes file = output.target.finish();
    EXPECT_EQ(u32At(file, 34), 16u);
    EXPECT_EQ(slice(file, 1078), (Bytes{3, 0, 1, 0, 3, 1, 1, 1, 3, 2, 1, 2, 3, 3, 1, 3}));
}

TEST(PictureOutput, HostThatCancelsAtTheFirstBandStopsTheExport) {
    Output output(COLOR_FORMAT_8BIT, true);
    output.recorder.cancelFrom = 0;
    output.recorder.confirmation = 1;
    Painter painter(4, 482);
    painter.bandHeight = 100;
    EXPECT_EQ(output.run(), 901);
    EXPECT_EQ(output.recorder.percentages, (std::vector<int32_t>{20}));
    EXPECT_EQ(output.recorder.questions, 1);
    EXPECT_EQ(painter.messages, (std::vector<int32_t>{0, 1, 3, 2}));
    const Bytes file = output.target.finish();
    EXPECT_EQ(file.size(), 1078u + 100 * 4);
    EXPECT_EQ(u32At(file, 34), 0u) << "the file is left without its end";
}

TEST(PictureOutput, HostThatCancelsLaterKeepsTheBandsBefore) {
    Output output(COLOR_FORMAT_8BIT);
    output.recorder.cancelFrom = 50;
    output.recorder.confirmation = -7;
    Painter painter(4, 482);
    painter.bandHeight = 100;
    EXPECT_EQ(output.run(), 901);
    EXPECT_EQ(output.recorder.percentages, (std::vector<int32_t>{20, 40, 60}));
    EXPECT_EQ(painter.count(DRAW_ROWS), 3);
    EXPECT_EQ(painter.count(DRAW_TERMINATE), 1);
    EXPECT_EQ(output.target.finish().size(), 1078u + 300 * 4);
}

TEST(PictureOutput, HostThatAnswersTheQuestionWithZeroGoesOn) {
    Output output(COLOR_FORMAT_8BIT, true);
    output.recorder.cancelFrom = 0;
    Painter painter(4, 482);
    painter.bandHeight = 100;
    EXPECT_EQ(output.run(), 0);
    EXPECT_EQ(output.recorder.questions, 5);
    EXPECT_TRUE(output.recorder.wellFormed);
    EXPECT_EQ(output.recorder.percentages, (std::vector<int32_t>{20, 40, 60, 80, 100}));
    EXPECT_EQ(u32At(output.target.finish(), 34), 482u * 4);
}

TEST(PictureOutput, NoStatusBlockAndNoCallBackReportNothing) {
    for (const bool block : {false, true}) {
        Output output(COLOR_FORMAT_8BIT);
        output.status[STATUS_PROC] = 0;
        if (!block) output.settings->exportParams = nullptr;
        Painter painter(4, 4);
        painter.bandHeight = 2;
        EXPECT_EQ(output.run(), 0);
        EXPECT_TRUE(output.recorder.percentages.empty());
    }
}

TEST(PictureOutput, SetUpWithoutBandsFailsWith27AndTerminates) {
    Output output(COLOR_FORMAT_8BIT);
    Painter painter(4, 4);
    painter.bandHeight = 0;
    EXPECT_EQ(output.run(), 27);
    EXPECT_EQ(painter.messages, (std::vector<int32_t>{0, 1, 2}));
    EXPECT_EQ(output.target.finish(), Bytes());
}

TEST(PictureOutput, NullArgumentsFailWith27) {
    Output output(COLOR_FORMAT_8BIT);
    Painter painter(4, 4);
    painter.bandHeight = 4;
    EXPECT_EQ(OutputPicture(0, &output.picture, &Painter::draw), 27);
    EXPECT_EQ(OutputPicture(output.target.stream, &output.picture, nullptr), 27);
    SetupRecord* settings = std::exchange(lpRaster, nullptr);
    EXPECT_EQ(output.run(), 27);
    lpRaster = settings;
    EXPECT_EQ(painter.count(DRAW_ROWS), 0);
    EXPECT_EQ(output.target.finish(), Bytes());
}

TEST(PictureOutput, CallBackLearnsSizeDepthAndPalette) {
    struct Case {
        int32_t format;
        int16_t bits;
        int16_t entries;
    };
    for (const Case& c : {Case{215, 1, 2},
                          {218, 3, 8},
                          {219, 4, 16},
                          {221, 8, 256},
                          {222, 24, 0},
                          {216, -4, 0},
                          {217, -8, 0}}) {
        Output output(c.format);
        Painter painter(7, 5);
        EXPECT_EQ(output.run(), 27);
        const CellDataRequest& request = painter.request;
        EXPECT_EQ(request.picture, &output.picture);
        EXPECT_EQ(request.draw, &Painter::draw);
        EXPECT_EQ(request.destWidth, 7u);
        EXPECT_EQ(request.destHeight, 6u);
        EXPECT_EQ(request.destBits, c.bits);
        EXPECT_EQ(request.colorCount, c.entries);
        EXPECT_EQ(request.colorTable == nullptr, c.entries == 0);
        EXPECT_EQ(request.flag, 0);
        EXPECT_EQ(request.privateBlock, 0u);
        EXPECT_EQ(painter.block[0], 7u);
        EXPECT_EQ(painter.block[1], 6u);
        EXPECT_EQ(static_cast<int16_t>(painter.block[2]), c.bits);
        EXPECT_EQ(static_cast<int16_t>(painter.block[3]), c.entries);
        EXPECT_EQ(painter.block[4], reinterpret_cast<HostWord>(request.colorTable));
    }
}

TEST(PictureOutput, PaletteStartsBlackAndTheCallBackFillsIt) {
    Output output(COLOR_FORMAT_1BIT);
    Painter painter(4, 2);
    painter.bandHeight = 2;
    painter.onInitialise = [](CellDataRequest& request) {
        EXPECT_EQ(Bytes(request.colorTable, request.colorTable + 6), Bytes(6, 0));
        request.colorTable[3] = 1;
        request.colorTable[5] = 3;
    };
    EXPECT_EQ(output.run(), 0);
    EXPECT_EQ(slice(output.target.finish(), 54, 8), (Bytes{0, 0, 0, 0, 3, 0, 1, 0}));
}

TEST(PictureOutput, PaletteThatTheCallBackMovedIsTheOneWrittenAndFreed) {
    Output output(COLOR_FORMAT_1BIT);
    Painter painter(4, 2);
    painter.bandHeight = 2;
    painter.onInitialise = [](CellDataRequest& request) {
        oxlPtrGlobalFree(request.colorTable);
        request.colorTable = static_cast<uint8_t*>(oxlPtrGlobalAlloc(3000));
        std::fill_n(request.colorTable, 3000, uint8_t{9});
        request.colorCount = 1000;
    };
    EXPECT_EQ(output.run(), 0);
    EXPECT_EQ(slice(output.target.finish(), 54, 8), (Bytes{9, 9, 9, 0, 9, 9, 9, 0}));
}

// An 8-bit file of the painter's whose colour table the call-back leaves as told: its palette.
Bytes paletteAfter(const std::function<void(CellDataRequest&)>& leave) {
    const long blocks = support::liveBlocks;
    Bytes file;
    {
        Output output(COLOR_FORMAT_8BIT);
        Painter painter(4, 2);
        painter.bandHeight = 2;
        painter.onInitialise = leave;
        EXPECT_EQ(output.run(), 0);
        file = output.target.finish();
    }
    EXPECT_EQ(support::liveBlocks, blocks);
    EXPECT_EQ(file.size(), 1078u + 2 * 4);
    EXPECT_EQ(slice(file, 0, 2), (Bytes{'B', 'M'}));
    return slice(file, 54, 1024);
}

void fillWhite(CellDataRequest& request) {
    std::fill_n(request.colorTable, GlobalSize(GlobalHandle(request.colorTable)), uint8_t{255});
}

TEST(PictureOutput, ColourTableThatTheCallBackCutIsBlackFromItsEndOn) {
    const Bytes palette = paletteAfter([](CellDataRequest& request) {
        request.colorTable = static_cast<uint8_t*>(oxlPtrGlobalReAlloc(request.colorTable, 7, 66));
        fillWhite(request);
    });
    Bytes expected(1024);
    // Two entries, and the third one's red.
    constexpr size_t kWhite[] = {0, 1, 2, 4, 5, 6, 10};
    for (const size_t place : kWhite) expected[place] = 255;
    EXPECT_EQ(palette, expected);
}

TEST(PictureOutput, ColourTableThatTheCallBackDroppedIsBlack) {
    EXPECT_EQ(paletteAfter([](CellDataRequest& request) {
                  oxlPtrGlobalFree(request.colorTable);
                  request.colorTable = nullptr;
              }),
              Bytes(1024));
    EXPECT_EQ(paletteAfter([](CellDataRequest& request) {
                  fillWhite(request);
                  oxlPtrGlobalFree(request.colorTable);
              }),
              Bytes(1024))
        << "its old address says nothing";
}

TEST(PictureOutput, LargerCountThanTheColourTableHasIsNotBelieved) {
    Bytes expected(1024, 255);
    for (size_t i = 3; i < 1024; i += 4) expected[i] = 0;
    EXPECT_EQ(paletteAfter([](CellDataRequest& request) {
                  fillWhite(request);
                  request.colorCount = INT16_MAX;
              }),
              expected);
}

TEST(PictureOutput, RequestThatTheCallBackFreedStopsTheOutput) {
    const long blocks = support::liveBlocks;
    {
        Output output(COLOR_FORMAT_8BIT);
        Painter painter(4, 2);
        painter.bandHeight = 2;
        painter.onInitialise = [](CellDataRequest& request) { oxlPtrGlobalFree(&request); };
        EXPECT_EQ(output.run(), 27);
        EXPECT_EQ(painter.count(DRAW_ROWS), 0);
        EXPECT_EQ(painter.count(DRAW_TERMINATE), 0);
    }
    EXPECT_EQ(support::liveBlocks, blocks);
}

TEST(PictureOutput, CallBacksFlagExchangesRedAndBlue) {
    for (const int16_t flag : {int16_t{0}, int16_t{1}, int16_t{4}}) {
        Output output(COLOR_FORMAT_24BIT);
        Painter painter(1, 2);
        painter.bandHeight = 2;
        painter.swapRedBlue = flag;
        support::Block rows(Bytes{1, 2, 3, 0, 4, 5, 6, 0});
        painter.draws = false;
        static MemHandle handed;
        handed = rows.handle;
        const auto draw = [](int32_t message, void* input, HostWord output_, HostWord extra) {
            const HostWord answer = Painter::draw(message, input, output_, extra);
            return message == DRAW_ROWS ? handed : answer;
        };
        EXPECT_EQ(OutputPicture(output.target.stream, &output.picture, draw), 0);
        EXPECT_EQ(slice(output.target.finish(), 54),
                  flag == 1 ? Bytes({3, 2, 1, 0, 6, 5, 4, 0}) : Bytes({1, 2, 3, 0, 4, 5, 6, 0}));
    }
}

TEST(PictureOutput, BandsWithoutRowsLeaveTheHeaders) {
    for (const bool encoded : {false, true}) {
        Output output(COLOR_FORMAT_8BIT, encoded);
        Painter painter(4, 4);
        painter.bandHeight = 2;
        painter.draws = false;
        EXPECT_EQ(output.run(), 0);
        EXPECT_EQ(output.recorder.percentages, (std::vector<int32_t>{50, 100}));
        EXPECT_EQ(output.target.finish().size(), 1078u);
    }
}

TEST(PictureOutput, BandTallerThanThePictureIsWrittenWhole) {
    Output output(COLOR_FORMAT_8BIT);
    Painter painter(4, 4);
    painter.bandHeight = 6;
    EXPECT_EQ(output.run(), 0);
    EXPECT_EQ(painter.ranges, (std::vector<Rows>{{0, 6}}));
    EXPECT_EQ(output.target.finish().size(), 1078u + 6 * 4);
}

TEST(PictureOutput, EncodedBandThatTheStreamDoesNotTakeFails) {
    Output output(COLOR_FORMAT_8BIT, true);
    MemoryStream full(uint32_t{1078 + 10});
    Painter painter(4, 6);
    painter.bandHeight = 2;
    EXPECT_EQ(OutputPicture(full.stream, &output.picture, &Painter::draw), -1);
    EXPECT_EQ(painter.ranges, (std::vector<Rows>{{0, 2}, {2, 4}}));
    EXPECT_EQ(painter.messages.back(), DRAW_TERMINATE);
    EXPECT_EQ(output.recorder.percentages, (std::vector<int32_t>{33}));
}

TEST(PictureOutput, BandThatLacksRowsFailsBehindItsLastWholeRow) {
    Output output(COLOR_FORMAT_8BIT);
    Painter painter(4, 6);
    painter.bandHeight = 3;
    painter.missingRows = 1;
    EXPECT_EQ(output.run(), -1);
    EXPECT_EQ(painter.messages, (std::vector<int32_t>{0, 1, 3, 2}));
    EXPECT_EQ(output.target.finish().size(), 1078u + 2 * 4);
}

TEST(PictureOutput, RefusedColourFormatDrawsEmptyRangesAtTheTopAndWritesNoHeaders) {
    Output output(COLOR_FORMAT_218);
    Painter painter(8, 6);
    painter.bandHeight = 4;
    painter.minimum = 4;
    EXPECT_EQ(output.run(), 0);
    EXPECT_EQ(painter.ranges, (std::vector<Rows>{{6, 6}, {6, 6}}));
    EXPECT_EQ(output.recorder.percentages, (std::vector<int32_t>{50, 100}));
    // Kept: the first band still counts its rows, the ones behind it have none.
    EXPECT_EQ(output.target.finish(), (Bytes{6, 6, 6, 6, 7, 7, 7, 7, 8, 8, 8, 8, 9, 9, 9, 9}));
}

TEST(PictureOutput, NegativeDepthsHaveNoWholeRow) {
    for (const int32_t format : {216, 217}) {
        Output output(format);
        Painter painter(8, 4);
        painter.bandHeight = 4;
        painter.minimum = 4;
        EXPECT_EQ(output.run(), -1);
        EXPECT_EQ(painter.count(DRAW_TERMINATE), 1);
        EXPECT_EQ(output.target.finish(), Bytes());
    }
}

TEST(PictureOutput, PictureWithoutRowsAndSizesBeyondAllBoundsAreHeadersOnly) {
    struct Case {
        double width;
        double height;
        uint32_t columns;
        uint32_t rows;
    };
    const double infinite = std::numeric_limits<double>::infinity();
    for (const Case& c :
         {Case{4, 0, 4, 0}, {4, -9, 4, 0}, {-4, -infinite, 0, 0}, {4, infinite - infinite, 4, 0}}) {
        Output output(COLOR_FORMAT_8BIT);
        Painter painter(c.width, c.height);
        painter.bandHeight = 5;
        EXPECT_EQ(output.run(), 0);
        EXPECT_EQ(painter.count(DRAW_ROWS), 0);
        const Bytes file = output.target.finish();
        EXPECT_EQ(file.size(), 1078u);
        EXPECT_EQ(u32At(file, 18), c.columns);
        EXPECT_EQ(u32At(file, 22), c.rows);
    }
    Output output(COLOR_FORMAT_8BIT);
    Painter painter(infinite, infinite);
    painter.bandHeight = 0x80000000u;
    painter.draws = false;
    EXPECT_EQ(output.run(), 0);
    EXPECT_EQ(output.recorder.percentages, (std::vector<int32_t>{50, 100}));
}

// The built-in call-back, whose pictures need memory in many places.
TEST(PictureOutput, EveryAllocationMayFailAndNothingIsLost) {
    struct Case {
        int bits;
        int32_t format;
        bool encoded;
        int32_t size;
    };
    for (const Case& c : {Case{24, 221, true, 8},
                          {24, 219, true, 5},
                          {8, 215, false, 20},
                          {4, 222, false, 20},
                          {8, 221, true, 20}}) {
        std::map<int, int32_t> results;
        for (int nth = 1;; ++nth) {
            model::Settings settings;
            settings.colorFormat = c.format;
            settings.compressionMode = c.encoded ? COMPRESSION_RLE : COMPRESSION_NONE;
            const auto drawn = support::drawPicture(Drawing::kNoise, c.bits, 9, 9, 5);
            support::Export host(settings, drawn, {});
            host.source.picture.targetWidth = c.size;
            host.source.picture.targetHeight = c.size;
            host.source.picture.resolution = 100;
            MemoryStream target;
            const FailingCall failing("calloc", nth);
            const int32_t result =
                OutputPicture(target.stream, &host.source.picture, DrawExportCellData);
            if (!failing.happened()) break;
            results[nth] = result;
            EXPECT_TRUE(result == 0 || result == 27 || result == -1) << nth << ": " << result;
        }
        const int record = c.format == 222 ? 2 : 3;  // a 24-bit file has no palette before it
        EXPECT_EQ(results[1], 27) << "the format";
        EXPECT_EQ(results[record], 27) << "the offscreen record";
        EXPECT_EQ(results[record + 1], 27) << "the call-back's private block";
        EXPECT_GT(results.size(), 4u);
    }
}

TEST(PictureOutput, MissingWorkBufferFailsTheFirstBand) {
    Output output(COLOR_FORMAT_8BIT, true);
    Painter painter(4, 4);
    painter.bandHeight = 4;
    painter.minimum = 4;
    int32_t result = 0;
    {
        // Format, palette, record, state, work buffer.
        const FailingCall failing("calloc", 5);
        result = output.run();
        EXPECT_TRUE(failing.happened());
    }
    EXPECT_EQ(result, -1);
    EXPECT_EQ(painter.ranges, (std::vector<Rows>{{4, 4}}));
    EXPECT_EQ(output.target.finish(), Bytes());
}

TEST(PictureOutput, MissingStateFailsTheFirstBand) {
    Output output(COLOR_FORMAT_8BIT);
    Painter painter(4, 4);
    painter.bandHeight = 4;
    const FailingCall failing("calloc", 4);
    EXPECT_EQ(output.run(), -1);
    EXPECT_EQ(painter.ranges, (std::vector<Rows>{{4, 4}}));
}

TEST(UpdateStatus, PassesContextAndPercentAndOnlyThose) {
    Output output(COLOR_FORMAT_8BIT);
    EXPECT_EQ(UpdateStatus(37), 0);
    EXPECT_EQ(output.recorder.percentages, (std::vector<int32_t>{37}));
    EXPECT_EQ(output.recorder.questions, 0);
    EXPECT_TRUE(output.recorder.wellFormed);
}

TEST(UpdateStatus, AnswerToTheQuestionDecides) {
    struct Case {
        int32_t confirmation;
        int32_t result;
    };
    for (const Case& c : {Case{0, 0}, {1, 901}, {-1, 901}, {901, 901}}) {
        Output output(COLOR_FORMAT_8BIT);
        output.recorder.cancelFrom = 0;
        output.recorder.confirmation = c.confirmation;
        EXPECT_EQ(UpdateStatus(50), c.result);
        EXPECT_EQ(output.recorder.questions, 1);
        EXPECT_TRUE(output.recorder.wellFormed);
    }
}

TEST(UpdateStatus, NoBlockNoCallBackAndNoSettingsGoOn) {
    Output output(COLOR_FORMAT_8BIT);
    output.status[STATUS_PROC] = 0;
    EXPECT_EQ(UpdateStatus(50), 0);
    output.settings->exportParams = nullptr;
    EXPECT_EQ(UpdateStatus(50), 0);
    SetupRecord* settings = std::exchange(lpRaster, nullptr);
    EXPECT_EQ(UpdateStatus(50), 0);
    lpRaster = settings;
}

TEST(UpdateStatus, ContextOfZeroStillReports) {
    Output output(COLOR_FORMAT_8BIT);
    static int calls;
    calls = 0;
    const StatusProc count = [](intptr_t, int32_t, int32_t, int32_t, int32_t, int32_t,
                                intptr_t) -> int32_t { return ++calls > 100 ? 1 : 0; };
    output.status[STATUS_CONTEXT] = 0;
    output.status[STATUS_PROC] = reinterpret_cast<HostWord>(count);
    EXPECT_EQ(UpdateStatus(50), 0);
    EXPECT_EQ(calls, 1);
}

}  // namespace
