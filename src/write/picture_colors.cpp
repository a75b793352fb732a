#include "write/picture_colors.h"

#include <algorithm>

#include "write/color_set.h"
#include "write/histogram.h"
#include "write/row_pass.h"

namespace tivar {
namespace {

// What one thread has counted: colours one by one, and once they are too many, cells.
struct Counter {
    ColorSet set;
    Histogram histogram;
    Block<uint8_t> scratch;
};

struct Counters {
    Counter all[kMostThreads];
    int count = 0;
};

uint64_t pixelsOf(const ColorRows& rows) {
    return uint64_t{rows.width} * rows.height;
}

uint32_t listedAtMost(const ColorRows& rows) {
    return static_cast<uint32_t>(std::min<uint64_t>(pixelsOf(rows), kMostListed));
}

bool obtain(Counter& counter, const ColorRows& rows) {
    return counter.scratch.obtain(size_t{rows.width} * 3) && counter.set.obtain(listedAtMost(rows));
}

// False without memory.
bool countRow(Counter& counter, const uint8_t* rgb, const ColorRows& rows) {
    uint32_t done = 0;
    if (!counter.histogram.cells) {
        done = counter.set.addRow(rgb, rows.width);
        if (done == rows.width) return true;
        if (!counter.histogram.obtain(pixelsOf(rows))) return false;
    }
    counter.histogram.addRow(rgb + size_t{done} * 3, rows.width - done);
    return true;
}

// All colours that the counters listed, in one set; false when there are too many.
bool uniteSets(const Counters& counters, ColorSet& united) {
    bool room = true;
    for (int i = 0; i < counters.count && room; ++i) {
        if (counters.all[i].histogram.cells) return false;
        counters.all[i].set.forEach(
            [&](uint32_t color, uint32_t count) { room = room && united.add(color, count); });
    }
    return room;
}

// The part of a count that becomes the weight: all weights together fit 32 bits, none is 0.
struct Scale {
    int shift = 0;

