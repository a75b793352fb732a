// Colours on their way into the file: alpha, greys, reduction to a palette and to 16 bits.
#include <gtest/gtest.h>

#include "write/write_kit.h"

namespace {

using namespace write_kit;

// Every channel value under every alpha.
Drawn everyAlpha(int32_t format) {
    Drawn drawn = {format, 256, 256, {}, {}};
    for (uint32_t alpha = 0; alpha < 256; ++alpha) {
        for (uint32_t value = 0; value < 256; ++value) {
            drawn.rows.push_back(static_cast<uint8_t>(value));
            drawn.rows.push_back(static_cast<uint8_t>(255 - value));
            drawn.rows.push_back(static_cast<uint8_t>(value * 7));
            drawn.rows.push_back(static_cast<uint8_t>(alpha));
        }
    }
    return drawn;
}

TEST(WriteColors, AlphaIsLaidOverTheBackgroundToTheNearest) {
    constexpr uint8_t backgrounds[][3] = {{0, 0, 0}, {255, 255, 255}, {1, 127, 254}};
    for (const int32_t format : {TIVAR_RGBA, TIVAR_BGRA}) {
        const Drawn drawn = everyAlpha(format);
        for (const int32_t bits : {24, 32}) {
            for (const auto& background : backgrounds) {
                TivarOptions options = optionsOf(bits);
                options.alpha = TIVAR_ALPHA_OVER;
                std::copy_n(background, 3, options.background);
                EXPECT_EQ(judge(toMemory(drawn, options), drawn, options), "");
            }
            EXPECT_EQ(judge(toMemory(drawn, optionsOf(bits)), drawn, optionsOf(bits)), "");
            TivarOptions options = optionsOf(bits);
            options.alpha = TIVAR_ALPHA_DROP;
            EXPECT_EQ(judge(toMemory(drawn, options), drawn, options), "");
        }
    }
}

TEST(WriteColors, AWindowsHeaderAt32BitsHasNoPlaceForAlpha) {
    const Drawn drawn = everyAlpha(TIVAR_RGBA);
    TivarOptions options = optionsOf(32);
    options.header = TIVAR_HEADER_WINDOWS;
    TivarOptions wanted = options;
    wanted.alpha = TIVAR_ALPHA_OVER;
    std::memset(wanted.background, 255, 3);
    EXPECT_EQ(judge(toMemory(drawn, options), drawn, wanted), "");
}

TEST(WriteColors, FewColoursOfAPictureWithAlphaAreItsPalette) {
    for (const int32_t bits : {4, 8}) {
        const Drawn drawn = drawFew(TIVAR_RGBA, 40, 40, 1u << bits, 5);
        TivarOptions options = optionsOf(bits);
        options.alpha = TIVAR_ALPHA_OVER;
        options.background[1] = 200;
        const Written written = toMemory(drawn, options);
        EXPECT_EQ(judge(written, drawn, options), "");
        EXPECT_EQ(written.report.exact, 1);
    }
}

TEST(WriteColors, EveryColourBecomesTheNearestOf16Bits) {
    Drawn drawn = {TIVAR_RGB, 256, 3, Bytes(256 * 9), {}};
    for (uint32_t value = 0; value < 256; ++value)
        for (uint32_t y = 0; y < 3; ++y)
            drawn.rows[(y * 256 + value) * 3 + y] = static_cast<uint8_t>(value);
    for (const int32_t masks : {TIVAR_MASKS_565, TIVAR_MASKS_555}) {
        TivarOptions options = optionsOf(16);
        options.masks = masks;
        EXPECT_EQ(judge(toMemory(drawn, options), drawn, options), "");
        options.dither = TIVAR_DITHER_NONE;
        EXPECT_EQ(judge(toMemory(drawn, options), drawn, options), "");
    }
}

TEST(WriteColors, GreyAt8BitsKeepsEveryLevel) {
    Drawn drawn = {TIVAR_GREY, 256, 1, {}, {}};
    for (uint32_t value = 0; value < 256; ++value)
        drawn.rows.push_back(static_cast<uint8_t>(value));
    for (const int32_t colors : {TIVAR_COLORS_DEFAULT, TIVAR_COLORS_BEST, TIVAR_COLORS_GREYS}) {
        TivarOptions options = noOptions();
        options.colors = colors;
        const Written written = toMemory(drawn, options);
        EXPECT_EQ(judge(written, drawn, options), "");
        EXPECT_EQ(written.report.exact, 1);
    }
}

TEST(WriteColors, GreysAreEqualSteps) {
    const Drawn drawn = drawNoise(TIVAR_RGB, 40, 30, 5);
    for (const int32_t bits : {1, 4, 8}) {
        for (const uint32_t count : {0u, 2u, 3u, 9u, 16u, 100u}) {
            const uint32_t full = 1u << bits;
            if (count > full) continue;
            TivarOptions options = optionsOf(bits);
            options.colors = TIVAR_COLORS_GREYS;
            options.max_colors = count;
            model::BmpFile file;
            ASSERT_EQ(read(toMemory(drawn, options), file), "");
            Bytes wanted = model::greys(count == 0 ? full : count);
            if (bits > 1) wanted.resize(std::max<size_t>(wanted.size(), 9));
            EXPECT_EQ(file.palette, wanted) << bits << ", " << count;
        }
    }
}

// Without dithering every pixel has the entry that lies nearest in red, green and blue.
TEST(WriteColors, WithoutDitheringEveryPixelHasTheNearestEntry) {
    for (const int32_t format : {TIVAR_RGB, TIVAR_BGRA, TIVAR_GREY, TIVAR_INDEX8}) {
        const Drawn drawn = drawNoise(format, 50, 40, 5);
        for (const int32_t bits : {1, 4, 8}) {
            const Drawn table = drawNoise(TIVAR_INDEX8, 1, 1, 77);
            for (const int32_t colors :
                 {TIVAR_COLORS_BEST, TIVAR_COLORS_GREYS, TIVAR_COLORS_GIVEN, TIVAR_COLORS_FILTER}) {
                TivarOptions options = optionsOf(bits);
                options.colors = colors;
                options.dither = TIVAR_DITHER_NONE;
                if (colors == TIVAR_COLORS_GIVEN) {
                    options.palette = table.palette.data();
                    options.palette_count = 1u << bits;
                }
                model::BmpFile file;
                ASSERT_EQ(read(toMemory(drawn, options), file), "");
                for (uint32_t y = 0; y < 40; ++y) {
                    for (uint32_t x = 0; x < 50; ++x) {
                        const model::Rgba wanted = model::wantedColor(drawn, options, x, y);
                        ASSERT_EQ(model::distance(model::colorAt(file, x, y), wanted),
                                  model::nearestDistance(file.palette, wanted))
                            << bits << ", colours " << colors << ", " << x << ", " << y;
                    }
                }
            }
        }
    }
}

TEST(WriteColors, AGivenPaletteStaysInItsOrder) {
    const Drawn drawn = drawNoise(TIVAR_RGB, 50, 40, 5);
    const Drawn table = drawNoise(TIVAR_INDEX8, 1, 1, 77);
    for (const int32_t dither :
         {TIVAR_DITHER_DEFAULT, TIVAR_DITHER_NONE, TIVAR_DITHER_DIFFUSE, TIVAR_DITHER_ORDERED}) {
        for (const int32_t bits : {1, 4, 8}) {
            TivarOptions options = optionsOf(bits);
            options.colors = TIVAR_COLORS_GIVEN;
            options.palette = table.palette.data();
            options.palette_count = 1u << bits;
            options.dither = dither;
            model::BmpFile file;
            ASSERT_EQ(read(toMemory(drawn, options), file), "");
            const auto end = table.palette.begin() + (3 << bits);
            EXPECT_EQ(file.palette, Bytes(table.palette.begin(), end));
        }
    }
}

// Where every pixel's own colour is in the palette, nothing is dithered.
TEST(WriteColors, ColoursOfThePaletteAreNotDithered) {
    for (const int32_t bits : {1, 4, 8}) {
        const uint32_t count = 1u << bits;
        const std::vector<model::Rgba> colors = someColors(count, false, 3);
        const Drawn drawn = drawWith(TIVAR_RGB, 60, 40, 3, colors);
        Bytes palette;
        for (const model::Rgba& color : colors)
            palette.insert(palette.end(), {color.red, color.green, color.blue});
        for (const int32_t dither : {TIVAR_DITHER_DIFFUSE, TIVAR_DITHER_ORDERED}) {
            TivarOptions options = optionsOf(bits);
            options.dither = dither;
            options.colors = TIVAR_COLORS_GIVEN;
            options.palette = palette.data();
            options.palette_count = count;
            const Written written = toMemory(drawn, options);
            EXPECT_EQ(judge(written, drawn, options), "") << bits << ", dither " << dither;
            EXPECT_EQ(written.report.exact, 1);
            options.palette = nullptr;
            options.palette_count = 0;
            options.colors = TIVAR_COLORS_BEST;
            EXPECT_EQ(judge(toMemory(drawn, options), drawn, options), "");
        }
    }
}

TEST(WriteColors, ReportsSayWhetherAnythingWasReduced) {
    const Drawn noise = drawNoise(TIVAR_RGB, 40, 40, 5);
    for (const int32_t bits : {1, 4, 8, 16})
        EXPECT_EQ(toMemory(noise, optionsOf(bits)).report.exact, 0) << bits;
    for (const int32_t bits : {24, 32})
        EXPECT_EQ(toMemory(noise, optionsOf(bits)).report.exact, 1) << bits;
    const Drawn few = drawFew(TIVAR_INDEX8, 40, 40, 200);
    EXPECT_EQ(toMemory(few, optionsOf(8)).report.exact, 1);
    EXPECT_EQ(toMemory(few, optionsOf(4)).report.exact, 0);
}

TEST(WriteColors, IndicesBeyondAFullPaletteAreTheDarkestEntryWhichIsTold) {
    Drawn drawn = drawNoise(TIVAR_INDEX8, 20, 20, 5, 16);
    drawn.palette.assign(48, 200);
    drawn.palette[7 * 3] = 9;
    const Written written = toMemory(drawn, optionsOf(4));
    EXPECT_EQ(written.report.exact, 0);
    model::BmpFile file;
    ASSERT_EQ(read(written, file), "");
    EXPECT_EQ(file.palette, drawn.palette);
    for (uint32_t y = 0; y < 20; ++y)
        for (uint32_t x = 0; x < 20; ++x) {
            const uint32_t index = model::indexAt(drawn, x, y);
            EXPECT_EQ(model::valueAt(file, x, y), index < 16 ? index : 7);
        }
    for (uint8_t& index : drawn.rows) index = index % 16;
    EXPECT_EQ(toMemory(drawn, optionsOf(4)).report.exact, 1);
}

TEST(WriteColors, PicturesOfTheLevelsOf16BitsAreExact) {
    for (const int32_t masks : {TIVAR_MASKS_565, TIVAR_MASKS_555}) {
        const uint32_t most = masks == TIVAR_MASKS_555 ? 31 : 63;
        Drawn drawn = {TIVAR_RGB, 64, 1, {}, {}};
        for (uint32_t x = 0; x < 64; ++x)
            for (const uint32_t steps : {31u, most, 31u})
                drawn.rows.push_back(
                    static_cast<uint8_t>((2 * 255 * (x % (steps + 1)) + steps) / (2 * steps)));
        for (const int32_t dither :
             {TIVAR_DITHER_NONE, TIVAR_DITHER_DIFFUSE, TIVAR_DITHER_ORDERED}) {
            TivarOptions options = optionsOf(16);
            options.masks = masks;
            options.dither = dither;
            const Written written = toMemory(drawn, options);
            EXPECT_EQ(written.report.exact, 1);
            model::BmpFile file;
            ASSERT_EQ(read(written, file), "");
            for (uint32_t x = 0; x < 64; ++x)
                EXPECT_EQ(model::colorAt(file, x, 0), model::colorAt(drawn, x, 0));
        }
        drawn.rows[100] ^= 1;
        TivarOptions options = optionsOf(16);
        options.masks = masks;
        EXPECT_EQ(toMemory(drawn, options).report.exact, 0);
    }
}

TEST(WriteColors, TheNumberOfColoursCanBeLimited) {
    const Drawn noise = drawNoise(TIVAR_RGB, 60, 60, 5);
    for (const int32_t bits : {4, 8}) {
        for (const uint32_t most : {3u, 7u, 16u}) {
            for (const int32_t colors : {TIVAR_COLORS_BEST, TIVAR_COLORS_FILTER}) {
                TivarOptions options = optionsOf(bits);
                options.colors = colors;
                options.max_colors = most;
                const Written written = toMemory(noise, options);
                model::BmpFile file;
                ASSERT_EQ(read(written, file), "");
                EXPECT_LE(file.palette.size() / 3, most);
                EXPECT_EQ(written.report.colors, file.palette.size() / 3);
            }
        }
    }
}

// A flat field keeps its mean within one level, dithered to whatever has black and white.
TEST(WriteColors, FlatFieldsKeepTheirMean) {
    for (uint32_t level = 0; level < 256; level += 5) {
        const Drawn flat = {TIVAR_GREY, 256, 256, Bytes(65536, static_cast<uint8_t>(level)), {}};
        for (const int32_t dither : {TIVAR_DITHER_DIFFUSE, TIVAR_DITHER_ORDERED}) {
            TivarOptions options = optionsOf(1);
            options.dither = dither;
            model::BmpFile file;
            ASSERT_EQ(read(toMemory(flat, options), file), "");
            uint64_t sum = 0;
            for (uint32_t y = 0; y < 256; ++y)
                for (uint32_t x = 0; x < 256; ++x) sum += model::colorAt(file, x, y).red;
            EXPECT_NEAR(static_cast<double>(sum) / 65536, level, 1.0)
                << level << ", dither " << dither;
        }
    }
}

}  // namespace
