// The colour library, routine by routine, against the plain model: any depth, size, block and
// table, whole or too short.
#include <tivar/color.h>
#include <tivar/memory.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>

#include "color/color_transform.h"
#include "color/pixel.h"
#include "harness/check.h"
#include "harness/heap.h"
#include "harness/pictures.h"
#include "harness/target.h"

namespace {

using fuzz::Bytes;
using fuzz::fail;
using fuzz::Input;
using fuzz::Picture;
using fuzz::require;
using fuzz::requireEqual;
using fuzz::requireSame;
using support::Block;

// A result's block, freed with the guard.
struct Result {
    explicit Result(MemHandle made) : block(made) {}
    Bytes contents() const { return block.contents(); }
    bool exists() const { return block.handle != 0; }

    Block block;
};

struct Table {
    explicit Table(Input& input)
        : exists(!input.oneIn(8)), bytes(fuzz::drawBytes(input, sizeFrom(input))) {}

    // Where a table comes as an address, an empty one has none.
    bool hasAddress() const { return exists && !bytes.empty(); }

    // Mostly a number of entries, at times any number of bytes.
    static std::size_t sizeFrom(Input& input) {
        constexpr std::size_t entries[] = {256, 16, 2, 8, 5, 64, 65, 200, 255, 1, 0, 300};
        return input.oneIn(8) ? input.below(256) : input.pick(entries) * 3;
    }
    MemHandle newBlock() const { return exists ? fuzz::newBlock(bytes) : 0; }
    const Bytes* model() const { return exists ? &bytes : nullptr; }

    bool exists;
    Bytes bytes;
};

std::int16_t makeDepth(Input& input) {
    constexpr std::int16_t depths[] = {24, 8, 4, 1, 32, 24, 8, 4, 1, 2, 16, 0, 7, 15, 31, 12};
    return input.pick(depths);
}

// A number of entries, in agreement with the table or not.
std::int16_t makeCount(Input& input, const Table& table) {
    if (input.oneIn(8)) return input.i16();
    return static_cast<std::int16_t>(table.bytes.size() / 3);
}

// A bitmap in a block, and as the model sees it.
struct Bitmap {
    explicit Bitmap(Input& input) {
        const Picture picture = fuzz::makePicture(input);
        plain = {picture.width, picture.height, picture.bits, picture.pixels};
        depth = static_cast<std::int16_t>(picture.bits);
        exists = picture.hasPixels && picture.bits <= 32;
    }

    MemHandle newBlock() const { return exists ? fuzz::newBlock(plain.data) : 0; }
    // Whether the model takes but a moment, and has a map for such indices where one is wanted.
    bool isModelled(bool isMapped) const {
        const bool known = depth <= 15 || depth == 24 || depth == 32 || !isMapped;
        return known && std::uint64_t{plain.width} * plain.height <= 6000;
    }