    explicit Scale(uint64_t pixels) {
        while (pixels >> shift > UINT32_MAX / 2) ++shift;
    }
    uint32_t weightOf(uint64_t count) const {
        return static_cast<uint32_t>(std::max<uint64_t>(count >> shift, 1));
    }
};

ColorPoint pointOf(const ColorSum& sum, Scale scale) {
    ColorPoint point{};
    for (int i = 0; i < 3; ++i)
        point.channels[i] =
            static_cast<uint16_t>(roundedQuotient(sum.channels[i] * kPointSteps, sum.weight));
    point.weight = scale.weightOf(sum.weight);
    return point;
}

ColorSum sumOf(uint32_t color, uint64_t count) {
    return {count, {count * (color >> 16), count * (color >> 8 & 255), count * (color & 255)}};
}

bool listPoints(const ColorSet& set, Scale scale, PictureColors& colors) {
    if (!colors.points.obtain(set.colors)) return false;
    colors.listed = true;
    set.forEach([&](uint32_t color, uint32_t count) {
        colors.points[colors.count++] = pointOf(sumOf(color, count), scale);
    });
    // The set's own order is that of the rows.
    std::sort(colors.points.data, colors.points.data + colors.count,
              [](const ColorPoint& a, const ColorPoint& b) {
                  return std::lexicographical_compare(a.channels, a.channels + 3, b.channels,
                                                      b.channels + 3);
              });
    return true;
}

// Marks a cell that has pixels, though none in the word itself.
constexpr uint64_t kMarked = uint64_t{1} << 63;

// The histogram that will hold the marks of all; null without memory.
Histogram* chooseBase(Counters& counters, uint64_t pixels) {
    for (int i = 0; i < counters.count; ++i) {
        if (counters.all[i].histogram.cells) return &counters.all[i].histogram;
    }
    Histogram& first = counters.all[0].histogram;
    return first.obtain(pixels) ? &first : nullptr;
}

template <class Visit>
void forEachListed(const Counters& counters, Visit&& visit) {
    for (int i = 0; i < counters.count; ++i) {
        counters.all[i].set.forEach([&](uint32_t color, uint32_t count) {
            const uint8_t rgb[3] = {static_cast<uint8_t>(color >> 16),
                                    static_cast<uint8_t>(color >> 8), static_cast<uint8_t>(color)};
            visit(cellOfPixel<kCellBits>(joinBytes(rgb)), sumOf(color, count));
        });
    }
}

template <class Visit>
void forEachOther(const Counters& counters, const Histogram& base, Visit&& visit) {
    for (int i = 0; i < counters.count; ++i) {
        const Histogram& histogram = counters.all[i].histogram;
        if (histogram.cells && &histogram != &base) visit(histogram);
    }
}

// How many cells have pixels; they are marked.
uint32_t markCells(const Counters& counters, Histogram& base) {
    forEachListed(counters, [&](uint32_t cell, const ColorSum&) { base.cells[cell] |= kMarked; });
    forEachOther(counters, base, [&](const Histogram& other) {
        for (uint32_t cell = 0; cell < kCellCount; ++cell) {
            if (other.cells[cell] != 0) base.cells[cell] |= kMarked;
        }
    });
    uint32_t marked = 0;
    for (uint32_t cell = 0; cell < kCellCount; ++cell) marked += base.cells[cell] != 0 ? 1 : 0;
    return marked;
}

bool anyOfEight(const uint64_t* cells) {
    uint64_t any = 0;
    for (int i = 0; i < 8; ++i) any |= cells[i];
    return any != 0;
}

// The sums of the marked cells, cube by cube; each mark becomes the place of the cell's sum.
void addCells(const Counters& counters, Histogram& base, ColorSum* sums) {
    uint32_t place = 0;
    forEachEight([&](uint32_t first) {
        if (!anyOfEight(&base.cells[first])) return;
        for (uint32_t cell = first; cell < first + 8; ++cell) {
            if (base.cells[cell] == 0) continue;
            ColorSum sum{};
            addCell(cell, base.cells[cell] & ~kMarked, sum);
            forEachOther(counters, base,
                         [&](const Histogram& other) { addCell(cell, other.cells[cell], sum); });
            base.cells[cell] = place;
            sums[place++] = sum;
        }
    });
}

size_t placeOf(const Histogram& base, uint32_t cell) {
    return static_cast<size_t>(base.cells[cell]);
}

// What was laid aside, and what was listed before there were too many colours.
void addRest(const Counters& counters, const Histogram& base, ColorSum* sums) {
    const auto addAside = [&](const Histogram& histogram) {
        for (size_t i = 0; i < histogram.asideCount; ++i) {
            const Histogram::Aside& aside = histogram.aside[i];
            addCell(aside.cell, aside.word, sums[placeOf(base, aside.cell)]);
        }
    };
    addAside(base);
    forEachOther(counters, base, addAside);
    forEachListed(counters,
                  [&](uint32_t cell, const ColorSum& sum) { sums[placeOf(base, cell)].add(sum); });
}

bool gatherPoints(Counters& counters, uint64_t pixels, PictureColors& colors) {
    Histogram* base = chooseBase(counters, pixels);
    if (base == nullptr) return false;
    colors.count = markCells(counters, *base);
    Block<ColorSum> sums;
    if (!sums.obtain(colors.count) || !colors.points.obtain(colors.count)) return false;
    addCells(counters, *base, sums.data);
    addRest(counters, *base, sums.data);
    const Scale scale(pixels);
    for (uint32_t i = 0; i < colors.count; ++i) colors.points[i] = pointOf(sums[i], scale);
    return true;
}

}  // namespace

PaletteResult countColors(const ColorRows& rows, int threads, Watch& watch, PictureColors& colors) {
    const uint64_t pixels = pixelsOf(rows);
    Counters counters;
    counters.count = threadsForRows(rows.width, rows.height, threads);
    for (int i = 0; i < counters.count; ++i) {
        if (!obtain(counters.all[i], rows)) return PaletteResult::kNoMemory;
    }
    const auto countOne = [&](int worker, uint32_t y) {
        Counter& counter = counters.all[worker];
        return countRow(counter, rowOf(rows, y, counter.scratch.data), rows);
    };
    if (!passOverRows(rows.width, rows.height, threads, watch, countOne))
        return watch.cancelled ? PaletteResult::kCancelled : PaletteResult::kNoMemory;
    ColorSet united;
    if (!united.obtain(listedAtMost(rows))) return PaletteResult::kNoMemory;
    const bool gathered = uniteSets(counters, united) ? listPoints(united, Scale(pixels), colors)
                                                      : gatherPoints(counters, pixels, colors);
    return gathered ? PaletteResult::kDone : PaletteResult::kNoMemory;
}

}  // namespace tivar
