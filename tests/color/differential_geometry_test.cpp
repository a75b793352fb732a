// Scaling and mirroring against the plain model, byte for byte, on random bitmaps.
#include "color/scale.h"
#include "differential.h"
#include "support/captured_text.h"

namespace {

using namespace differential;
using support::boundaryWidths;
using support::CapturedText;
using support::DebugLevel;

// --- Scaling ---

void compareScaling(const Bitmap& source, uint32_t destWidth, uint32_t destHeight) {
    const Handed bits(source.data);
    const auto scale = (destWidth + destHeight) % 2 == 0 ? rlShrinkBitmap : rlStretchBitmap;
    ASSERT_TRUE(sameBlock(scale(bits.handle(), narrow(source.bits), source.width, source.height,
                                destWidth, destHeight),
                          model::scale(source, destWidth, destHeight).data))
        << Shape{source} << " to " << destWidth << " x " << destHeight;
    ASSERT_TRUE(sameBytes(bits.contents(), source.data));
}

TEST(DifferentialScaling, BetweenAllSmallWidthsAndHeights) {
    Numbers numbers(25);
    for (uint32_t from = 0; from <= 70; ++from) {
        const int bits = numbers.oneOf(kDepths);
        const Bitmap row = randomBitmap(numbers, from, 1, bits);
        const Bitmap column = randomBitmap(numbers, 1, from, numbers.oneIn(2) ? 8 : bits);
        for (uint32_t to = 0; to <= 70; ++to) {
            compareScaling(row, to, 1);
            compareScaling(column, 1, to);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(DifferentialScaling, OfEveryDepthAndWidth) {
    Numbers numbers(26);
    const std::vector<uint32_t> widths = boundaryWidths();
    for (const int bits : {1, 4, 8, 24, 32, 2, 16}) {
        for (const uint32_t width : widths) {
            Bitmap source = randomBitmap(numbers, width, numbers.below(12), bits);
            if (numbers.oneIn(5)) source.data = support::misfit(numbers, source.data);
            const uint32_t others[] = {width,     width + 1,     width / 2,
                                       width * 2, width * 3 + 1, numbers.oneOf(widths)};
            for (const uint32_t other : others) compareScaling(source, other, numbers.below(15));
            compareScaling(source, width, source.height);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(DifferentialScaling, OfLongRatios) {
    // Where a product of a count and a rounded ratio may fall just below an integer.
    Numbers numbers(27);
    for (int i = 0; i < 150; ++i) {
        const Bitmap row = randomBitmap(numbers, 1 + numbers.below(1500), 1, 8);
        compareScaling(row, 1 + numbers.below(1500), 1);
        const Bitmap column = randomBitmap(numbers, 1, 1 + numbers.below(700), 8);
        compareScaling(column, 1, 1 + numbers.below(700));
        if (HasFatalFailure()) return;
    }
}

TEST(DifferentialScaling, OfSizesThatPass16Bits) {
    Numbers numbers(28);
    compareScaling(randomBitmap(numbers, 3, 1, 8), 66000, 1);
    compareScaling(randomBitmap(numbers, 40000, 1, 8), 70001, 1);
    compareScaling(randomBitmap(numbers, 70001, 1, 8), 65537, 1);
    compareScaling(randomBitmap(numbers, 70001, 1, 8), 70001, 1);
    compareScaling(randomBitmap(numbers, 5, 1, 1), 140000, 2);
    compareScaling(randomBitmap(numbers, 2, 33000, 8), 3, 32999);
    compareScaling(randomBitmap(numbers, 2, 66001, 8), 1, 9001);
    compareScaling(randomBitmap(numbers, 1, 33000, 8), 2, 66500);
}

TEST(DifferentialScaling, OfRowsTouchesTheirPixelsOnly) {
    Numbers numbers(29);
    for (const int bits : kDepths) {
        for (int i = 0; i < 200; ++i) {
            const Bitmap source = randomBitmap(numbers, 1 + numbers.below(70), 1, bits);
            const uint32_t to = 1 + numbers.below(70);
            Bitmap expected = randomBitmap(numbers, to, 1, bits);
            Unaligned from(source.data), row(expected.data);
            const Bitmap scaled = model::scale(source, to, 1);
            // Where rounding leaves a stretched row short, its left end is not written.
            const Bitmap white{source.width, 1, bits, Bytes(source.data.size(), 0xFF)};
            const Bitmap written = model::scale(white, to, 1);
            for (uint32_t x = 0; x < to; ++x) {
                if (model::getPixel(written, x, 0) != 0)
                    model::setPixel(expected, x, 0, model::getPixel(scaled, x, 0), nullptr, nullptr,
                                    0);
            }
            const auto resample = to > source.width ? tivar::StretchX : tivar::ShrinkX;
            ASSERT_EQ(resample(from.data(), row.data(), narrow(bits), source.width, 1, to), 0);
            ASSERT_TRUE(sameBytes(row.contents(), expected.data)) << Shape{source} << " to " << to;
        }
    }
}

TEST(DifferentialScaling, DoesNotDependOnTheDebugLevel) {
    Numbers numbers(35);
    for (const int level : {1, 3, 4, -1}) {
        for (const int bits : kDepths) {
            const DebugLevel guard(level);
            CapturedText output(stdout);
            CapturedText errors(stderr);
            compareScaling(randomBitmap(numbers, 13, 5, bits), 29, 11);
            compareScaling(randomBitmap(numbers, 29, 11, bits), 13, 5);
        }
    }
}

// --- Mirroring ---

Bytes firstBytes(MemHandle handle, size_t size) {
    const auto* data = static_cast<const uint8_t*>(GlobalLock(handle));
    return {data, data + size};
}

// Flips a block that holds the source's data and compares `size` bytes, all that it can reach.
void compareFlip(const Bitmap& source, MemHandle block, size_t size, bool horizontally,
                 bool vertically) {
    Bitmap expected = source;
    expected.data = firstBytes(block, size);
    // Twice, so that what went behind the rows comes back.
    for (int time = 1; time <= 2; ++time) {
        ASSERT_EQ(rlFlipBitmap(block, narrow(source.bits), source.width, source.height,
                               narrow(horizontally), narrow(vertically)),
                  block);
        model::flip(expected, horizontally, vertically);
        ASSERT_TRUE(sameBytes(firstBytes(block, size), expected.data))
            << Shape{source} << (horizontally ? " across" : "") << (vertically ? " down" : "")
            << " in " << source.data.size() << " bytes, time " << time;
    }
}

void compareFlips(const Bitmap& source) {
    const size_t full = size_t{model::bytesPerLine(source.width, source.bits)} * source.height;
    const size_t size = source.data.size();
    for (const bool horizontally : {false, true}) {
        for (const bool vertically : {false, true}) {
            const Block block(source.data);
            // What is long enough has its slack too; the host's own memory has none.
            compareFlip(source, block.handle, size < full ? size : tivar::blockRoom(block.handle),
                        horizontally, vertically);
            Unaligned memory(source.data, 3);
            const Block wrapped(GlobalPointerToHandle(memory.data(), static_cast<uint32_t>(size)));
            compareFlip(source, wrapped.handle, size, horizontally, vertically);
            if (testing::Test::HasFatalFailure()) return;
        }
    }
}

TEST(DifferentialFlip, OfEveryDepthAndWidth) {
    Numbers numbers(30);
    for (const int bits : {1, 4, 8, 24, 32, 2, 16}) {
        for (const uint32_t width : boundaryWidths()) {
            Bitmap source = randomBitmap(numbers, width, numbers.below(9), bits);
            compareFlips(source);
            source.data = support::misfit(numbers, source.data);
            compareFlips(source);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(DifferentialFlip, OfShortAndLongBlocks) {
    Numbers numbers(31);
    for (int i = 0; i < 1500; ++i) {
        Bitmap source =
            randomBitmap(numbers, numbers.below(12), numbers.below(7), numbers.oneOf(kDepths));
        source.data = support::misfit(numbers, source.data);
        compareFlips(source);
        if (HasFatalFailure()) return;
    }
}

TEST(DifferentialFlip, OfRowsThatPassTheirBuffer) {
    Numbers numbers(32);
    compareFlips(randomBitmap(numbers, 32764, 2, 8));
    compareFlips(randomBitmap(numbers, 32765, 2, 8));
    compareFlips(randomBitmap(numbers, 65537, 3, 8));
    compareFlips(randomBitmap(numbers, 22000, 3, 24));
    Bitmap cut = randomBitmap(numbers, 65541, 2, 8);
    cut.data.resize(cut.data.size() - 100);
    compareFlips(cut);
}

TEST(DifferentialFlip, DoesNotDependOnTheDebugLevel) {
    Numbers numbers(36);
    for (const int level : {1, 3, 4, -1}) {
        for (const int bits : kDepths) {
            const DebugLevel guard(level);
            CapturedText output(stdout);
            CapturedText errors(stderr);
            compareFlips(randomBitmap(numbers, 13, 5, bits));
        }
    }
}

}  // namespace
