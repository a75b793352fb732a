#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "model/plain_model.h"
#include "support/current_settings.h"
#include "support/environment.h"
#include "support/random_numbers.h"

namespace {

using support::CurrentSettings;
using support::EnvironmentVariable;

constexpr double kInfinite = std::numeric_limits<double>::infinity();

// The display as the built-in defaults have it: nothing recorded, nothing in the environment.
struct DefaultDisplay {
    DefaultDisplay() { SetDisplayInfo(0, 0, 0, 0); }
    ~DefaultDisplay() { SetDisplayInfo(0, 0, 0, 0); }
    EnvironmentVariable none{"DISPLAYINFO"};
};

struct Answer {
    double width;
    double height;
    uint32_t resolution;
    uint16_t bitCount = 777;
    uint16_t planes = 0;
};

Answer query(double width, double height, uint32_t resolution) {
    Answer answer{width, height, resolution};
    QueryCellFormat(&answer.width, &answer.height, &answer.bitCount, &answer.resolution,
                    &answer.planes, 12345);
    return answer;
}

TEST(CellFormat, DefaultPageTakesAPictureOfItsOwnProportions) {
    const CurrentSettings settings;
    const Answer answer = query(4, 3, 0);
    EXPECT_DOUBLE_EQ(answer.width, 640);
    EXPECT_DOUBLE_EQ(answer.height, 480);
    EXPECT_EQ(answer.resolution, 96u);
    EXPECT_EQ(answer.bitCount, 8);
    EXPECT_EQ(answer.planes, 1);
}

TEST(CellFormat, PictureIsFittedIntoThePageInOneDirection) {
    const CurrentSettings settings;
    const Answer flat = query(2, 1, 0);
    EXPECT_DOUBLE_EQ(flat.width, 640);
    EXPECT_DOUBLE_EQ(flat.height, 320);
    const Answer tall = query(1, 2, 0);
    EXPECT_DOUBLE_EQ(tall.width, 240);
    EXPECT_DOUBLE_EQ(tall.height, 480);
}

TEST(CellFormat, OfferedResolutionMakesTheCallersSizeThePage) {
    const CurrentSettings settings;
    const Answer answer = query(2.5, 0.5, 100);
    EXPECT_DOUBLE_EQ(answer.width, 250);
    EXPECT_DOUBLE_EQ(answer.height, 50);
    EXPECT_EQ(answer.resolution, 100u);
    EXPECT_EQ(settings->pictureWidth, 2.5);
    EXPECT_EQ(settings->pictureHeight, 0.5);
    EXPECT_EQ(settings->xResolution, 100);
    EXPECT_EQ(settings->yResolution, 100);
}

TEST(CellFormat, OfferedResolutionIsCappedAt400) {
    struct Case {
        uint32_t offered;
        uint32_t used;
    };
    for (const Case& c : {Case{399, 399},
                          {400, 400},
                          {401, 400},
                          {600, 400},
                          {1, 1},
                          {0xFFFFFFFE, 400},
                          {0x80000000, 400}}) {
        const CurrentSettings settings;
        const Answer answer = query(1, 2, c.offered);
        EXPECT_EQ(answer.resolution, c.used);
        EXPECT_DOUBLE_EQ(answer.width, c.used);
        EXPECT_DOUBLE_EQ(answer.height, 2.0 * c.used);
        EXPECT_EQ(settings->xResolution, static_cast<int16_t>(c.used));
        EXPECT_EQ(settings->yResolution, static_cast<int16_t>(c.used));
    }
}

TEST(CellFormat, OtherResolutionModesKeepTheStoredResolutions) {
    for (const int32_t mode : {308, 310, 0}) {
        const CurrentSettings settings;
        settings->resolutionMode = mode;
        settings->xResolution = 50;
        settings->yResolution = 200;
        const Answer answer = query(2, 2, 300);
        EXPECT_DOUBLE_EQ(answer.width, 100);
        EXPECT_DOUBLE_EQ(answer.height, 400);
        EXPECT_EQ(answer.resolution, 50u);
    }
}

TEST(CellFormat, DisplayGivesThePageAndTheProportionsStay) {
    const DefaultDisplay display;
    SetDisplayInfo(800, 400, 100, 50);
    const CurrentSettings settings;
    settings->sizeMode = SIZE_OF_DISPLAY;
    // 8 x 8 inches at 96 pixels an inch: 768 x 768.
    const Answer answer = query(2, 1, 0);
    EXPECT_DOUBLE_EQ(settings->pictureWidth, 8);
    EXPECT_DOUBLE_EQ(settings->pictureHeight, 8);
    EXPECT_DOUBLE_EQ(answer.width, 768);
    EXPECT_DOUBLE_EQ(answer.height, 384);
    EXPECT_EQ(answer.resolution, 96u);
}

TEST(CellFormat, DisplaysHorizontalResolutionServesBothDirections) {
    const DefaultDisplay display;
    SetDisplayInfo(800, 400, 100, 50);
    const CurrentSettings settings;
    settings->resolutionMode = RESOLUTION_OF_DISPLAY;
    const Answer answer = query(1, 3, 200);
    EXPECT_EQ(settings->xResolution, 100);
    EXPECT_EQ(settings->yResolution, 100);
    EXPECT_DOUBLE_EQ(answer.width, 100);
    EXPECT_DOUBLE_EQ(answer.height, 300);
}

TEST(CellFormat, DisplayOfTheEnvironmentWithoutResolutionChangesNothing) {
    const EnvironmentVariable display("DISPLAYINFO", "800");
    const CurrentSettings settings;
    settings->sizeMode = SIZE_OF_DISPLAY;
    settings->resolutionMode = RESOLUTION_OF_DISPLAY;
    const Answer answer = query(4, 3, 0);
    EXPECT_EQ(settings->pictureWidth, 6.67);
    EXPECT_EQ(settings->pictureHeight, 5.0);
    EXPECT_EQ(settings->xResolution, 96);
    EXPECT_DOUBLE_EQ(answer.width, 640);
    EXPECT_DOUBLE_EQ(answer.height, 480);
}

TEST(CellFormat, SizeOfThePrinterKeepsTheStoredPage) {
    const CurrentSettings settings;
    settings->sizeMode = SIZE_OF_PRINTER;
    const Answer answer = query(2, 1, 96);
    EXPECT_EQ(settings->pictureWidth, 6.67);
    EXPECT_DOUBLE_EQ(answer.width, 640);
    EXPECT_DOUBLE_EQ(answer.height, 320);
}

TEST(CellFormat, NoResolutionPointerTakesTheStoredPageAsItIs) {
    const CurrentSettings settings;
    double width = 2;
    double height = 1;
    uint16_t bitCount = 0;
    uint16_t planes = 0;
    QueryCellFormat(&width, &height, &bitCount, nullptr, &planes, 0);
    EXPECT_DOUBLE_EQ(width, 96 * 6.67);
    EXPECT_DOUBLE_EQ(height, 480);
    EXPECT_EQ(bitCount, 8);
    EXPECT_EQ(planes, 1);
}

TEST(CellFormat, StoredResolutionOfZeroLeavesTheCallersNumbers) {
    const CurrentSettings settings;
    settings->resolutionMode = RESOLUTION_FIXED;
    settings->xResolution = 0;
    const Answer answer = query(2, 1, 70);
    EXPECT_EQ(answer.width, 2);
    EXPECT_EQ(answer.height, 1);
    EXPECT_EQ(answer.resolution, 70u);
    EXPECT_EQ(answer.bitCount, 8);
}

TEST(CellFormat, ColourFormatGivesTheBitCount) {
    struct Case {
        int32_t format;
        uint16_t bitCount;
    };
    for (const Case& c : {Case{215, 1},
                          {216, 65532},
                          {217, 65528},
                          {218, 3},
                          {219, 4},
                          {221, 8},
                          {222, 24},
                          {220, 777},
                          {214, 777},
                          {223, 777},
                          {0, 777}}) {
        const CurrentSettings settings;
        settings->colorFormat = c.format;
        EXPECT_EQ(query(1, 1, 96).bitCount, c.bitCount) << c.format;
    }
}

TEST(CellFormat, NullArgumentsChangeNothing) {
    double width = 4;
    double height = 3;
    uint32_t resolution = 100;
    uint16_t bitCount = 5;
    uint16_t planes = 6;
    {
        const CurrentSettings settings;
        QueryCellFormat(nullptr, &height, &bitCount, &resolution, &planes, 0);
        QueryCellFormat(&width, nullptr, &bitCount, &resolution, &planes, 0);
        EXPECT_EQ(settings->pictureWidth, 6.67);
    }
    QueryCellFormat(&width, &height, &bitCount, &resolution, &planes, 0);
    EXPECT_EQ(width, 4);
    EXPECT_EQ(height, 3);
    EXPECT_EQ(resolution, 100u);
    EXPECT_EQ(bitCount, 5);
    EXPECT_EQ(planes, 6);
}

TEST(CellFormat, MissingCountsAreSkipped) {
    const CurrentSettings settings;
    double width = 1;
    double height = 1;
    uint32_t resolution = 100;
    QueryCellFormat(&width, &height, nullptr, &resolution, nullptr, 0);
    EXPECT_DOUBLE_EQ(width, 100);
}

TEST(AspectOfThePage, FitsProportionsInPixelsAndAnswersInInches) {
    struct Case {
        double aspectWidth;
        double aspectHeight;
        double width;  // pixels of the 640 x 480 page
        double height;
    };
    for (const Case& c : {Case{4, 3, 640, 480},
                          {2, 1, 640, 320},
                          {1, 2, 240, 480},
                          {1, 1, 480, 480},
                          {0, 1, 0, 480},
                          {1, 0, 640, 0},
                          {0, 0, 640, 480},
                          {kInfinite, 1, 640, 0},
                          // 480 - trunc(480 - 0.64): a part of a pixel is never taken away.
                          {1000, 1, 640, 1}}) {
        const CurrentSettings settings;
        double out[2] = {-1, -1};
        EXPECT_EQ(RasterAdjustAspect(out, c.aspectWidth, c.aspectHeight), 0);
        EXPECT_DOUBLE_EQ(out[0], c.width / 96) << c.aspectWidth << ':' << c.aspectHeight;
        EXPECT_DOUBLE_EQ(out[1], c.height / 96) << c.aspectWidth << ':' << c.aspectHeight;
    }
}

TEST(AspectOfThePage, NullArgumentsFail) {
    double out[2] = {1, 2};
    EXPECT_EQ(RasterAdjustAspect(out, 1, 1), -1);
    EXPECT_EQ(out[0], 1);
    const CurrentSettings settings;
    EXPECT_EQ(RasterAdjustAspect(nullptr, 1, 1), -1);
}

bool same(double a, double b) {
    return a == b || (std::isnan(a) && std::isnan(b));
}

// Sane and hostile numbers alike.
double anySize(support::Random& random) {
    const double kOdd[] = {0, -1, 1e-12, 1e12, -1e300, kInfinite, 0.5, std::nan("")};
    if (random() % 8 == 0) return kOdd[random() % 8];
    return static_cast<double>(random() % 100000) / 100;
}

TEST(CellFormat, RandomNegotiationsAgreeWithTheModel) {
    const DefaultDisplay reset;
    support::Random random(99);
    const auto pick = [&](auto... values) {
        const int choices[] = {values...};
        return choices[random() % sizeof...(values)];
    };
    for (int round = 0; round < 5000; ++round) {
        model::Settings wanted;
        wanted.colorFormat = pick(215, 216, 217, 218, 219, 220, 221, 222);
        wanted.sizeMode = pick(600, 601, 602);
        wanted.resolutionMode = pick(307, 308, 309, 310);
        wanted.pictureWidth = anySize(random);
        wanted.pictureHeight = anySize(random);
        wanted.xResolution = pick(96, 0, -5, 400, 32767, 33);
        wanted.yResolution = pick(96, 0, -5, 400, 32767, 33);
        const model::DisplayState display = {anySize(random), anySize(random), pick(0, 72, -9, 600),
                                             pick(0, 72, -9, 600)};
        SetDisplayInfo(display.widthPixels, display.heightPixels,
                       static_cast<int16_t>(display.xResolution),
                       static_cast<int16_t>(display.yResolution));
        const auto offered = static_cast<uint32_t>(pick(0, 0, 72, 300, 500, -3));
        model::CellFormat expected = {anySize(random), anySize(random), offered, 0};
        const CurrentSettings settings(wanted);
        const Answer answer = query(expected.width, expected.height, offered);
        const int bits = model::negotiate(wanted, expected, 777, display);
        ASSERT_TRUE(same(answer.width, expected.width)) << answer.width << ' ' << expected.width;
        ASSERT_TRUE(same(answer.height, expected.height))
            << answer.height << ' ' << expected.height;
        ASSERT_EQ(answer.resolution, expected.resolution);
        ASSERT_EQ(answer.bitCount, static_cast<uint16_t>(bits));
        ASSERT_EQ(settings->xResolution, static_cast<int16_t>(wanted.xResolution));
        ASSERT_EQ(settings->yResolution, static_cast<int16_t>(wanted.yResolution));
        ASSERT_TRUE(same(settings->pictureWidth, wanted.pictureWidth));
        ASSERT_TRUE(same(settings->pictureHeight, wanted.pictureHeight));
    }
}

}  // namespace
