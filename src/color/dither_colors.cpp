#include "color/dither_colors.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "color/color_transform.h"
#include "color/error_shares.h"
#include "color/nearest_few.h"
#include "color/nearest_lanes.h"
#include "color/rows.h"

namespace tivar {
namespace {

// What the diffusion of rows reads, apart from the rows.
template <class Pixel>
struct Palette {
    NearestFinder& finder;
    const Pixel* entries;
    const uint8_t* stored;
    const uint8_t* table;
    int count;
};

constexpr int kColorRows = ColorDiffuser::kRows;

#if TIVAR_SIMD

// A pixel in flight, with room in front of and behind a row for the lanes that idle there.
using Pixel = LaneColor;
constexpr int32_t kMostLag = kRowLag * (kColorRows - 1);
constexpr int32_t kMargin = kMostLag + 3;

Pixel pixelOf(const uint8_t* color) {
    return laneColor(color);
}

// The entries nearest to two levels.
struct Nearest {
    uint32_t first;
    uint32_t second;
};

// The search in any table.
struct TableSearch {
    const Palette<Pixel>& palette;

    Nearest find(Lanes levels) const {
        const LanePair pair = part(levels);
        return {findNearest(palette.finder, pair[0], palette.entries),
                findNearest(palette.finder, pair[1], palette.entries)};
    }
};

#if TIVAR_HAS_V3

// The search in a table of few entries.
struct FewSearch {
    const FewEntries& few;
    const TableSearch& otherwise;

    TIVAR_V3_PART Nearest find(Lanes levels) const {
        const Lanes withKinds = FewEntries::withKinds(levels);
        const int32_t first = few.find<0>(withKinds);
        const int32_t second = few.find<1>(withKinds);
        if ((first | second) < 0) return otherwise.find(levels);
        return {static_cast<uint32_t>(first), static_cast<uint32_t>(second)};
    }
};

#endif

// Two rows that follow each other, on their way from left to right. What they pass on is in
// registers until nothing more is added.
template <class Search>
struct RowPair {
    const Search* search;
    const Palette<Pixel>* palette;
    int32_t width = 0;
    const Pixel* first = nullptr;
    Pixel* second = nullptr;
    Pixel* third = nullptr;
    uint8_t* firstIndices = nullptr;
    uint8_t* secondIndices = nullptr;
    Nearest chosen = {};
    Lanes level = {};
    Lanes below = {};
    Lanes belowLeft = {};

    // rows: the two and the one behind them.
    void begin(uint8_t* const* rows, uint8_t* indices, int32_t rowWidth) {
        width = rowWidth;
        first = reinterpret_cast<const Pixel*>(rows[0]);
        second = reinterpret_cast<Pixel*>(rows[1]);
        third = reinterpret_cast<Pixel*>(rows[2]);
        firstIndices = indices;
        secondIndices = indices + rowWidth;
    }

    // The entries that the first row takes at x and the second one behind it.
    Lanes pick(int32_t x) {
        chosen = search->find(level);
        firstIndices[x] = palette->stored[chosen.first];
        secondIndices[x - kRowLag] = palette->stored[chosen.second];
        return join(palette->entries[chosen.first], palette->entries[chosen.second]);
    }

    // A row that is not at a pixel to search passes no error on.
    bool searches(int32_t x) const { return x >= 0 && x < width - 1; }
    Lanes pickAtEnds(int32_t x) {
        const Nearest found = search->find(level);
        LanePair entry = part(level);
        if (searches(x)) {
            chosen.first = found.first;
            firstIndices[x] = palette->stored[found.first];
            entry[0] = palette->entries[found.first];
        }
        if (searches(x - kRowLag)) {
            chosen.second = found.second;
            secondIndices[x - kRowLag] = palette->stored[found.second];
            entry[1] = palette->entries[found.second];
        }
        return reinterpret_cast<Lanes>(entry);
    }

    void pass(int32_t x, Lanes entry) {
        const int32_t behind = x - kRowLag;
        const Shares<Lanes> shares = sharesOf<Lanes>(level - entry, divideLanes);
        level = clampLanes(join(first[x + 1], second[behind + 1]) + shares.right);
        const LanePair finished = part(clampLanes(belowLeft + shares.belowLeft));
        second[x - 1] = finished[0];
        third[behind - 1] = finished[1];
        belowLeft = clampLanes(below + shares.below);
        below = clampLanes(join(second[x + 1], third[behind + 1]) + shares.belowRight);
    }

