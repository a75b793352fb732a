#include "write/palette.h"

#include <algorithm>

#include "write/cluster_exchange.h"
#include "write/clusters.h"
#include "write/color_cuts.h"
#include "write/k_means.h"
#include "write/spread_means.h"

namespace tivar {
namespace {

// Rounds that end with an exchange of clusters, and those that follow.
constexpr int kExchanges = 4;
constexpr int kRounds = 5;

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

uint8_t levelOf(float steps) {
    return static_cast<uint8_t>((static_cast<int>(steps) + kPointSteps / 2) / kPointSteps);
}

void takePoints(const PictureColors& colors, ColorTable& table) {
    Entry entries[256];
    for (uint32_t i = 0; i < colors.count; ++i) {
        const ColorPoint& point = colors.points[i];
        for (int c = 0; c < 3; ++c) entries[i].rgb[c] = levelOf(point.channels[c]);
    }
    takeEntries(entries, colors.count, table);
}

void takeMeans(const Clusters& clusters, bool dithered, ColorTable& table) {
    float means[kMostClusters][3];
    if (dithered) spreadMeans(clusters, means);
    Entry entries[kMostClusters];
    uint32_t count = 0;
    for (uint32_t i = 0; i < clusters.count; ++i) {
        const ColorSum& sum = clusters.sums[i];
        if (sum.weight == 0) continue;
        for (int c = 0; c < 3; ++c)
            entries[count].rgb[c] = levelOf(dithered ? means[i][c] : meanOf(sum, c));
        ++count;
    }
    takeEntries(entries, count, table);
}

// False without memory.
bool refine(Clusters& clusters, int threads) {
    for (int i = 0; i < kExchanges; ++i) {
        moveToNearest(clusters, threads);
        const ExchangeResult exchanged = exchangeClusters(clusters);
        if (exchanged == ExchangeResult::kNoMemory) return false;
        if (exchanged == ExchangeResult::kNothingToDo) break;
    }
    for (int i = 0; i < kRounds && moveToNearest(clusters, threads); ++i) continue;
    return true;
}

bool reduce(PictureColors& colors, uint32_t most, bool dithered, int threads, ColorTable& table) {
    Clusters clusters;
    clusters.points = &colors.points;
    clusters.count = 1;
    clusters.first[1] = colors.count;
    if (!clusters.spare.obtain(colors.count) || !cutClusters(clusters, most) ||
        !refine(clusters, threads))
        return false;
    takeMeans(clusters, dithered, table);
    return true;
}

}  // namespace

PaletteResult choosePalette(const ColorRows& rows, uint32_t most, bool dithered, int threads,
                            Watch& watch, ColorTable& table, bool& exact) {
    exact = false;
    PictureColors colors;
    const PaletteResult counted = countColors(rows, threads, watch, colors);
    if (counted != PaletteResult::kDone) return counted;
    if (colors.count > most)
        return reduce(colors, most, dithered, threads, table) ? PaletteResult::kDone
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
