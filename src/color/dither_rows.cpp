#include "color/dither_rows.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

#include "color/nearest.h"
#include "color/row_converter.h"
#include "color/rows.h"
#include "driver/color_transform.h"
#include "host/memory.h"

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
          map(rlBuildColormap(sourceTable, sourceBits, nullptr, 24, 0)),
          converter(sourceBits, {24, reinterpret_cast<const uint32_t*>(map.data), nullptr, 0},
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

void diffuseColor(uint8_t* pixel, uint8_t* below, const uint8_t* entry, bool hasLeft) {
    for (int channel = 0; channel < 3; ++channel) {
        const Shares shares = sharesOf(pixel[channel] - entry[channel]);
        const auto add = [channel](uint8_t* to, int amount) {
            to[channel] = static_cast<uint8_t>(clampByte(to[channel] + amount));
        };
        add(pixel + 3, shares.right);
        if (below == nullptr) continue;
        add(below, shares.below);
        if (hasLeft) add(below - 3, shares.belowLeft);
        add(below + 3, shares.belowRight);
    }
}

// Diffuses row into itself and next, and puts the stored index of each pixel into indices.
void ditherColors(uint8_t* row, uint8_t* next, NearestFinder& finder, const DitherTarget& target,
                  const uint8_t* stored, uint32_t width, uint8_t* indices) {
    uint32_t entry = 0;
    for (uint32_t x = 0; x + 1 < width; ++x) {
        uint8_t* pixel = row + size_t{x} * 3;
        entry = finder.find(pixel[0], pixel[1], pixel[2]);
        indices[x] = stored[entry];
        diffuseColor(pixel, next == nullptr ? nullptr : next + size_t{x} * 3,
                     target.table + size_t{entry} * 3, x > 0);
    }
    indices[width - 1] = stored[entry];
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

// The row's levels are read only; what they pass on within the row stays in a register.
void ditherGreys(const uint8_t* row, uint8_t* next, const GreyStep* steps, uint8_t first,
                 uint32_t width, uint8_t* indices) {
    int level = row[0];
    uint8_t last = first;
    int belowLeft = 0;
    int below = next[0];
    for (uint32_t x = 0; x + 1 < width; ++x) {
        const GreyStep& step = steps[level];
        level = clampByte(row[x + 1] + step.shares.right);
        last = step.stored;
        indices[x] = last;
        if (x > 0) next[x - 1] = static_cast<uint8_t>(clampByte(belowLeft + step.shares.belowLeft));
        belowLeft = clampByte(below + step.shares.below);
        below = clampByte(next[x + 1] + step.shares.belowRight);
    }
    if (width > 1) {
        next[width - 2] = static_cast<uint8_t>(belowLeft);
        next[width - 1] = static_cast<uint8_t>(below);
    }
    indices[width - 1] = last;
}

// ---- Whole bitmaps ----

// Rows in flight, of the bytes given each, and the indices of one.
struct Flight {
    Flight(uint32_t rowBytes, uint32_t width)
        : rows{OwnedBlock(allocateQuietly(TIVAR_GMEM_FLAGS, rowBytes)),
               OwnedBlock(allocateQuietly(TIVAR_GMEM_FLAGS, rowBytes))},
          indices(allocateQuietly(TIVAR_GMEM_FLAGS, width)) {}
    explicit operator bool() const { return rows[0] && rows[1] && indices; }
    OwnedBlock rows[2];
    OwnedBlock indices;
};

bool ditherColorRows(RowLoader& loader, const DitherTarget& target, const uint8_t* stored,
                     uint32_t width, uint32_t height, size_t stride) {
    const Flight flight(width * 3 + 3, width);
    if (!flight) return false;
    const bool grey = target.bitsPerPixel == 1;
    NearestFinder finder(target.table, target.count);
    uint8_t* row = flight.rows[0].data;
    uint8_t* next = flight.rows[1].data;
    const auto load = [&](uint32_t y, uint8_t* to) {
        loader.load(y, to);
        if (grey) rev_rgb(static_cast<int32_t>(width), to, kTurnGrey);
    };
    load(0, row);
    for (uint32_t y = 0; y < height; ++y) {
        const bool more = y + 1 < height;
        if (more) load(y + 1, next);
        ditherColors(row, more ? next : nullptr, finder, target, stored, width,
                     flight.indices.data);
        packIndices(flight.indices.data, target.bitsPerPixel, width, target.rows + y * stride);
        std::swap(row, next);
    }
    return true;
}

bool ditherGreyRows(RowLoader& loader, const DitherTarget& target, const uint8_t* stored,
                    uint32_t width, uint32_t height, size_t stride) {
    const Flight flight(width, width);
    const OwnedBlock colors(allocateQuietly(TIVAR_GMEM_FLAGS, width * 3));
    if (!flight || !colors) return false;
    const GreySteps steps(target, stored);
    uint8_t* row = flight.rows[0].data;
    uint8_t* next = flight.rows[1].data;
    const auto load = [&](uint32_t y, uint8_t* to) {
        loader.load(y, colors.data);
        turnGrey(colors.data, width, to);
    };
    load(0, row);
    for (uint32_t y = 0; y < height; ++y) {
        // Below the last row errors go into a row that nobody reads.
        if (y + 1 < height) load(y + 1, next);
        ditherGreys(row, next, steps.steps, stored[0], width, flight.indices.data);
        packIndices(flight.indices.data, target.bitsPerPixel, width, target.rows + y * stride);
        std::swap(row, next);
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
    if (width > UINT32_MAX / 3 - 3) return false;
    RowLoader loader(source, sourceBits, sourceTable, width);
    const StoredIndices stored(target);
    if (!stored.block) return false;
    const auto stride = static_cast<size_t>(rlBytesPerLine(width, target.bitsPerPixel));
    const bool greys = target.bitsPerPixel == 1 && GreySteps::serves(target);
    const auto dither = greys ? ditherGreyRows : ditherColorRows;
    return dither(loader, target, stored.block.data, width, height, stride);
}

}  // namespace tivar
