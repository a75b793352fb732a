#include "color/dither_colors.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "color/color_transform.h"
#include "color/error_shares.h"
#include "color/nearest_lanes.h"

namespace tivar {
namespace {

// What the diffusion of rows reads, apart from the rows.
template <class Pixel>
struct Palette {
    NearestFinder& finder;
    const Pixel* entries;
    const uint8_t* stored;
};

#if TIVAR_SIMD

// A pixel in flight, with room in front of and behind a row for the lanes that idle there.
using Pixel = LaneColor;
constexpr int32_t kMargin = 8;
static_assert(kMargin > kRowLag + 1);

Pixel pixelOf(const uint8_t* color) {
    return laneColor(color);
}

Lanes clampLanes(Lanes lanes) {
    lanes &= ~(lanes < 0);
    const Lanes above = lanes > 255;
    return (lanes & ~above) | (above & 255);
}

Lanes divideLanes(Lanes lanes, int shift) {
    const auto remainder = static_cast<int16_t>((1 << shift) - 1);
    return (lanes + ((lanes >> 15) & remainder)) >> shift;
}

// The chosen entries of a row's pixels; a row that is not at a pixel to search passes no error on.
struct Choice {
    uint32_t index = 0;
    Pixel pick(const Palette<Pixel>& palette, Pixel level, int32_t x, int32_t width,
               uint8_t* indices) {
        if (x < 0 || x >= width - 1) return level;
        index = findNearest(palette.finder, level, palette.entries);
        indices[x] = palette.stored[index];
        return palette.entries[index];
    }
};

// Rows first and second follow each other; each one's waits for its search and its error hide the
// other's.
void diffuseTwoRows(Palette<Pixel> palette, uint8_t* const* rows, uint32_t rowWidth,
                    uint8_t* firstIndices, uint8_t* secondIndices) {
    const auto* first = reinterpret_cast<const Pixel*>(rows[0]);
    auto* second = reinterpret_cast<Pixel*>(rows[1]);
    auto* third = reinterpret_cast<Pixel*>(rows[2]);
    const auto width = static_cast<int32_t>(rowWidth);
    Choice firstChoice;
    Choice secondChoice;
    Lanes level = {};
    Lanes below = {};
    Lanes belowLeft = {};
    for (int32_t x = -1; x <= width + kRowLag; ++x) {
        const int32_t behind = x - kRowLag;
        const LanePair levels = part(level);
        const Lanes entry =
            join(firstChoice.pick(palette, levels[0], x, width, firstIndices),
                 secondChoice.pick(palette, levels[1], behind, width, secondIndices));
        const Shares<Lanes> shares = sharesOf<Lanes>(level - entry, divideLanes);
        level = clampLanes(join(first[x + 1], second[behind + 1]) + shares.right);
        const LanePair finished = part(clampLanes(belowLeft + shares.belowLeft));
        second[x - 1] = finished[0];
        third[behind - 1] = finished[1];
        belowLeft = clampLanes(below + shares.below);
        below = clampLanes(join(second[x + 1], third[behind + 1]) + shares.belowRight);
    }
    firstIndices[width - 1] = palette.stored[firstChoice.index];
    secondIndices[width - 1] = palette.stored[secondChoice.index];
}

#else

// The plain rule, row by row.
struct Pixel {
    uint8_t channels[3];
};
constexpr int32_t kMargin = 0;

Pixel pixelOf(const uint8_t* color) {
    return {{color[0], color[1], color[2]}};
}

void diffuseRow(const Palette<Pixel>& palette, uint8_t* pixel, uint8_t* below, uint32_t width,
                uint8_t* indices) {
    uint32_t index = 0;
    for (uint32_t x = 0; x + 1 < width; ++x, pixel += 3, below += 3) {
        index = palette.finder.find(pixel[0], pixel[1], pixel[2]);
        indices[x] = palette.stored[index];
        for (int channel = 0; channel < 3; ++channel) {
            const uint8_t chosen = palette.entries[index].channels[channel];
            spreadError(pixel + channel, below + channel, pixel[channel] - chosen, x > 0);
        }
    }
    indices[width - 1] = palette.stored[index];
}

void diffuseTwoRows(Palette<Pixel> palette, uint8_t* const* rows, uint32_t width,
                    uint8_t* firstIndices, uint8_t* secondIndices) {
    diffuseRow(palette, rows[0], rows[1], width, firstIndices);
    diffuseRow(palette, rows[1], rows[2], width, secondIndices);
}

#endif

uint32_t entriesOf(const DitherTarget& target) {
    return static_cast<uint32_t>(std::max<int>(target.count, 1));
}

uint64_t rowBytes(uint32_t width) {
    return (uint64_t{width} + 2 * kMargin) * sizeof(Pixel);
}

void spreadPixels(const uint8_t* colors, uint32_t count, Pixel* pixels) {
    for (uint32_t i = 0; i < count; ++i, colors += 3) pixels[i] = pixelOf(colors);
}

Pixel* pixelsAt(uint8_t* bytes) {
    return reinterpret_cast<Pixel*>(bytes);
}

}  // namespace

ColorDiffuser::ColorDiffuser(const DitherTarget& ditherTarget, const uint8_t* storedIndices,
                             uint32_t rowWidth)
    : target(ditherTarget),
      stored(storedIndices),
      width(rowWidth),
      rowBlock(allocateScratch(3 * rowBytes(rowWidth))),
      entryBlock(allocateScratch(uint64_t{entriesOf(ditherTarget)} * sizeof(Pixel))),
      finder(ditherTarget.table, ditherTarget.count),
      rows() {
    if (!rowBlock || !entryBlock) return;
    for (size_t row = 0; row < 3; ++row)
        rows[row] = rowBlock.data + row * static_cast<size_t>(rowBytes(width)) +
                    size_t{kMargin} * sizeof(Pixel);
    spreadPixels(target.table, entriesOf(target), pixelsAt(entryBlock.data));
}

void ColorDiffuser::load(int row, uint8_t* colors) {
    if (target.bitsPerPixel == 1) rev_rgb(static_cast<int32_t>(width), colors, kTurnGrey);
    spreadPixels(colors, width, pixelsAt(rows[row]));
}

void ColorDiffuser::diffuse(uint8_t* firstIndices, uint8_t* secondIndices) {
    diffuseTwoRows({finder, pixelsAt(entryBlock.data), stored}, rows, width, firstIndices,
                   secondIndices);
}

void ColorDiffuser::advance() {
    std::swap(rows[0], rows[2]);
}

}  // namespace tivar
