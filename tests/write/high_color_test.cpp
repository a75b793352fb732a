#include "write/high_color.h"

#include <gtest/gtest.h>

#include "support/failing_call.h"
#include "write/dither_kit.h"

namespace {

using support::FailingCall;
using support::flat;
using support::PlainPicture;
using tivar::HighDiffusion;
using tivar::HighFormat;
using Pixels = std::vector<uint16_t>;

constexpr int kGreenBits[] = {5, 6};

Pixels rounded(const PlainPicture& picture, int greenBits) {
    HighFormat format;
    tivar::prepareHigh(format, greenBits);
    Pixels pixels(picture.count());
    tivar::roundHighRow(format, picture.pixel(0), picture.count(), pixels.data());
    return pixels;
}

Pixels ordered(const PlainPicture& picture, int greenBits) {
    HighFormat format;
    tivar::prepareHigh(format, greenBits);
    Pixels pixels(picture.count());
    for (uint32_t y = picture.height; y-- > 0;)
        tivar::orderHighRow(format, y, picture.pixel(y * picture.width), picture.width,
                            pixels.data() + y * picture.width);
    return pixels;
}

Pixels diffused(const PlainPicture& picture, int greenBits) {
    HighDiffusion diffusion;
    EXPECT_TRUE(tivar::prepareHighDiffusion(diffusion, picture.width, greenBits));
    Pixels pixels(picture.count());
    for (uint32_t y = 0; y < picture.height; ++y)
        tivar::diffuseHighRow(diffusion, picture.pixel(y * picture.width),
                              pixels.data() + y * picture.width);
    return pixels;
}

struct Steps {
    int step[3];
    Steps(uint16_t pixel, int greenBits)
        : step{pixel >> (5 + greenBits), pixel >> 5 & ((1 << greenBits) - 1), pixel & 31} {}
};

int mostOf(int channel, int greenBits) {
    return channel == 1 ? (1 << greenBits) - 1 : 31;
}

double meanOf(const Pixels& pixels, int channel, int greenBits) {
    double sum = 0;
    for (const uint16_t pixel : pixels)
        sum +=
            support::plainLevel(Steps(pixel, greenBits).step[channel], mostOf(channel, greenBits));
    return sum / static_cast<double>(pixels.size());
}

TEST(HighColor, RoundsToTheNearestStep) {
    const PlainPicture picture = support::noise(700, 3, 1);
    for (const int greenBits : kGreenBits) {
        const Pixels pixels = rounded(picture, greenBits);
        for (uint32_t i = 0; i < picture.count(); ++i) {
            int steps[3];
            for (int c = 0; c < 3; ++c)
                steps[c] = support::plainStep(picture.pixel(i)[c], mostOf(c, greenBits));
            ASSERT_EQ(pixels[i], support::plainPixel(steps, greenBits));
        }
    }
}

TEST(HighColor, HasRedInTheHighestBits) {
    EXPECT_EQ(rounded(flat(1, 1, 255, 0, 0), 6), Pixels{0xF800});
    EXPECT_EQ(rounded(flat(1, 1, 0, 255, 0), 6), Pixels{0x07E0});
    EXPECT_EQ(rounded(flat(1, 1, 0, 0, 255), 6), Pixels{0x001F});
    EXPECT_EQ(rounded(flat(1, 1, 255, 0, 0), 5), Pixels{0x7C00});
    EXPECT_EQ(rounded(flat(1, 1, 0, 255, 0), 5), Pixels{0x03E0});
    EXPECT_EQ(rounded(flat(1, 1, 255, 255, 255), 5), Pixels{0x7FFF});
}

TEST(HighColor, OrderedTakesTheStepAboveWhereThePartPassesTheThreshold) {
    const PlainPicture picture = support::noise(131, 70, 2);
    for (const int greenBits : kGreenBits) {
        const Pixels pixels = ordered(picture, greenBits);
        for (uint32_t i = 0; i < picture.count(); ++i) {
            const int threshold =
                tivar::kThresholdMask[i / picture.width % 64][i % picture.width % 64];
            const Steps steps(pixels[i], greenBits);
            for (int c = 0; c < 3; ++c) {
                const int most = mostOf(c, greenBits);
                const int level = picture.pixel(i)[c];
                int lower = 0;
                while (lower < most && support::plainLevel(lower + 1, most) <= level) ++lower;
                const double from = support::plainLevel(lower, most);
                const double to = support::plainLevel(lower + 1, most);
                const double part = std::floor((level - from) * 255 / (to - from) + 0.5);
                ASSERT_EQ(steps.step[c], lower + (part > threshold ? 1 : 0));
            }
        }
    }
}

TEST(HighColor, DiffusedIsThatOfThePlainModel) {
    for (const uint32_t width : {1u, 2u, 5u, 100u}) {
        for (const uint32_t height : {1u, 2u, 33u}) {
            for (const int greenBits : kGreenBits) {
                for (const PlainPicture& picture :
                     {support::noise(width, height, width), support::smooth(width, height, 9)})
                    EXPECT_EQ(diffused(picture, greenBits), plainDiffusedHigh(picture, greenBits));
            }
        }
    }
}

TEST(HighColor, DitheredFlatColorsKeepTheirMean) {
    for (const int greenBits : kGreenBits) {
        for (int level = 0; level < 256; ++level) {
            const PlainPicture picture = flat(64, 64, level, 255 - level, level / 2);
            for (const Pixels& pixels :
                 {ordered(picture, greenBits), diffused(picture, greenBits)}) {
                for (int c = 0; c < 3; ++c)
                    EXPECT_NEAR(meanOf(pixels, c, greenBits), picture.pixel(0)[c], 0.25);
            }
        }
    }
}

TEST(HighColor, ColorsThatItHasStayAsTheyAre) {
    for (const int greenBits : kGreenBits) {
        for (int step = 0; step < 32; ++step) {
            const int level = support::plainLevel(step, 31);
            const int green = support::plainLevel(step, mostOf(1, greenBits));
            const PlainPicture picture = flat(64, 64, level, green, level);
            const int steps[3] = {step, step, step};
            const Pixels wanted(picture.count(), support::plainPixel(steps, greenBits));
            EXPECT_EQ(rounded(picture, greenBits), wanted);
            EXPECT_EQ(ordered(picture, greenBits), wanted);
            EXPECT_EQ(diffused(picture, greenBits), wanted);
        }
    }
}

TEST(HighColor, SaysWhenThereIsNoMemory) {
    HighDiffusion diffusion;
    const FailingCall failing("calloc");
    EXPECT_FALSE(tivar::prepareHighDiffusion(diffusion, 100, 6));
    EXPECT_TRUE(failing.happened());
}

}  // namespace
