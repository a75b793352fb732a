#include "write/diffuse.h"

#include <gtest/gtest.h>

#include <memory>

#include "support/failing_call.h"
#include "write/dither_kit.h"

namespace {

using support::FailingCall;
using support::flat;
using support::flatColor;
using support::flatGrey;
using support::greysFrom;
using support::Indices;
using support::meanOf;
using support::PlainPicture;
using support::Random;
using support::randomTable;
using tivar::ColorTable;
using tivar::Diffusion;
using tivar::kFlightRows;

ColorTable colorsFrom(const std::vector<std::array<int, 3>>& colors) {
    ColorTable table{};
    for (const auto& color : colors) {
        for (size_t c = 0; c < 3; ++c)
            table.entries[table.count][c] = static_cast<uint8_t>(color[c]);
        ++table.count;
    }
    return table;
}

const ColorTable kBlackWhite = greysFrom({0, 255});
const ColorTable kSixteenGreys = support::evenGreys(16);

// Diffuses the picture, so many rows a call.
Indices diffused(const PlainPicture& picture, const ColorTable& table, uint32_t together) {
    const auto diffusion = std::make_unique<Diffusion>();
    EXPECT_TRUE(prepareDiffusion(*diffusion, picture.width, table));
    Indices indices(picture.count(), 0xEE);
    for (uint32_t y = 0; y < picture.height; y += together) {
        std::vector<const uint8_t*> rows;
        std::vector<uint8_t*> to;
        for (uint32_t i = y; i < std::min(y + together, picture.height); ++i) {
            rows.push_back(picture.pixel(i * picture.width));
            to.push_back(indices.data() + i * picture.width);
        }
        diffuseRows(*diffusion, rows.data(), to.data(), static_cast<uint32_t>(rows.size()));
    }
    return indices;
}

Indices plain(const PlainPicture& picture, const ColorTable& table) {
    bool grey = true;
    for (uint32_t i = 0; i < table.count; ++i)
        for (int c = 1; c < 3; ++c) grey = grey && table.entries[i][c] == table.entries[i][0];
    return grey ? plainDiffusedGreys(picture, table) : plainDiffusedColors(picture, table);
}

void expectPlain(const PlainPicture& picture, const ColorTable& table) {
    const Indices wanted = plain(picture, table);
    for (const uint32_t together : {1u, 3u, kFlightRows, 20u})
        ASSERT_EQ(diffused(picture, table, together), wanted)
            << picture.width << " x " << picture.height << " to " << table.count << ", " << together
            << " rows together";
}

// Black and white in tiles: errors as great as they come.
PlainPicture tiles(uint32_t width, uint32_t height, uint32_t side) {
    PlainPicture picture(width, height);
    for (uint32_t i = 0; i < picture.count(); ++i) {
        const int level = (i % width / side + i / width / side) % 2 == 0 ? 255 : 0;
        picture.set(i, level, level, level);
    }
    return picture;
}

// ---- The rule ----

// Widths around the places where rows are not all in flight; heights with and without a rest.
constexpr uint32_t kWidths[] = {1, 2, 3, 7, 8, 20, 21, 22, 23, 31, 45, 127, 150, 151, 300};
constexpr uint32_t kHeights[] = {1, 7, 8, 9, 24, 37};

TEST(Diffusion, OfGreysIsThatOfThePlainModel) {
    uint32_t seed = 0;
    for (const uint32_t width : kWidths) {
        for (const uint32_t height : kHeights) {
            constexpr uint32_t kCounts[] = {1, 2, 3, 5, 16, 256};
            const uint32_t count = kCounts[++seed % 6];
            expectPlain(support::noise(width, height, seed), randomTable(count, true, seed));
            expectPlain(support::smooth(width, height, seed), randomTable(2, true, seed + 1));
        }
    }
}

TEST(Diffusion, OfColorsIsThatOfThePlainModel) {
    uint32_t seed = 0;
    for (const uint32_t width : kWidths) {
        for (const uint32_t height : kHeights) {
            constexpr uint32_t kCounts[] = {1, 2, 3, 4, 7, 13, 15, 16, 17, 64, 256};
            const uint32_t count = kCounts[++seed % 11];
            expectPlain(support::noise(width, height, seed), randomTable(count, false, seed));
            expectPlain(support::smooth(width, height, seed), randomTable(count, false, seed + 1));
        }
    }
}

TEST(Diffusion, KeepsToTheModelWhereLevelsAreHeldBack) {
    for (const uint32_t side : {1u, 2u, 5u, 40u}) {
        const PlainPicture picture = tiles(97, 42, side);
        expectPlain(picture, kBlackWhite);
        expectPlain(picture, greysFrom({255, 0}));
        expectPlain(picture, greysFrom({120, 140}));
        expectPlain(picture, greysFrom({120, 140, 121}));
        expectPlain(picture, greysFrom({200}));
        expectPlain(picture, kSixteenGreys);
        expectPlain(picture, colorsFrom({{120, 130, 140}, {140, 120, 130}}));
        expectPlain(picture, colorsFrom({{0, 0, 0}, {255, 0, 0}, {0, 0, 255}}));
        expectPlain(picture, colorsFrom({{9, 8, 7}}));
    }
}

TEST(Diffusion, PassesErrorsOnFromTheDarkestAndTheLightestGrey) {
    Random random(12);
    for (const bool light : {false, true}) {
        PlainPicture picture(61, 40);
        for (uint32_t i = 0; i < picture.count(); ++i) {
            const int level = static_cast<int>(random() % 6 / 2 * 5);
            const int grey = light ? 255 - level : level;
            picture.set(i, grey, grey, grey);
        }
        expectPlain(picture, kBlackWhite);
        expectPlain(picture, kSixteenGreys);
    }
}

TEST(Diffusion, TakesTheFirstOfEntriesThatAreAlikeOrAsNear) {
    const PlainPicture picture = support::smooth(70, 19, 4);
    expectPlain(picture, greysFrom({100, 200, 100, 200}));
    expectPlain(picture, greysFrom({200, 100, 100, 0}));
    expectPlain(picture, colorsFrom({{0, 200, 0}, {100, 0, 100}, {0, 200, 0}, {100, 0, 100}}));
}

TEST(Diffusion, BeginsAnewWhenItIsPreparedAgain) {
    const PlainPicture picture = support::noise(33, 11, 8);
    Diffusion diffusion;
    Indices first(33);
    Indices again(33);
    for (Indices* indices : {&first, &again}) {
        ASSERT_TRUE(prepareDiffusion(diffusion, 33, kBlackWhite));
        const uint8_t* row = picture.pixel(0);
        uint8_t* to = indices->data();
        diffuseRows(diffusion, &row, &to, 1);
    }
    EXPECT_EQ(first, again);
}

// ---- What it looks like ----

TEST(Diffusion, OfAFlatGreyKeepsItsMean) {
    for (const ColorTable& table : {kBlackWhite, kSixteenGreys}) {
        for (int grey = 0; grey < 256; ++grey)
            EXPECT_NEAR(meanOf(diffused(flatGrey(64, grey), table, 8), table), grey, 1.0);
    }
}

TEST(Diffusion, OfAFlatGreyNearlyKeepsItsMeanInTheFirstRows) {
    for (int grey = 0; grey < 256; ++grey)
        EXPECT_NEAR(meanOf(diffused(flat(256, 16, grey, grey, grey), kBlackWhite, 8), kBlackWhite),
                    grey, 3.5);
}

TEST(Diffusion, OfAFlatColorThatThePaletteMixesKeepsItsMean) {
    const ColorTable corners = support::cornerColors();
    Random random(5);
    for (int i = 0; i < 40; ++i) {
        const uint8_t color[3] = {random.byte(), random.byte(), random.byte()};
        const Indices indices = diffused(flatColor(96, color), corners, 8);
        for (int c = 0; c < 3; ++c) EXPECT_NEAR(meanOf(indices, corners, c), color[c], 3.0);
    }
}

TEST(Diffusion, LeavesEntriesOwnColorsAlone) {
    const ColorTable colors = randomTable(16, false, 3);
    for (uint32_t i = 0; i < 16; ++i) {
        const Indices wanted(400, static_cast<uint8_t>(i));
        EXPECT_EQ(diffused(flatColor(20, colors.entries[i]), colors, 8), wanted);
        EXPECT_EQ(diffused(flatColor(20, kSixteenGreys.entries[i]), kSixteenGreys, 8), wanted);
    }
}

// Entries side by side at both ends of the levels.
TEST(Diffusion, TellsTheLowestAndHighestLevelFromTheirNeighbours) {
    const ColorTable greys = greysFrom({0, 1, 254, 255});
    for (const int index : {0, 1, 2, 3})
        EXPECT_EQ(diffused(flatColor(20, greys.entries[index]), greys, 8),
                  Indices(400, static_cast<uint8_t>(index)));
}

// The longest run of the rarer of two indices in the rows and columns of a flat field.
uint32_t longestRun(const Indices& indices, uint32_t side, uint8_t rare) {
    uint32_t longest = 0;
    for (const bool across : {true, false}) {
        for (uint32_t line = 0; line < side; ++line) {
            uint32_t run = 0;
            for (uint32_t i = 0; i < side; ++i) {
                run = indices[across ? line * side + i : i * side + line] == rare ? run + 1 : 0;
                longest = std::max(longest, run);
            }
        }
    }
    return longest;
}

TEST(Diffusion, OfAFlatGreySetsNoDotsInLines) {
    for (int grey = 1; grey < 255; ++grey) {
        const int tone = std::min(grey, 255 - grey);
        const uint32_t most = tone < 48 ? 2 : tone <= 72 ? 4 : 20;
        EXPECT_LE(longestRun(diffused(flatGrey(128, grey), kBlackWhite, 8), 128, grey < 128), most)
            << grey;
    }
}

// Of 16 x 16 pixels the mean that is farthest from the grey.
double unevenness(const Indices& indices, uint32_t side, int grey) {
    double most = 0;
    for (uint32_t top = 0; top < side; top += 16) {
        for (uint32_t left = 0; left < side; left += 16) {
            int white = 0;
            for (uint32_t i = 0; i < 256; ++i)
                white += indices[(top + i / 16) * side + left + i % 16];
            most = std::max(most, std::abs(white * 255.0 / 256 - grey));
        }
    }
    return most;
}

TEST(Diffusion, OfAFlatGreySpreadsItsDotsEvenly) {
    for (int grey = 0; grey < 256; ++grey)
        EXPECT_LE(unevenness(diffused(flatGrey(128, grey), kBlackWhite, 8), 128, grey), 6.0)
            << grey;
}

TEST(Diffusion, SaysWhenThereIsNoMemory) {
    for (const ColorTable& table :
         {kBlackWhite, randomTable(16, false, 1), randomTable(99, false, 1)}) {
        for (const char* call : {"malloc", "calloc"}) {
            for (int nth = 1;; ++nth) {
                const auto diffusion = std::make_unique<Diffusion>();
                const FailingCall failing(call, nth);
                const bool prepared = prepareDiffusion(*diffusion, 100, table);
                EXPECT_NE(prepared, failing.happened());
                if (!failing.happened()) break;
            }
        }
    }
}

}  // namespace
