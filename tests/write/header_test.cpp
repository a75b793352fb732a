// What headers and palettes say.
#include "write/header.h"

#include <gtest/gtest.h>

#include "support/byte_list.h"
#include "write/write_kit.h"

namespace {

using namespace write_kit;
using support::slice;

model::BmpFile fileOf(const Drawn& drawn, const TivarOptions& options) {
    model::BmpFile file = {};
    EXPECT_EQ(read(toMemory(drawn, options), file), "");
    return file;
}

TEST(WriteHeader, HasAsManyBytesAsItsFormSays) {
    const Drawn drawn = drawNoise(TIVAR_RGB, 3, 2, 1);
    const TivarPicture picture = recordOf(drawn);
    for (const int32_t bits : {1, 4, 8, 16, 24}) {
        for (const int32_t header : {TIVAR_HEADER_WINDOWS, TIVAR_HEADER_OS2, TIVAR_HEADER_V4}) {
            TivarOptions options = optionsOf(bits);
            options.header = header;
            tivar::Job job;
            if (tivar::checkJob(&picture, &options, job).result != TIVAR_RESULT_OK) continue;
            tivar::ColorTable table = {};
            table.count = 2;
            const tivar::FileForm form = tivar::describeForm(job, table.count, false);
            for (const uint8_t blank : {uint8_t{0xEE}, uint8_t{0x11}}) {
                Bytes bytes(form.headerBytes + 8, blank);
                tivar::putHeader(job, form, table, bytes.data());
                EXPECT_EQ(Bytes(bytes.end() - 8, bytes.end()), Bytes(8, blank)) << bits;
            }
        }
    }
}

// 0 says that there are as many as the depth has room for. Deeper ones than 1 bit have three at
// least.
TEST(WriteHeader, ColoursAreCountedUnlessThePaletteIsFull) {
    const Drawn drawn = drawNoise(TIVAR_RGB, 3, 2, 1);
    const TivarPicture picture = recordOf(drawn);
    struct Case {
        int32_t bits;
        uint32_t colors;
        uint8_t told;
    };
    for (const Case& c : {Case{1, 2, 0},
                          {4, 2, 3},
                          {4, 15, 15},
                          {4, 16, 0},
                          {8, 255, 255},
                          {8, 256, 0},
                          {24, 0, 0}}) {
        for (const int32_t header : {TIVAR_HEADER_WINDOWS, TIVAR_HEADER_V4}) {
            TivarOptions options = optionsOf(c.bits);
            options.header = header;
            tivar::Job job;
            ASSERT_EQ(tivar::checkJob(&picture, &options, job).result, TIVAR_RESULT_OK);
            tivar::ColorTable table = {};
            table.count = c.colors;
            const tivar::FileForm form = tivar::describeForm(job, table.count, false);
            Bytes bytes(form.headerBytes);
            tivar::putHeader(job, form, table, bytes.data());
            EXPECT_EQ(slice(bytes, 46, 4), (Bytes{c.told, 0, 0, 0})) << c.bits << ", " << c.colors;
        }
    }
}

TEST(WriteHeader, TheResolutionIsWhatWasAsked) {
    const Drawn drawn = drawNoise(TIVAR_RGB, 3, 2, 1);
    for (const int32_t header : {TIVAR_HEADER_WINDOWS, TIVAR_HEADER_V4}) {
        for (const int32_t x : {0, 1, 2835, INT32_MAX}) {
            for (const int32_t y : {0, 11811, INT32_MAX}) {
                TivarOptions options = noOptions();
                options.header = header;
                options.x_per_meter = x;
                options.y_per_meter = y;
                const model::BmpFile file = fileOf(drawn, options);
                EXPECT_EQ(file.xPerMeter, x);
                EXPECT_EQ(file.yPerMeter, y);
            }
        }
    }
}

TEST(WriteHeader, MasksAreThoseOfTheOptionsAndOfTheV4Header) {
    const Drawn drawn = drawNoise(TIVAR_RGBA, 5, 4, 1);
    TivarOptions options = optionsOf(16);
    for (const int32_t header : {TIVAR_HEADER_WINDOWS, TIVAR_HEADER_V4}) {
        options.header = header;
        options.masks = TIVAR_MASKS_565;
        const model::BmpFile wide = fileOf(drawn, options);
        EXPECT_EQ(wide.compression, model::kMasks);
        EXPECT_EQ(wide.masks[0], 0xF800u);
        EXPECT_EQ(wide.masks[1], 0x07E0u);
        EXPECT_EQ(wide.masks[2], 0x001Fu);
        EXPECT_EQ(wide.masks[3], 0u);
        options.masks = TIVAR_MASKS_555;
        EXPECT_EQ(model::compareExactly(fileOf(drawn, options), drawn, options), "");
    }
    options = optionsOf(32);
    const model::BmpFile file = fileOf(drawn, options);
    EXPECT_EQ(file.headerSize, 108u);
    EXPECT_EQ(file.masks[0], 0x00FF0000u);
    EXPECT_EQ(file.masks[1], 0x0000FF00u);
    EXPECT_EQ(file.masks[2], 0x000000FFu);
    EXPECT_EQ(file.masks[3], 0xFF000000u);
}

// ---- Palettes ----------------------------------------------------------------------------------

size_t entriesOf(const Drawn& drawn, const TivarOptions& options) {
    const model::BmpFile file = fileOf(drawn, options);
    EXPECT_EQ(model::compareExactly(file, drawn, options), "");
    return file.palette.size() / 3;
}

TEST(WriteHeader, OnlyTheColoursThatThereAreStandInThePalette) {
    for (const int32_t bits : {4, 8}) {
        for (const uint32_t count : {3u, 5u, 15u, 16u, 17u, 100u, 255u, 256u}) {
            if (count > 1u << bits) continue;
            const Drawn colors = drawFew(TIVAR_RGB, 120, 64, count, count);
            EXPECT_EQ(entriesOf(colors, optionsOf(bits)), count);
            const Drawn indices = drawFew(TIVAR_INDEX8, 120, 64, count, count);
            EXPECT_EQ(entriesOf(indices, optionsOf(bits)), count);
            TivarOptions given = optionsOf(bits);
            given.colors = TIVAR_COLORS_GIVEN;
            given.palette = indices.palette.data();
            given.palette_count = count;
            EXPECT_EQ(entriesOf(colors, given), count);
        }
    }
}

// A reader takes a palette of two colours for that of 1 bit a pixel, whatever the depth says.
TEST(WriteHeader, PalettesOf4And8BitsHaveThreeEntriesAtLeast) {
    for (const int32_t bits : {4, 8}) {
        for (const uint32_t count : {1u, 2u}) {
            const Drawn drawn = drawFew(TIVAR_RGB, 9, 9, count);
            const model::BmpFile file = fileOf(drawn, optionsOf(bits));
            ASSERT_EQ(file.palette.size(), 9u);
            EXPECT_EQ(slice(file.palette, 3 * count), Bytes(9 - 3 * count));
            const Written written = toMemory(drawn, optionsOf(bits));
            EXPECT_EQ(written.report.colors, 3u);
        }
    }
    EXPECT_EQ(entriesOf(drawFew(TIVAR_INDEX1, 9, 9, 1), noOptions()), 2u);
}

TEST(WriteHeader, AFullPaletteIsBlackBehindTheLastColour) {
    for (const int32_t bits : {1, 4, 8}) {
        const Drawn drawn = drawFew(TIVAR_INDEX1, 9, 9, 2);
        for (const bool isOs2 : {false, true}) {
            TivarOptions options = optionsOf(bits);
            if (isOs2) {
                options.header = TIVAR_HEADER_OS2;
            } else {
                options.palette_length = TIVAR_PALETTE_FULL;
            }
            const model::BmpFile file = fileOf(drawn, options);
            const size_t full = size_t{3} << bits;
            ASSERT_EQ(file.palette.size(), full);
            EXPECT_EQ(slice(file.palette, 0, 6), drawn.palette);
            EXPECT_EQ(slice(file.palette, 6), Bytes(full - 6));
            EXPECT_EQ(model::compareExactly(file, drawn, options), "");
        }
    }
}

TEST(WriteHeader, IndicesKeepTheirPaletteAndTheirNumbers) {
    for (const int32_t format : {TIVAR_INDEX1, TIVAR_INDEX4, TIVAR_INDEX8}) {
        for (const int32_t bits : {1, 4, 8}) {
            if (bits < model::bitsOfFormat(format)) continue;
            const Drawn drawn = drawNoise(format, 37, 21, 4);
            const model::BmpFile file = fileOf(drawn, optionsOf(bits));
            EXPECT_EQ(slice(file.palette, 0, drawn.palette.size()), drawn.palette);
            for (uint32_t y = 0; y < 21; ++y)
                for (uint32_t x = 0; x < 37; ++x)
                    ASSERT_EQ(model::valueAt(file, x, y), model::indexAt(drawn, x, y));
        }
    }
}

TEST(WriteHeader, AShortPaletteOfMoreBitsFitsFewer) {
    for (const int32_t bits : {1, 4}) {
        const Drawn drawn = drawFew(TIVAR_INDEX8, 37, 21, 1u << bits, 6);
        const model::BmpFile file = fileOf(drawn, optionsOf(bits));
        EXPECT_EQ(file.palette, drawn.palette);
        EXPECT_EQ(model::compareExactly(file, drawn, optionsOf(bits)), "");
    }
}

TEST(WriteHeader, IndicesBeyondThePaletteAreBlack) {
    for (const int32_t format : {TIVAR_INDEX1, TIVAR_INDEX4, TIVAR_INDEX8}) {
        const uint32_t room = 1u << model::bitsOfFormat(format);
        for (const uint32_t count : {1u, 2u, 9u, 200u, 255u}) {
            if (count >= room) continue;
            const Drawn drawn = drawNoise(format, 37, 21, count, count);
            for (const int32_t bits : {0, 8, 24, 32}) {
                for (const int32_t encoding : {TIVAR_ENCODING_RAW, TIVAR_ENCODING_SMALLEST}) {
                    TivarOptions options = optionsOf(bits);
                    options.encoding = encoding;
                    EXPECT_EQ(judge(toMemory(drawn, options), drawn, options), "")
                        << format << ", " << count << ", " << bits;
                }
            }
        }
    }
}

}  // namespace
