// Pixels, tables and conversions against the plain model, byte for byte, on random bitmaps.
#include "differential.h"

#include "support/captured_text.h"

namespace {

using namespace differential;
using support::boundaryWidths;
using support::CapturedText;
using support::DebugLevel;

// --- Pixels and tables ---

TEST(DifferentialPixels, AreReadAlike) {
    Numbers numbers(1);
    for (const int bits : kDepths) {
        for (const uint32_t width : boundaryWidths()) {
            const Bitmap bitmap = randomBitmap(numbers, width, 2, bits);
            const auto stride = static_cast<int32_t>(model::bytesPerLine(width, bits));
            ASSERT_EQ(rlBytesPerLine(width, narrow(bits)), stride);
            ASSERT_EQ(rlCalcNewSize(width, 2, narrow(bits)), bitmap.data.size());
            Unaligned rows(bitmap.data);
            for (uint32_t y = 0; y < 2; ++y) {
                for (uint32_t x = 0; x < width; ++x)
                    ASSERT_EQ(rlGetPixel(rows.data(), stride, x, y, narrow(bits)),
                              model::getPixel(bitmap, x, y))
                        << Shape{bitmap} << ": " << x << ", " << y;
            }
        }
    }
}

TEST(DifferentialPixels, AreStoredAlike) {
    Numbers numbers(2);
    for (const int bits : kDepths) {
        for (const uint32_t width : boundaryWidths()) {
            if (width == 0) continue;
            Bitmap expected = randomBitmap(numbers, width, 3, bits);
            Unaligned actual(expected.data);
            const auto stride = static_cast<int32_t>(model::bytesPerLine(width, bits));
            for (int i = 0; i < 40; ++i) {
                const uint32_t x = numbers.below(width), y = numbers.below(3);
                const uint32_t count = numbers.oneOf(kCounts);
                const Bytes table = randomTable(numbers, count, numbers.oneOf(kMixes));
                Unaligned entries(table);
                const bool hasTable = numbers.oneIn(2);
                std::vector<uint32_t> map(numbers.oneIn(2) ? 16 : 0);
                for (uint32_t& mapped : map) mapped = numbers.below(count + 3);
                const uint32_t value = numbers.below(map.empty() ? 0xFFFFFFFF : 16);
                rlSetPixel(actual.data(), stride, x, y, narrow(bits), value,
                           map.empty() ? nullptr : map.data(), hasTable ? entries.data() : nullptr,
                           narrow(count));
                model::setPixel(expected, x, y, value, &map, hasTable ? &table : nullptr,
                                static_cast<int>(count));
            }
            ASSERT_TRUE(sameBytes(actual.contents(), expected.data)) << Shape{expected};
        }
    }
}

// A colour of the source's, or one on or near an entry; sometimes no colour at all, since the
// arguments are 16-bit.
std::array<int, 3> randomQuery(Numbers& numbers, const Bytes& table, support::ColorSource& source) {
    const support::Triple color = source.next();
    std::array<int, 3> query = {color[0], color[1], color[2]};
    if (numbers.oneIn(2)) {
        const size_t entry = numbers.below(static_cast<uint32_t>(table.size() / 3)) * 3;
        for (size_t c = 0; c < 3; ++c)
            query[c] = table[entry + c] + static_cast<int>(numbers.below(5)) - 2;
    }
    if (numbers.oneIn(20)) {
        for (int& c : query) c = static_cast<int>(numbers.below(65536)) - 32768;
    }
    return query;
}

// Both answers to one query.
void compareNearest(int r, int g, int b, const Bytes& table, const uint8_t* given, int count) {
    ASSERT_EQ(rlNearestRGBIndex(narrow(r), narrow(g), narrow(b), given, narrow(count)),
              model::nearest(r, g, b, table, count))
        << r << ", " << g << ", " << b << " among " << count;
}

TEST(DifferentialNearest, FindsTheSameEntries) {
    Numbers numbers(3);
    constexpr uint32_t counts[] = {1, 2, 3, 7, 8, 9, 15, 16, 17, 31, 33, 255, 256, 300};
    for (const Mix tableMix : kMixes) {
        for (const Mix queryMix : kMixes) {
            for (const uint32_t count : counts) {
                const Bytes table = randomTable(numbers, count, tableMix);
                Unaligned given(table, 1 + numbers.below(16));
                support::ColorSource source(numbers, queryMix);
                for (int i = 0; i < 40; ++i) {
                    const auto [r, g, b] = randomQuery(numbers, table, source);
                    const uint32_t searched = numbers.oneIn(8) ? count / 2 : count;
                    compareNearest(r, g, b, table, given.data(), static_cast<int>(searched));
                    if (HasFatalFailure()) return;
                }
            }
        }
    }
}

TEST(DifferentialNearest, FindsTheSameEntriesForEveryGreyAndItsNeighbours) {
    Numbers numbers(4);
    for (const Mix mix : kMixes) {
        const Bytes table = randomTable(numbers, 256, mix);
        for (int grey = 0; grey < 256; ++grey) {
            compareNearest(grey, grey, grey, table, table.data(), 256);
            for (int i = 0; i < 6; ++i) {
                const int g = grey + static_cast<int>(numbers.below(11)) - 5;
                const int b = grey + static_cast<int>(numbers.below(11)) - 5;
                compareNearest(grey, g, b, table, table.data(), 256);
            }
            if (HasFatalFailure()) return;
        }
    }
}

TEST(DifferentialNearest, FindsTheSameEntriesAllOverTheColorCube) {
    Numbers numbers(33);
    for (const Mix mix : kMixes) {
        const Bytes table = randomTable(numbers, 12, mix);
        for (uint32_t cell = 0; cell < 32768; ++cell) {
            const auto channel = [&](uint32_t shift) {
                return static_cast<int>((cell >> shift & 31) * 8 + numbers.below(8));
            };
            compareNearest(channel(10), channel(5), channel(0), table, table.data(), 12);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(DifferentialNearest, NoticesThatATableChangedInItsPlace) {
    Numbers numbers(34);
    Bytes table = randomTable(numbers, 64, Mix::Noise);
    for (int i = 0; i < 500; ++i) {
        const int r = numbers.byte(), g = numbers.byte(), b = numbers.byte();
        for (int time = 0; time < 2; ++time) {
            table[numbers.below(192)] = numbers.byte();
            compareNearest(r, g, b, table, table.data(), 64);
        }
    }
}

TEST(DifferentialColormap, HoldsTheSameValues) {
    Numbers numbers(5);
    for (const int sourceBits : {0, 1, 2, 3, 4, 5, 6, 7, 8, 24, 32}) {
        for (const int destBits : {1, 2, 4, 8, 16, 24, 32}) {
            for (const uint32_t count : kCounts) {
                const Bytes from =
                    randomTable(numbers, entriesFor(sourceBits), numbers.oneOf(kMixes));
                const Bytes to = randomTable(numbers, count, numbers.oneOf(kMixes));
                Unaligned fromGiven(from), toGiven(to);
                const bool hasSource = !numbers.oneIn(6), hasDest = !numbers.oneIn(3);
                const Block map(rlBuildColormap(
                    hasSource ? fromGiven.data() : nullptr, narrow(sourceBits),
                    hasDest ? toGiven.data() : nullptr, narrow(destBits), narrow(count)));
                const std::vector<uint32_t> expected =
                    model::colormap(hasSource ? &from : nullptr, sourceBits,
                                    hasDest ? &to : nullptr, destBits, static_cast<int>(count));
                const auto* bytes = reinterpret_cast<const uint8_t*>(expected.data());
                ASSERT_EQ(map.handle == 0, expected.empty());
                ASSERT_TRUE(sameBytes(map.contents(), Bytes(bytes, bytes + expected.size() * 4)))
                    << sourceBits << " to " << destBits << " with " << count;
            }
        }
    }
}

// --- Conversion ---

void compareConversion(const Bitmap& source, int destBits, const Table& from, const Table& to,
                       int count) {
    const Handed bits(source.data);
    ASSERT_TRUE(sameBlock(
        rlConvertBitmapDepth(bits.handle(), source.width, source.height, narrow(source.bits),
                             narrow(destBits), from.handle(), to.handle(), narrow(count)),
        model::convertDepth(source, destBits, from.forModel(), to.forModel(), count).data))
        << Shape{source} << " to " << destBits << " with " << count;
    ASSERT_TRUE(sameBytes(bits.contents(), source.data));
    ASSERT_TRUE(from.unchanged() && to.unchanged());
}

TEST(DifferentialConversion, OfEveryPairOfDepthsAtEveryWidth) {
    Numbers numbers(6);
    for (const int sourceBits : {1, 2, 4, 8, 24, 32}) {
        for (const int destBits : {1, 2, 4, 8, 16, 24, 32}) {
            for (const uint32_t width : boundaryWidths()) {
                Bitmap source =
                    randomBitmap(numbers, width, width % 4, sourceBits, numbers.oneOf(kMixes));
                if (numbers.oneIn(5)) source.data = support::misfit(numbers, source.data);
                const uint32_t count = numbers.below(17);
                const Table none,
                    from(randomTable(numbers, entriesFor(sourceBits), numbers.oneOf(kMixes)));
                const Table to(randomTable(numbers, count, numbers.oneOf(kMixes)));
                compareConversion(source, destBits, none, none, narrow(count));
                compareConversion(source, destBits, from, none, narrow(count));
                compareConversion(source, destBits, none, to, narrow(count));
                compareConversion(source, destBits, from, to, narrow(count));
                if (HasFatalFailure()) return;
            }
        }
    }
}

TEST(DifferentialConversion, WithTablesOfEveryCountAndLength) {
    Numbers numbers(7);
    for (const int sourceBits : kDepths) {
        for (const int destBits : kDepths) {
            for (const uint32_t count : kCounts) {
                for (const Mix mix : kMixes) {
                    const Bitmap source = randomBitmap(numbers, 1 + numbers.below(40), 3,
                                                       sourceBits, numbers.oneOf(kMixes));
                    const Table from(support::misfit(
                        numbers,
                        randomTable(numbers, entriesFor(sourceBits), numbers.oneOf(kMixes))));
                    const Table to(support::misfit(numbers, randomTable(numbers, count, mix)));
                    compareConversion(source, destBits, from, to, narrow(count));
                    compareConversion(source, destBits, Table(), to, -narrow(count));
                    if (HasFatalFailure()) return;
                }
            }
        }
    }
}

TEST(DifferentialConversion, MatchesLargePicturesAlike) {
    // Long enough for any memory of colours to fill up, and for colours to return to it.
    Numbers numbers(8);
    for (const Mix mix : kMixes) {
        const Bitmap source = randomBitmap(numbers, 131, 61, numbers.oneIn(4) ? 32 : 24, mix);
        for (const int destBits : {8, 4, 1}) {
            const uint32_t count = mix == Mix::Noise ? 256 : 1 + numbers.below(100);
            const Table to(randomTable(numbers, count, numbers.oneIn(2) ? mix : Mix::NearGrey));
            compareConversion(source, destBits, Table(), to, narrow(count));
            if (HasFatalFailure()) return;
        }
    }
}

TEST(DifferentialConversion, GivesTheSamePixelsAndTheRightTextAtEveryDebugLevel) {
    Numbers numbers(9);
    for (const int level : {0, 1, 2, 3, 4, -1}) {
        for (const int sourceBits : kDepths) {
            for (const int destBits : kDepths) {
                const uint32_t width = 1 + numbers.below(40);
                const Bitmap source = randomBitmap(numbers, width, 3, sourceBits, Mix::NearGrey);
                const Table from(
                    randomTable(numbers, entriesFor(sourceBits), numbers.oneOf(kMixes)));
                const Table to(randomTable(numbers, 9, numbers.oneOf(kMixes)));
                const DebugLevel guard(level);
                CapturedText output(stdout);
                CapturedText errors(stderr);
                compareConversion(source, destBits, from, to, 9);
                if (HasFatalFailure()) return;
                ASSERT_EQ(errors.text(), conversionText(level, width, 3, destBits));
                ASSERT_EQ(output.text(), "");
            }
        }
    }
}

TEST(DifferentialColorSpaces, AreConvertedAlike) {
    Numbers numbers(10);
    for (const uint32_t width : boundaryWidths()) {
        for (const uint32_t height : {0u, 1u, 2u, 5u}) {
            Bitmap source = randomBitmap(numbers, width, height, 32, numbers.oneOf(kMixes));
            if (numbers.oneIn(2)) source.data = support::misfit(numbers, source.data);
            const uint32_t count = width * height;
            // The packed pixels replace the start of the buffer, as far as it goes.
            const auto packed = [&](const Bytes& pixels) {
                Bytes whole = source.data;
                std::copy_n(pixels.begin(), std::min(pixels.size(), whole.size()), whole.begin());
                return whole;
            };
            const Handed cmyk(source.data), alpha(source.data), rgb(source.data);
            rlCMYKtoRGB(cmyk.handle(), width, height);
            rlALPHAtoRGB(alpha.handle(), width, height);
            rlRGB4toCMYK(rgb.handle(), width, height);
            ASSERT_TRUE(sameBytes(cmyk.contents(), packed(model::cmykToRgb(source.data, count))))
                << Shape{source};
            ASSERT_TRUE(sameBytes(alpha.contents(), packed(model::alphaToRgb(source.data, count))))
                << Shape{source};
            ASSERT_TRUE(sameBytes(rgb.contents(), model::rgb4ToCmyk(source))) << Shape{source};
        }
    }
}

}  // namespace