    // Kept: the last pixel is not searched but repeats the last choice.
    void finish() {
        firstIndices[width - 1] = palette->stored[chosen.first];
        secondIndices[width - 1] = palette->stored[chosen.second];
    }
};

// Pairs of rows follow each other; each one's waits for its search and its error hide the others'.
template <class Search>
inline void diffuseInPairs(const Search& search, const Palette<Pixel>& palette,
                           uint8_t* const* rows, uint32_t rowWidth, uint8_t* indices) {
    constexpr size_t kPairs = kColorRows / 2;
    constexpr int32_t kPairLag = 2 * kRowLag;
    const auto width = static_cast<int32_t>(rowWidth);
    std::array<RowPair<Search>, kPairs> pairs;
    pairs.fill({&search, &palette});
    for (size_t row = 0; row < kColorRows; row += 2)
        pairs[row / 2].begin(rows + row, indices + row * rowWidth, width);
    const auto stepAtEnds = [&](int32_t x) {
        for (RowPair<Search>& pair : pairs) {
            pair.pass(x, pair.pickAtEnds(x));
            x -= kPairLag;
        }
    };
    int32_t x = -1;
    for (; x < kMostLag; ++x) stepAtEnds(x);
    for (; x < width - 1; ++x) {
        Lanes entries[kPairs];
        int32_t at = x;
        for (size_t i = 0; i < kPairs; ++i, at -= kPairLag) entries[i] = pairs[i].pick(at);
        at = x;
        for (size_t i = 0; i < kPairs; ++i, at -= kPairLag) pairs[i].pass(at, entries[i]);
    }
    for (; x <= width + kMostLag; ++x) stepAtEnds(x);
    for (RowPair<Search>& pair : pairs) pair.finish();
}

#if TIVAR_HAS_V3
TIVAR_V3 void diffuseToFew(const Palette<Pixel>& palette, uint8_t* const* rows, uint32_t width,
                           uint8_t* indices) {
    const FewEntries few(palette.table, palette.count);
    const TableSearch otherwise{palette};
    diffuseInPairs(FewSearch{few, otherwise}, palette, rows, width, indices);
}
#endif

void diffuseRows(const Palette<Pixel>& palette, uint8_t* const* rows, uint32_t width,
                 uint8_t* indices) {
#if TIVAR_HAS_V3
    if (palette.count <= FewEntries::kMost && hasV3())
        return diffuseToFew(palette, rows, width, indices);
#endif
    diffuseInPairs(TableSearch{palette}, palette, rows, width, indices);
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

void diffuseRows(const Palette<Pixel>& palette, uint8_t* const* rows, uint32_t width,
                 uint8_t* indices) {
    for (size_t row = 0; row < kColorRows; ++row)
        diffuseRow(palette, rows[row], rows[row + 1], width, indices + row * width);
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
      rowBlock(allocateScratch((kColorRows + 1) * rowBytes(rowWidth))),
      indexBlock(allocateScratch(uint64_t{rowWidth} * kColorRows)),
      entryBlock(allocateScratch(uint64_t{entriesOf(ditherTarget)} * sizeof(Pixel))),
      finder(ditherTarget.table, ditherTarget.count),
      rows() {
    if (!*this) return;
    std::memset(rowBlock.data, 0, static_cast<size_t>((kColorRows + 1) * rowBytes(width)));
    for (size_t row = 0; row <= kColorRows; ++row)
        rows[row] = rowBlock.data + row * static_cast<size_t>(rowBytes(width)) +
                    size_t{kMargin} * sizeof(Pixel);
    spreadPixels(target.table, entriesOf(target), pixelsAt(entryBlock.data));
}

void ColorDiffuser::load(int row, uint8_t* colors) {
    if (target.bitsPerPixel == 1) rev_rgb(static_cast<int32_t>(width), colors, kTurnGrey);
    spreadPixels(colors, width, pixelsAt(rows[row]));
}

void ColorDiffuser::diffuse(uint8_t* dest, size_t stride, uint32_t count) {
    diffuseRows({finder, pixelsAt(entryBlock.data), stored, target.table, target.count}, rows,
                width, indexBlock.data);
    for (uint32_t row = 0; row < count; ++row)
        packIndices(indexBlock.data + size_t{row} * width, target.bitsPerPixel, width,
                    dest + row * stride);
}

void ColorDiffuser::advance() {
    std::swap(rows[0], rows[kColorRows]);
}

}  // namespace tivar
