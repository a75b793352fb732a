#include "color/dither_rows.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

#include "base/memory.h"
#include "color/color_transform.h"
#include "color/depth.h"
#include "color/nearest.h"
#include "color/row_converter.h"
#include "color/rows.h"

namespace tivar {
namespace {

int clampByte(int value) {
    return std::clamp(value, 0, 255);
}

// An error's shares: to the right, and below, below left and below right.
struct Shares {
    int16_t right;
    int16_t below;
    int16_t belowLeft;
    int16_t belowRight;
};

constexpr Shares sharesOf(int error) {
    const int q = error / 8;
    const int t = 7 * error / 16;
    return {static_cast<int16_t>(t), static_cast<int16_t>(t - q), static_cast<int16_t>(t - 2 * q),
            static_cast<int16_t>(t - 3 * q)};
}

// A source row as the diffusion wants it: red, green, blue.
struct RowLoader {
    RowLoader(const SourceBitmap& bitmap, int16_t sourceBits, const uint8_t* sourceTable,
              uint32_t rowWidth)
        : source(bitmap),
          width(rowWidth),
          map(rlBuildColormap(sourceTable, sourceBits, nullptr, kTrueColorBits, 0)),
          converter(sourceBits,
                    {kTrueColorBits, reinterpret_cast<const uint32_t*>(map.data), nullptr, 0},
                    rowWidth) {}
    void load(uint32_t y, uint8_t* row) { converter.convert(source.row(y), row); }

    const SourceBitmap& source;
    uint32_t width;
    OwnedBlock map;
    RowConverter converter;
};

// The stored index of each table entry: the conversion after the diffusion searches like any other,
// and among nearly grey entries can choose another one than the diffusion did.
struct StoredIndices {
    explicit StoredIndices(const DitherTarget& target)
        : block(allocateQuietly(TIVAR_GMEM_FLAGS,
                                static_cast<uint32_t>(std::max<int>(target.count, 1)))) {
        for (int i = 0; block && i < std::max<int>(target.count, 1); ++i) {
            const uint8_t* entry = target.table + i * 3;
            block.data[i] = static_cast<uint8_t>(
                rlNearestRGBIndex(entry[0], entry[1], entry[2], target.table, target.count));
        }
    }
    OwnedBlock block;
};

// ---- Colours ----

// Two rows are diffused at once, the second three pixels behind the first, so that each one's waits
// for its search and its error hide the other's. Three pixels are enough for the first row to be
// done with every place that the second one touches. Pixels are four 16-bit lanes: red, green,
// blue, an idle one.
typedef int16_t Lanes __attribute__((vector_size(16)));

constexpr int32_t kLag = 3;
constexpr int32_t kMargin =
    8;  // pixels in front of and behind a row, for the lanes that idle there

// A pixel's four lanes, red lowest.
using FlightPixel = uint64_t;
typedef FlightPixel PixelPair __attribute__((vector_size(16)));

constexpr FlightPixel flightPixel(const uint8_t* color) {
    return color[0] | FlightPixel{color[1]} << 16 | FlightPixel{color[2]} << 32;
}

// Through registers: a store of two halves and a load of the whole would wait for each other.
Lanes join(FlightPixel first, FlightPixel second) {
    return reinterpret_cast<Lanes>(PixelPair{first, second});
}

PixelPair part(Lanes lanes) {
    return reinterpret_cast<PixelPair>(lanes);
}

Lanes clampLanes(Lanes lanes) {
    lanes &= ~(lanes < 0);
    const Lanes above = lanes > 255;
    return (lanes & ~above) | (above & 255);
}

// Division by a power of two that truncates toward zero.
Lanes divideLanes(Lanes lanes, int shift) {
    const auto remainder = static_cast<int16_t>((1 << shift) - 1);
    return (lanes + ((lanes >> 15) & remainder)) >> shift;
}

struct ColorDiffuser {
    NearestFinder& finder;
    const FlightPixel* entries;  // the table, a pixel an entry
    const uint8_t* stored;       // stored index of each entry
    int32_t width;
};

// The chosen entries of two pixels; a row that is not at a pixel to search passes no error on.
struct Choice {
    uint32_t index = 0;
    FlightPixel pick(const ColorDiffuser& diffuser, FlightPixel level, int32_t x,
                     uint8_t* indices) {
        if (x < 0 || x >= diffuser.width - 1) return level;
        index = diffuser.finder.findLanes(level, diffuser.entries);
        indices[x] = diffuser.stored[index];
        return diffuser.entries[index];
    }
};

// Diffuses rows first and second, which follow each other, into themselves and third, and puts the
// stored index of each pixel into its row of indices.
void ditherTwoRows(const ColorDiffuser& diffuser, const FlightPixel* first, FlightPixel* second,
                   FlightPixel* third, uint8_t* firstIndices, uint8_t* secondIndices) {
    Choice firstChoice;
    Choice secondChoice;
    Lanes level = {};
    Lanes below = {};
    Lanes belowLeft = {};
    for (int32_t x = -1; x <= diffuser.width + kLag; ++x) {
        const int32_t behind = x - kLag;
        const PixelPair levels = part(level);
        const Lanes entry = join(firstChoice.pick(diffuser, levels[0], x, firstIndices),
                                 secondChoice.pick(diffuser, levels[1], behind, secondIndices));
        const Lanes error = level - entry;
        const Lanes q = divideLanes(error, 3);
        const Lanes t = divideLanes(error * 7, 4);
        level = clampLanes(join(first[x + 1], second[behind + 1]) + t);
        const PixelPair finished = part(clampLanes(belowLeft + t - 2 * q));
        second[x - 1] = finished[0];
        third[behind - 1] = finished[1];
        belowLeft = clampLanes(below + t - q);
        below = clampLanes(join(second[x + 1], third[behind + 1]) + t - 3 * q);
    }
    firstIndices[diffuser.width - 1] = diffuser.stored[firstChoice.index];
    secondIndices[diffuser.width - 1] = diffuser.stored[secondChoice.index];
}

// ---- Greys ----

// What a grey level does: the index stored for it, and its error's shares.
struct GreyStep {
    Shares shares;
    uint8_t stored;
};

struct GreySteps {
    // Only tables with a grey entry keep grey rows grey.
    static bool serves(const DitherTarget& target) {
        for (int i = 0; i < target.count; ++i) {
            const uint8_t* entry = target.table + i * 3;
            if (entry[0] == entry[1] && entry[1] == entry[2]) return true;
        }
        return false;
    }
    GreySteps(const DitherTarget& target, const uint8_t* stored) {
        for (int level = 0; level < 256; ++level) {
            const auto grey = static_cast<int16_t>(level);
            const uint32_t index = rlNearestRGBIndex(grey, grey, grey, target.table, target.count);
            steps[level] = {sharesOf(level - target.table[size_t{index} * 3]), stored[index]};
        }
    }
    GreyStep steps[256];
};

void turnGrey(const uint8_t* colors, uint32_t width, uint8_t* greys) {
    for (uint32_t x = 0; x < width; ++x, colors += 3)
        greys[x] = static_cast<uint8_t>((3 * colors[0] + 6 * colors[1] + colors[2]) / 10);
}

// A row on its way from left to right. Its levels are read only; what they pass on within the row
// stays in a register.
struct GreyRow {
    const GreyStep* steps;
    const uint8_t* row;
    uint8_t* next;
    uint8_t* indices;
    uint8_t last;  // index stored
    int level = 0;
    int belowLeft = 0;
    int below = 0;