    model::Bitmap plain;
    std::int16_t depth;
    bool exists;
};

void requireUntouched(const Block& block, const Bytes& before) {
    if (block.handle != 0) requireSame(block.contents(), before, "sources stay as they are");
}

// A failure is allowed where the model has no bitmap or memory ran out, nowhere else.
void requireResult(const Result& result, const model::Bitmap& expected, bool obtainable) {
    if (fuzz::HeapWatch::refused()) return;
    require(result.exists() == obtainable, "what can be had is made");
    if (obtainable) requireSame(result.contents(), expected.data, "the bitmap is the model's");
}

void testSizes(Input& input) {
    const std::uint32_t width = input.wild();
    const std::uint32_t height = input.wild();
    const auto depth = static_cast<std::int16_t>(input.below(33));
    const std::uint32_t stride = model::bytesPerLine(width, depth);
    require(static_cast<std::uint32_t>(rlBytesPerLine(width, depth)) == stride, "the stride");
    const std::uint64_t size = std::uint64_t{stride} * height;
    const std::uint32_t expected = size > 0xFFFFFFFF ? 0 : static_cast<std::uint32_t>(size);
    require(rlCalcNewSize(width, height, depth) == expected, "the size");
}

// Every pixel read and written singly.
void testPixels(Input& input) {
    const Bitmap bitmap(input);
    const Table table(input);
    const std::int16_t count = std::clamp<std::int16_t>(
        makeCount(input, table), 0, static_cast<std::int16_t>(table.bytes.size() / 3));
    std::vector<std::uint32_t> map;
    if (input.oneIn(2))
        for (int i = 0; i < 256; ++i) map.push_back(input.u8());
    if (!bitmap.isModelled(false)) return;
    model::Bitmap whole = bitmap.plain;
    whole.data = model::newBitmap(whole.width, whole.height, whole.bits).data;
    std::copy_n(bitmap.plain.data.begin(), std::min(bitmap.plain.data.size(), whole.data.size()),
                whole.data.begin());
    if (whole.data.empty()) return;
    Bytes rows = whole.data;
    const std::int32_t stride = rlBytesPerLine(whole.width, bitmap.depth);
    for (int i = 0; i < 32 && !input.empty(); ++i) {
        const std::uint32_t x = input.u8() % whole.width;
        const std::uint32_t y = input.u8() % whole.height;
        require(rlGetPixel(rows.data(), stride, x, y, bitmap.depth) == model::getPixel(whole, x, y),
                "the pixel's value");
        const std::uint32_t value = map.empty() ? input.u32() : input.u8();
        // With a map the entries of a table of true colours are read without a look at the count.
        const bool deep = whole.bits >= 24;
        const bool inTable = map.empty() || map[value] * 3 + 3 <= table.bytes.size();
        const Bytes* colors =
            table.hasAddress() && (!deep || (!map.empty() && inTable)) ? &table.bytes : nullptr;
        const auto entries = static_cast<std::int16_t>(table.bytes.size() / 3);
        rlSetPixel(rows.data(), stride, x, y, bitmap.depth, value,
                   map.empty() ? nullptr : map.data(), colors == nullptr ? nullptr : colors->data(),
                   deep ? entries : count);
        model::setPixel(whole, x, y, value, &map, colors, count);
        requireSame(rows, whole.data, "the pixel's place");
    }
}

void testNearest(Input& input) {
    const Table table(input);
    const std::int16_t count = std::clamp<std::int16_t>(
        makeCount(input, table), -1, static_cast<std::int16_t>(table.bytes.size() / 3));
    for (int i = 0; i < 64 && !input.empty(); ++i) {
        const bool wide = input.oneIn(8);
        const std::int16_t red = wide ? input.i16() : input.u8();
        const std::int16_t green = wide ? input.i16() : input.u8();
        const std::int16_t blue = wide ? input.i16() : input.u8();
        require(rlNearestRGBIndex(red, green, blue, table.bytes.data(), count) ==
                    model::nearest(red, green, blue, table.bytes, count),
                "the nearest entry");
    }
}

void testColormap(Input& input) {
    constexpr std::int16_t depths[] = {1, 4, 8, 24, 32, 2, 0, 15};
    const std::int16_t sourceBits = input.pick(depths);
    const std::int16_t destBits = makeDepth(input);
    Table source(input);
    Table dest(input);
    const std::int16_t count = std::clamp<std::int16_t>(
        makeCount(input, dest), 0, static_cast<std::int16_t>(dest.bytes.size() / 3));
    // Pointers come without sizes: tables are as long as their depth says.
    source.bytes.resize(std::size_t{3} << std::min<std::int16_t>(sourceBits, 15));
    const Result map(rlBuildColormap(source.exists ? source.bytes.data() : nullptr, sourceBits,
                                     dest.hasAddress() ? dest.bytes.data() : nullptr, destBits,
                                     count));
    const auto expected = model::colormap(
        source.model(), sourceBits, dest.hasAddress() ? dest.model() : nullptr, destBits, count);
    if (fuzz::HeapWatch::refused()) return;
    require(map.exists() == !expected.empty(), "a map for indices only");
    Bytes raw(expected.size() * sizeof(std::uint32_t));
    if (!raw.empty()) std::memcpy(raw.data(), expected.data(), raw.size());
    if (map.exists()) requireSame(map.contents(), raw, "the map is the model's");
}

void testReduction(Input& input) {
    constexpr std::uint16_t wantedCounts[] = {256, 16, 8, 2, 1, 0, 248, 3, 17, 255, 300, 65528};
    Bitmap bitmap(input);
    bitmap.plain.bits = 24;
    const std::uint16_t wanted = input.pick(wantedCounts);
    if (!bitmap.isModelled(false)) return;
    const Block block(bitmap.newBlock());
    std::uint16_t count = wanted;
    const Result table(rlReduceColorTable(block.handle,
                                          static_cast<std::uint16_t>(bitmap.plain.width),
                                          static_cast<std::uint16_t>(bitmap.plain.height), &count));
    requireUntouched(block, bitmap.plain.data);
    if (!bitmap.exists || fuzz::HeapWatch::refused()) return;
    const model::Reduced expected = model::reduceColors(bitmap.plain, wanted);
    requireEqual<int>(count, expected.count, "the number of colours");
    requireSame(table.contents(), expected.table, "the colours");
}

void testConversion(Input& input) {
    const Bitmap bitmap(input);
    const Table source(input);
    const Table dest(input);
    const std::int16_t destBits = makeDepth(input);
    const std::int16_t count = makeCount(input, dest);
    if (!bitmap.isModelled(true)) return;
    // The model would look through thousands of entries for each of 32768 colours.
    const int sourceBits = bitmap.plain.bits;
    const bool isDeep = sourceBits > 8 && sourceBits != 24 && sourceBits != 32;
    if (isDeep && count > 256) return;
    const Block bits(bitmap.newBlock());
    const Block from(source.newBlock());
    const Block to(dest.newBlock());
    const Result result(rlConvertBitmapDepth(bits.handle, bitmap.plain.width, bitmap.plain.height,
                                             bitmap.depth, destBits, from.handle, to.handle,
                                             count));
    requireUntouched(bits, bitmap.plain.data);
    requireUntouched(from, source.bytes);
    requireUntouched(to, dest.bytes);
    requireResult(result,
                  model::convertDepth(bitmap.plain, destBits, source.model(), dest.model(), count),
                  bitmap.exists);
}

void testResolution(Input& input) {
    const Bitmap bitmap(input);
    const Table table(input);
    const std::int16_t destBits = makeDepth(input);
    if (!bitmap.isModelled(true)) return;
    const Block bits(bitmap.newBlock());
    const Block old(table.newBlock());
    MemHandle newTable = old.handle;
    const Result result(rlChangeColorResolution(
        bits.handle, bitmap.plain.width, bitmap.plain.height, bitmap.depth, destBits, &newTable));
    const Result made(newTable == old.handle ? 0 : newTable);
    requireUntouched(bits, bitmap.plain.data);
    requireUntouched(old, table.bytes);
    if (!bitmap.exists || fuzz::HeapWatch::refused()) return;
    const model::Resolved expected =
        model::changeColorResolution(bitmap.plain, destBits, table.model());
    requireResult(result, expected.bitmap, true);
    require(made.exists() == expected.hasTable, "a table where one is made");
    if (made.exists()) requireSame(made.contents(), expected.table, "the new table");
}

void testDitherTable(Input& input) {
    constexpr std::int16_t depths[] = {1, 4, 8, 2, 3, 0, 5, 7};
    const Bitmap bitmap(input);
    const Table source(input);
    const std::int16_t destBits = input.pick(depths);
    if (!bitmap.isModelled(true)) return;
    const Block bits(bitmap.newBlock());
    const Block from(source.newBlock());
    MemHandle handle = 0;
    std::uint16_t count = 0;
    const std::int32_t result = rlDitherGetCT(bits.handle, bitmap.plain.width, bitmap.plain.height,
                                              bitmap.depth, destBits, from.handle, &handle, &count);
    const Result table(handle);
    require(result == (bitmap.exists ? 0 : -1), "a table for every bitmap");
    if (!bitmap.exists || fuzz::HeapWatch::refused()) return;
    const model::Reduced expected = model::ditherTable(bitmap.plain, destBits, source.model());
    requireEqual<int>(count, expected.count, "the number of colours");
    requireSame(table.contents(), expected.table, "the colours");
}

void testDithering(Input& input) {
    constexpr std::int16_t depths[] = {1, 4, 2, 7, 8, 24, 3, 0};
    const Bitmap bitmap(input);
    const Table source(input);
    const Table given(input);
    const std::int16_t destBits = input.pick(depths);
    if (!bitmap.isModelled(true)) return;
    const Block bits(bitmap.newBlock());
    const Block from(source.newBlock());
    const Block to(given.newBlock());
    MemHandle handle = to.handle;
    const Result result(rlDitherBitmap(bits.handle, bitmap.plain.width, bitmap.plain.height,
                                       bitmap.depth, destBits, from.handle, &handle));
    const Result made(handle == to.handle ? 0 : handle);
    requireUntouched(bits, bitmap.plain.data);
    requireUntouched(to, given.bytes);
    if (!bitmap.exists || fuzz::HeapWatch::refused()) return;
    const model::Dithered expected =
        model::ditherBitmap(bitmap.plain, destBits, source.model(), given.model());
    requireResult(result, expected.bitmap, true);
    if (made.exists()) requireSame(made.contents(), expected.table, "the new table");
}

void testGivenTable(Input& input) {
    constexpr std::int16_t depths[] = {1, 4, 8, 24, 2, 7, 32, 0};
    const Bitmap bitmap(input);
    const Table source(input);
    const Table given(input);
    const std::int16_t destBits = input.pick(depths);
    const std::int16_t count = makeCount(input, given);
    if (!bitmap.isModelled(true)) return;
    const Block bits(bitmap.newBlock());
    const Block from(source.newBlock());
    const Block to(given.newBlock());
    const Result result(rlDitherGivenCT(bits.handle, bitmap.plain.width, bitmap.plain.height,
                                        bitmap.depth, destBits, from.handle, to.handle, count));
    requireUntouched(bits, bitmap.plain.data);
    requireUntouched(to, given.bytes);
    const bool obtainable = bitmap.exists && given.exists;
    requireResult(result,
                  obtainable
                      ? model::ditherTo(bitmap.plain, destBits, source.model(), given.bytes, count)
                      : model::Bitmap{},
                  obtainable);
}

void testOneLine(Input& input) {
    const std::uint32_t width = 1 + input.below(100);
    const bool hasNext = !input.oneIn(4);
    const Table table(input);
    const auto count = static_cast<std::int16_t>(table.bytes.size() / 3);
    Bytes row = fuzz::drawBytes(input, std::size_t{width} * 3);
    Bytes next = fuzz::drawBytes(input, std::size_t{width} * 3);
    if (count == 0) return;
    Bytes plainRow = row;
    Bytes plainNext = next;
    _rlDitherOneLine(row.data(), hasNext ? next.data() : nullptr, table.bytes.data(), width, count);
    model::ditherOneLine(plainRow, hasNext ? &plainNext : nullptr, table.bytes, width, count);
    requireSame(row, plainRow, "the line");
    requireSame(next, plainNext, "the line below");
}

void testScaling(Input& input) {
    const Bitmap bitmap(input);
    const bool sane = !input.oneIn(8);
    const std::uint32_t width = sane ? input.below(90) : input.wild();
    const std::uint32_t height = sane ? input.below(90) : input.wild();
    const Block bits(bitmap.newBlock());
    const auto scale = input.oneIn(2) ? rlShrinkBitmap : rlStretchBitmap;
    const Result result(
        scale(bits.handle, bitmap.depth, bitmap.plain.width, bitmap.plain.height, width, height));
    requireUntouched(bits, bitmap.plain.data);
    if (!bitmap.isModelled(false) || std::uint64_t{width} * height > 9000 || width > 9000 ||
        height > 9000 || !bitmap.exists)
        return;
    requireResult(result, model::scale(bitmap.plain, width, height), true);
}

void testMirroring(Input& input) {
    Bitmap bitmap(input);
    const std::int16_t horizontally = input.oneIn(2) ? input.i16() : 0;
    const std::int16_t vertically = input.oneIn(2) ? input.i16() : 0;
    if (!bitmap.exists || !bitmap.isModelled(false)) return;
    // Whole rows, and what the place just past the last one reaches.
    const std::size_t wanted =
        model::newBitmap(bitmap.plain.width, bitmap.plain.height, bitmap.depth).data.size();
    if (bitmap.plain.data.size() < wanted) return;
    bitmap.plain.data.resize(wanted);
    const Block bits(fuzz::newBlock(bitmap.plain.data));
    require(rlFlipBitmap(bits.handle, bitmap.depth, bitmap.plain.width, bitmap.plain.height,
                         horizontally, vertically) == bits.handle,
            "the bitmap comes back");
    // Without memory for a row it stays as it was.
    if (fuzz::HeapWatch::refused()) return requireUntouched(bits, bitmap.plain.data);
    model::Bitmap expected = bitmap.plain;
    expected.data.resize(wanted + 4);
    model::flip(expected, horizontally != 0, vertically != 0);
    expected.data.resize(wanted);
    requireSame(bits.contents(), expected.data, "the mirrored bitmap");
}

void testColorSpaces(Input& input) {
    const std::uint32_t width = input.oneIn(8) ? input.wild() : input.below(60);
    const std::uint32_t height = input.oneIn(8) ? input.wild() : input.below(40);
    const std::uint32_t kind = input.below(3);
    const Bytes pixels = fuzz::drawBytes(input, input.u16() % 8192);
    const Block bits(fuzz::newBlock(pixels));
    const auto convert = kind == 0 ? rlRGB4toCMYK : kind == 1 ? rlCMYKtoRGB : rlALPHAtoRGB;
    convert(bits.handle, width, height);
    if (std::uint64_t{width} * height > 6000 || width > 6000 || height > 6000) return;
    Bytes expected = kind == 0   ? model::rgb4ToCmyk({width, height, 32, pixels})
                     : kind == 1 ? model::cmykToRgb(pixels, width * height)
                                 : model::alphaToRgb(pixels, width * height);
    // The block keeps its size: the rest of it stays, and what does not fit is dropped.
    if (expected.size() < pixels.size())
        expected.insert(expected.end(),
                        pixels.begin() + static_cast<std::ptrdiff_t>(expected.size()),
                        pixels.end());
    expected.resize(pixels.size());
    requireSame(bits.contents(), expected, "the converted pixels");
}

void testTransform(Input& input) {
    const std::int32_t mode = static_cast<std::int32_t>(input.below(8)) - 1;
    Bytes triples = fuzz::drawBytes(input, std::size_t{input.u8()} * 3);
    Bytes expected = triples;
    const auto count = static_cast<std::int32_t>(triples.size() / 3);
    tivar::rev_rgb(count, triples.data(), mode);
    model::revRgb(expected, count, mode);
    requireSame(triples, expected, "the transformed colours");
}

constexpr std::array kTests = {testSizes,     testPixels,      testNearest,    testColormap,
                               testReduction, testConversion,  testResolution, testDitherTable,
                               testDithering, testGivenTable,  testOneLine,    testScaling,
                               testMirroring, testColorSpaces, testTransform};

// The debug texts must not change what is made; they go nowhere.
struct DebugLevel {
    explicit DebugLevel(std::int16_t level) : errors_(stderr) {
        if (level == 0) return;
        static FILE* const nowhere = std::fopen("/dev/null", "w");
        _debug_color_res = level;
        stderr = nowhere;
    }
    ~DebugLevel() {
        _debug_color_res = 0;
        stderr = errors_;
    }
    DebugLevel(const DebugLevel&) = delete;
    DebugLevel& operator=(const DebugLevel&) = delete;

  private:
    FILE* errors_;
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::int16_t levels[] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 3, 4, -1};
    Input input(data, size);
    const auto test = kTests[input.below(kTests.size())];
    const std::int16_t level = input.pick(levels);
    const std::uint32_t failing = input.oneIn(16) ? input.u8() : 0;
    // Made before the watch, so that it does not count as a file that stays open.
    std::optional<DebugLevel> debug;
    if (level != 0) debug.emplace(level);
    const fuzz::HeapWatch watch;
    const fuzz::FailingAllocation failure(failing);
    test(input);
    return 0;
}
