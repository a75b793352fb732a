#include "write/palette.h"

#include <algorithm>

#include "write/color_cuts.h"
#include "write/k_means.h"

namespace tivar {
namespace {

constexpr int kRounds = 6;

uint32_t lumaOf(const uint8_t* rgb) {
    return rgb[0] * 299u + rgb[1] * 587u + rgb[2] * 114u;
}

bool darker(const uint8_t* a, const uint8_t* b) {
    const uint32_t luma = lumaOf(a);
    const uint32_t other = lumaOf(b);
    return luma != other ? luma < other : std::lexicographical_compare(a, a + 3, b, b + 3);
}

struct Entry {
    uint8_t rgb[3];
};

// The entries in order, each once.
void takeEntries(Entry* entries, uint32_t count, ColorTable& table) {
    std::sort(entries, entries + count,
              [](const Entry& a, const Entry& b) { return darker(a.rgb, b.rgb); });
    const Entry* end = std::unique(entries, entries + count, [](const Entry& a, const Entry& b) {
        return std::equal(a.rgb, a.rgb + 3, b.rgb);
    });
    table.count = static_cast<uint32_t>(end - entries);
    for (uint32_t i = 0; i < table.count; ++i)
        std::copy(entries[i].rgb, entries[i].rgb + 3, table.entries[i]);
}

uint8_t levelOf(int32_t steps) {
    return static_cast<uint8_t>((steps + kPointSteps / 2) / kPointSteps);
}

template <class Channels>
Entry entryOf(const Channels& channels) {
    return {{levelOf(channels[0]), levelOf(channels[1]), levelOf(channels[2])}};
}

void takePoints(const PictureColors& colors, ColorTable& table) {
    Entry entries[256];
    for (uint32_t i = 0; i < colors.count; ++i) entries[i] = entryOf(colors.points[i].channels);
    takeEntries(entries, colors.count, table);
}

bool reduce(PictureColors& colors, uint32_t most, int threads, ColorTable& table) {
    ColorPoint* points = colors.points.data;
    const uint32_t clusters = cutColors(points, colors.count, most);
    if (clusters == 0) return false;
    ColorCenter centers[kMostCenters];
    meanCenters(points, colors.count, centers, clusters);
    if (!refineCenters(points, colors.count, centers, clusters, kRounds, threads)) return false;
    Entry entries[kMostCenters];
    for (uint32_t i = 0; i < clusters; ++i) entries[i] = entryOf(centers[i].channels);
    takeEntries(entries, clusters, table);
    return true;
}

}  // namespace

PaletteResult choosePalette(const ColorRows& rows, uint32_t most, int threads, Watch& watch,
                            ColorTable& table, bool& exact) {
    exact = false;
    PictureColors colors;
    const PaletteResult counted = countColors(rows, threads, watch, colors);
    if (counted != PaletteResult::kDone) return counted;
    if (colors.count > most)
        return reduce(colors, most, threads, table) ? PaletteResult::kDone
                                                    : PaletteResult::kNoMemory;
    exact = colors.listed;
    takePoints(colors, table);
    return PaletteResult::kDone;
}

ColorTable greyPalette(uint32_t count) {
    ColorTable table{};
    table.count = count;
    for (uint32_t i = 0; i < count; ++i)
        std::fill_n(table.entries[i], 3,
                    static_cast<uint8_t>((i * 255 * 2 + count - 1) / (2 * (count - 1))));
    return table;
}

}  // namespace tivar