    void begin() {
        level = row[0];
        belowLeft = 0;
        below = next[0];
    }

    // Of any pixel but the last.
    void pass(uint32_t x) {
        const GreyStep& step = steps[level];
        level = clampByte(row[x + 1] + step.shares.right);
        last = step.stored;
        indices[x] = last;
        if (x > 0) next[x - 1] = static_cast<uint8_t>(clampByte(belowLeft + step.shares.belowLeft));
        belowLeft = clampByte(below + step.shares.below);
        below = clampByte(next[x + 1] + step.shares.belowRight);
    }

    void finish(uint32_t width) {
        if (width > 1) {
            next[width - 2] = static_cast<uint8_t>(belowLeft);
            next[width - 1] = static_cast<uint8_t>(below);
        }
        indices[width - 1] = last;
    }
};

// Diffuses two rows that follow each other, the second one behind the first, as colours are.
void ditherGreys(GreyRow first, GreyRow second, uint32_t width) {
    const uint32_t passes = width - 1;
    const uint32_t ahead = std::min<uint32_t>(kLag, passes);
    first.begin();
    for (uint32_t x = 0; x < ahead; ++x) first.pass(x);
    if (passes > ahead) second.begin();
    for (uint32_t x = ahead; x < passes; ++x) {
        first.pass(x);
        second.pass(x - ahead);
    }
    first.finish(width);
    if (passes <= ahead) second.begin();
    for (uint32_t x = passes - ahead; x < passes; ++x) second.pass(x);
    second.finish(width);
}

// ---- Whole bitmaps ----

// A row in flight with its margins.
struct FlightRow {
    explicit FlightRow(uint32_t width)
        : block(allocateScratch((uint64_t{width} + 2 * kMargin) * sizeof(FlightPixel))) {}
    FlightPixel* pixels() const { return reinterpret_cast<FlightPixel*>(block.data) + kMargin; }
    OwnedBlock block;
};

void spreadPixels(const uint8_t* colors, uint32_t width, FlightPixel* pixels) {
    for (uint32_t x = 0; x < width; ++x, colors += 3) pixels[x] = flightPixel(colors);
}

bool ditherColorRows(RowLoader& loader, const DitherTarget& target, const uint8_t* stored,
                     uint32_t width, uint32_t height, size_t stride) {
    const FlightRow rows[3] = {FlightRow(width), FlightRow(width), FlightRow(width)};
    const OwnedBlock colors(allocateScratch(uint64_t{width} * 3));
    const OwnedBlock indices(allocateScratch(uint64_t{width} * 2));
    const auto entryCount = static_cast<uint32_t>(std::max<int>(target.count, 1));
    const OwnedBlock entryBlock(allocateScratch(uint64_t{entryCount} * sizeof(FlightPixel)));
    if (!rows[0].block || !rows[1].block || !rows[2].block || !colors || !indices || !entryBlock)
        return false;
    auto* entries = reinterpret_cast<FlightPixel*>(entryBlock.data);
    spreadPixels(target.table, entryCount, entries);
    NearestFinder finder(target.table, target.count);
    const ColorDiffuser diffuser = {finder, entries, stored, static_cast<int32_t>(width)};
    FlightPixel* first = rows[0].pixels();
    FlightPixel* second = rows[1].pixels();
    FlightPixel* third = rows[2].pixels();
    // Behind the last row errors go into rows that nobody reads.
    const auto load = [&](uint32_t y, FlightPixel* to) {
        if (y >= height) return;
        loader.load(y, colors.data);
        if (target.bitsPerPixel == 1) rev_rgb(static_cast<int32_t>(width), colors.data, kTurnGrey);
        spreadPixels(colors.data, width, to);
    };
    load(0, first);
    for (uint32_t y = 0; y < height; y += 2) {
        load(y + 1, second);
        load(y + 2, third);
        ditherTwoRows(diffuser, first, second, third, indices.data, indices.data + width);
        for (uint32_t row = y; row < std::min(y + 2, height); ++row)
            packIndices(indices.data + size_t{row - y} * width, target.bitsPerPixel, width,
                        target.rows + row * stride);
        std::swap(first, third);
    }
    return true;
}

bool ditherGreyRows(RowLoader& loader, const DitherTarget& target, const uint8_t* stored,
                    uint32_t width, uint32_t height, size_t stride) {
    const OwnedBlock levels(allocateScratch(uint64_t{width} * 3));
    const OwnedBlock colors(allocateScratch(uint64_t{width} * 3));
    const OwnedBlock indices(allocateScratch(uint64_t{width} * 2));
    if (!levels || !colors || !indices) return false;
    const GreySteps steps(target, stored);
    uint8_t* rows[3] = {levels.data, levels.data + width, levels.data + size_t{width} * 2};
    // Behind the last row errors go into rows that nobody reads.
    const auto load = [&](uint32_t y, uint8_t* to) {
        if (y >= height) return;
        loader.load(y, colors.data);
        turnGrey(colors.data, width, to);
    };
    load(0, rows[0]);
    for (uint32_t y = 0; y < height; y += 2) {
        load(y + 1, rows[1]);
        load(y + 2, rows[2]);
        const auto rowAt = [&](size_t i) {
            return GreyRow{steps.steps, rows[i], rows[i + 1], indices.data + i * width, stored[0]};
        };
        ditherGreys(rowAt(0), rowAt(1), width);
        for (uint32_t row = y; row < std::min(y + 2, height); ++row)
            packIndices(indices.data + size_t{row - y} * width, target.bitsPerPixel, width,
                        target.rows + row * stride);
        std::swap(rows[0], rows[2]);
    }
    return true;
}

}  // namespace

bool canDitherRows(int16_t destBits, int16_t count) {
    // Beyond any real table, working out what becomes of each entry would cost more than it saves.
    constexpr int16_t kLargestTable = 1024;
    return isIndexedDepth(destBits) && count <= kLargestTable;
}

bool ditherRowByRow(const SourceBitmap& source, int16_t sourceBits, const uint8_t* sourceTable,
                    const DitherTarget& target, uint32_t width, uint32_t height) {
    if (width == 0 || height == 0) return true;
    if (width > INT32_MAX - 2 * kMargin) return false;
    RowLoader loader(source, sourceBits, sourceTable, width);
    const StoredIndices stored(target);
    if (!stored.block) return false;
    const auto stride = static_cast<size_t>(rlBytesPerLine(width, target.bitsPerPixel));
    const bool greys = target.bitsPerPixel == 1 && GreySteps::serves(target);
    const auto dither = greys ? ditherGreyRows : ditherColorRows;
    return dither(loader, target, stored.block.data, width, height, stride);
}

}  // namespace tivar
