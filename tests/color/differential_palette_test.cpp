// Reduction, dithering and the change of resolution against the plain model, byte for byte, on
// random bitmaps.
#include "differential.h"

#include "support/captured_text.h"

namespace {

using namespace differential;
using support::boundaryWidths;
using support::CapturedText;
using support::DebugLevel;

// --- Reduction ---

void compareReduction(const Bitmap& source, uint32_t wanted) {
    const Handed bits(source.data);
    auto count = static_cast<uint16_t>(wanted);
    const MemHandle table = rlReduceColorTable(bits.handle(), static_cast<uint16_t>(source.width),
                                               static_cast<uint16_t>(source.height), &count);
    const model::Reduced expected = model::reduceColors(source, static_cast<int>(wanted));
    ASSERT_TRUE(sameBlock(table, expected.table)) << Shape{source} << ", " << wanted;
    ASSERT_EQ(count, expected.count) << Shape{source} << ", " << wanted;
    ASSERT_TRUE(sameBytes(bits.contents(), source.data));
}

TEST(DifferentialReduction, OfEveryCountAndMix) {
    Numbers numbers(11);
    constexpr uint32_t counts[] = {0, 1, 2, 3, 4, 5, 7, 8, 15, 16, 17, 248, 255, 256, 300, 65535};
    for (const Mix mix : kMixes) {
        for (const uint32_t wanted : counts) {
            compareReduction(randomBitmap(numbers, 64, 40, 24, mix), wanted);
            compareReduction(
                randomBitmap(numbers, 1 + numbers.below(40), 1 + numbers.below(9), 24, mix),
                wanted);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(DifferentialReduction, AtEveryWidthAndWithShortBlocks) {
    Numbers numbers(12);
    for (const uint32_t width : boundaryWidths()) {
        Bitmap source = randomBitmap(numbers, width, width % 5, 24, numbers.oneOf(kMixes));
        if (numbers.oneIn(3)) source.data = support::misfit(numbers, source.data);
        compareReduction(source, 2 + numbers.below(30));
        if (HasFatalFailure()) return;
    }
}

TEST(DifferentialReduction, AroundTheNumberOfDistinctColors) {
    Numbers numbers(13);
    for (int i = 0; i < 60; ++i) {
        const Bitmap source =
            randomBitmap(numbers, 2 + numbers.below(20), 1, 24, numbers.oneOf(kMixes));
        const int distinct = model::reduceColors(source, 65535).count;
        for (int wanted = std::max(distinct - 2, 0); wanted <= distinct + 2; ++wanted)
            compareReduction(source, static_cast<uint32_t>(wanted));
        if (HasFatalFailure()) return;
    }
}

TEST(DifferentialReduction, OfManyPixelsAndOfSaturatedCounters) {
    Numbers numbers(14);
    compareReduction(randomBitmap(numbers, 300, 300, 24, Mix::Noise), 256);
    compareReduction(randomBitmap(numbers, 300, 300, 24, Mix::Noise), 1500);
    Bitmap few = randomBitmap(numbers, 400, 400, 24, Mix::Few);
    // Most of it is one colour; rows of 400 pixels have no padding.
    std::fill(few.data.begin(), few.data.begin() + 1200 * 300, uint8_t{200});
    for (uint32_t wanted = 1; wanted <= 7; ++wanted) compareReduction(few, wanted);
}

// --- Dithering ---

TEST(DifferentialDither, OfOneLineAtEveryWidth) {
    Numbers numbers(15);
    for (const uint32_t width : boundaryWidths()) {
        for (const uint32_t count : {0u, 1u, 2u, 8u, 16u, 256u, 300u}) {
            if (count > 16 && width % 8 != 1) continue;
            Bytes row = randomBitmap(numbers, width, 1, 24, numbers.oneOf(kMixes)).data;
            Bytes next = randomBitmap(numbers, width, 1, 24, numbers.oneOf(kMixes)).data;
            // Nothing but the pixels may be touched.
            row.resize(width * 3);
            next.resize(width * 3);
            const Bytes table = randomTable(numbers, std::max(count, 1u), numbers.oneOf(kMixes));
            const bool last = numbers.oneIn(4);
            Unaligned rowGiven(row), nextGiven(next), tableGiven(table);
            model::ditherOneLine(row, last ? nullptr : &next, table, width, narrow(count));
            _rlDitherOneLine(rowGiven.data(), last ? nullptr : nextGiven.data(), tableGiven.data(),
                             width, narrow(count));
            ASSERT_TRUE(sameBytes(rowGiven.contents(), row)) << width << " with " << count;
            ASSERT_TRUE(sameBytes(nextGiven.contents(), next)) << width << " with " << count;
        }
    }
}

void compareGivenTable(const Bitmap& source, int destBits, const Table& from, const Table& to,
                       int count) {
    const Handed bits(source.data);
    ASSERT_TRUE(
        sameBlock(rlDitherGivenCT(bits.handle(), source.width, source.height, narrow(source.bits),
                                  narrow(destBits), from.handle(), to.handle(), narrow(count)),
                  model::ditherTo(source, destBits, from.forModel(), *to.forModel(), count).data))
        << Shape{source} << " to " << destBits << " with " << count;
    ASSERT_TRUE(sameBytes(bits.contents(), source.data));
    ASSERT_TRUE(from.unchanged() && to.unchanged());
}

TEST(DifferentialDither, ToAGivenTable) {
    Numbers numbers(16);
    for (const int sourceBits : kDepths) {
        for (const int destBits : {1, 4, 8, 24, 32, 2}) {
            for (const uint32_t count : kCounts) {
                Bitmap source = randomBitmap(numbers, 1 + numbers.below(40), numbers.below(6),
                                             sourceBits, numbers.oneOf(kMixes));
                if (numbers.oneIn(5)) source.data = support::misfit(numbers, source.data);
                const Table from(
                    randomTable(numbers, entriesFor(sourceBits), numbers.oneOf(kMixes)));
                Bytes table = randomTable(numbers, count, numbers.oneOf(kMixes));
                if (numbers.oneIn(3)) table = support::misfit(numbers, table);
                compareGivenTable(source, destBits, from, Table(table), narrow(count));
                compareGivenTable(source, destBits, Table(), Table(table), narrow(count));
                if (HasFatalFailure()) return;
            }
        }
    }
}

TEST(DifferentialDither, ChoosesTheSameTables) {
    Numbers numbers(17);
    for (const int sourceBits : kDepths) {
        for (const int destBits : {0, 1, 2, 3, 4, 5, 6, 7, 8}) {
            for (const Mix mix : kMixes) {
                const Bitmap source =
                    randomBitmap(numbers, 1 + numbers.below(60), numbers.below(9), sourceBits, mix);
                const Table from(
                    randomTable(numbers, entriesFor(sourceBits), numbers.oneOf(kMixes)));
                const Handed bits(source.data);
                MemHandle table = 0;
                uint16_t count = 0;
                ASSERT_EQ(
                    rlDitherGetCT(bits.handle(), source.width, source.height, narrow(sourceBits),
                                  narrow(destBits), from.handle(), &table, &count),
                    0);
                const model::Reduced expected =
                    model::ditherTable(source, destBits, from.forModel());
                ASSERT_TRUE(sameBlock(table, expected.table))
                    << Shape{source} << " to " << destBits;
                ASSERT_EQ(count, expected.count);
            }
        }
    }
}

void compareDither(const Bitmap& source, int destBits, const Table& from, const Table& to) {
    const Handed bits(source.data);
    MemHandle table = to.handle();
    const MemHandle made =
        rlDitherBitmap(bits.handle(), source.width, source.height, narrow(source.bits),
                       narrow(destBits), from.handle(), &table);
    const model::Dithered expected =
        model::ditherBitmap(source, destBits, from.forModel(), to.forModel());
    ASSERT_TRUE(sameBlock(made, expected.bitmap.data)) << Shape{source} << " to " << destBits;
    if (to.handle() != 0) {
        ASSERT_EQ(table, to.handle());
        ASSERT_TRUE(to.unchanged());
    } else {
        ASSERT_TRUE(sameBlock(table, expected.table)) << Shape{source} << " to " << destBits;
    }
}

TEST(DifferentialDither, OfEveryPairOfDepths) {
    Numbers numbers(18);
    for (const int sourceBits : kDepths) {
        for (const int destBits : {1, 2, 3, 4, 8}) {
            for (const Mix mix : kMixes) {
                const Bitmap source =
                    randomBitmap(numbers, 1 + numbers.below(50), numbers.below(7), sourceBits, mix);
                const Table from(
                    randomTable(numbers, entriesFor(sourceBits), numbers.oneOf(kMixes)));
                const Table to(randomTable(numbers, 1u << destBits, numbers.oneOf(kMixes)));
                compareDither(source, destBits, from, Table());
                compareDither(source, destBits, from, to);
                if (HasFatalFailure()) return;
            }
        }
    }
}

TEST(DifferentialDither, AtEveryWidth) {
    Numbers numbers(19);
    for (const uint32_t width : boundaryWidths()) {
        for (const int destBits : {1, 4}) {
            Bitmap source = randomBitmap(numbers, width, 4, 24, numbers.oneOf(kMixes));
            if (numbers.oneIn(6)) source.data = support::misfit(numbers, source.data);
            compareDither(source, destBits, Table(), Table());
            if (HasFatalFailure()) return;
        }
    }
}

// More rows than are diffused at once, with some left over.
TEST(DifferentialDither, AtEveryHeight) {
    Numbers numbers(21);
    for (uint32_t height = 1; height <= 40; ++height) {
        for (const int destBits : {1, 4, 8}) {
            const Bitmap source =
                randomBitmap(numbers, 1 + numbers.below(70), height, 24, numbers.oneOf(kMixes));
            compareDither(source, destBits, Table(), Table());
            if (HasFatalFailure()) return;
        }
    }
}

// Few entries or many, with twins, of one kind or both: grey levels that change once, seven times
// or at nearly every step.
TEST(DifferentialDither, ToTablesOfEveryLengthOverManyRows) {
    Numbers numbers(22);
    for (uint32_t count = 1; count <= 40; ++count) {
        for (const int destBits : {1, 4, 8}) {
            const Bitmap source = randomBitmap(numbers, 1 + numbers.below(90),
                                               17 + numbers.below(20), 24, numbers.oneOf(kMixes));
            Bytes table = randomTable(numbers, count, numbers.oneOf(kMixes));
            if (numbers.oneIn(2)) {
                for (size_t i = 0; i < table.size(); i += 3 + 3 * numbers.below(3))
                    table[i + 1] = table[i + 2] = table[i];
            }
            if (numbers.oneIn(4)) std::copy(table.begin(), table.begin() + 3, table.end() - 3);
            compareGivenTable(source, destBits, Table(), Table(table), narrow(count));
            if (HasFatalFailure()) return;
        }
    }
}

TEST(DifferentialDither, GivesTheSamePixelsAndTheRightTextAtEveryDebugLevel) {
    Numbers numbers(20);
    for (const int level : {0, 1, 2, 3, 4, -1}) {
        for (const int destBits : {1, 4}) {
            const uint32_t width = 1 + numbers.below(40);
            const Bitmap source = randomBitmap(numbers, width, 3, 24, Mix::Smooth);
            const DebugLevel guard(level);
            CapturedText output(stdout);
            CapturedText errors(stderr);
            compareDither(source, destBits, Table(), Table());
            if (HasFatalFailure()) return;
            const model::Reduced table = model::ditherTable(source, destBits, nullptr);
            ASSERT_EQ(output.text(), ditherText(level, table, 3));
            std::string expected = conversionText(level, width, 3, 24);
            if (destBits > 1) expected += reductionText(level, model::reduceColors(source, 8));
            ASSERT_EQ(errors.text(), expected + conversionText(level, width, 3, destBits));
        }
    }
}

// --- The single entry ---

void compareResolution(const Bitmap& source, int destBits, const Table& table) {
    const Handed bits(source.data);
    MemHandle handle = table.handle();
    const MemHandle made = rlChangeColorResolution(bits.handle(), source.width, source.height,
                                                   narrow(source.bits), narrow(destBits), &handle);
    const model::Resolved expected =
        model::changeColorResolution(source, destBits, table.forModel());
    ASSERT_TRUE(sameBlock(made, expected.bitmap.data)) << Shape{source} << " to " << destBits;
    ASSERT_EQ(handle != 0, expected.hasTable) << Shape{source} << " to " << destBits;
    if (handle != 0) {
        ASSERT_TRUE(sameBlock(handle, expected.table)) << Shape{source} << " to " << destBits;
    }
    ASSERT_TRUE(table.unchanged());
    ASSERT_TRUE(sameBytes(bits.contents(), source.data));
}

TEST(DifferentialResolution, OfEveryPairOfDepthsAndMix) {
    Numbers numbers(21);
    for (const int sourceBits : kDepths) {
        for (const int destBits : {1, 2, 4, 5, 6, 8, 16, 24, 32}) {
            for (const Mix mix : kMixes) {
                Bitmap source =
                    randomBitmap(numbers, 1 + numbers.below(60), numbers.below(9), sourceBits, mix);
                if (numbers.oneIn(6)) source.data = support::misfit(numbers, source.data);
                const uint32_t entries = sourceBits > 8 ? 300 : 1u << sourceBits;
                Bytes table = randomTable(numbers, entries, numbers.oneOf(kMixes));
                if (numbers.oneIn(4)) table = support::misfit(numbers, table);
                compareResolution(source, destBits, Table(table));
                if (numbers.oneIn(3)) compareResolution(source, destBits, Table());
                if (HasFatalFailure()) return;
            }
        }
    }
}

TEST(DifferentialResolution, DownwardAtEveryWidth) {
    Numbers numbers(22);
    const struct {
        int from, to;
    } pairs[] = {{24, 8}, {24, 4}, {24, 1}, {8, 4}, {8, 1}, {4, 1}, {32, 4}, {32, 1}};
    for (const auto& [from, to] : pairs) {
        for (const uint32_t width : boundaryWidths()) {
            const Bitmap source =
                randomBitmap(numbers, width, 1 + width % 3, from, numbers.oneOf(kMixes));
            compareResolution(source, to,
                              Table(randomTable(numbers, entriesFor(from), numbers.oneOf(kMixes))));
            if (HasFatalFailure()) return;
        }
    }
}

TEST(DifferentialResolution, OfWidthsThatPass16Bits) {
    // The table is made from the first pixels, whose number 16 bits hold.
    Numbers numbers(23);
    compareResolution(randomBitmap(numbers, 65536 + 5, 1, 24, Mix::Few), 8, Table());
    compareResolution(randomBitmap(numbers, 65536 + 5, 1, 24, Mix::Few), 4, Table());
    compareResolution(randomBitmap(numbers, 1, 65536 + 5, 24, Mix::Few), 8, Table());
}

TEST(DifferentialResolution, PrintsTheReductionAndTheConversion) {
    Numbers numbers(24);
    for (const int level : {0, 1, 2, 3, 4, -1}) {
        for (const Mix mix : kMixes) {
            const uint32_t width = 1 + numbers.below(30);
            const Bitmap source = randomBitmap(numbers, width, 11, 24, mix);
            const DebugLevel guard(level);
            CapturedText output(stdout);
            CapturedText errors(stderr);
            compareResolution(source, 8, Table());
            if (HasFatalFailure()) return;
            ASSERT_EQ(errors.text(), reductionText(level, model::reduceColors(source, 256)) +
                                         conversionText(level, width, 11, 8));
            ASSERT_EQ(output.text(), "");
        }
    }
}

}  // namespace
