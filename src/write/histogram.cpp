#include "write/histogram.h"

#include <array>

namespace tivar {
namespace {

constexpr int kSumBits = 15;
constexpr int kCountShift = 3 * kSumBits;
// As many pixels as the sums have room for.
constexpr int kFullShift = kCountShift + 13;
static_assert(((1 << 13) - 1) * 3 < 1 << kSumBits);

constexpr uint32_t kPlaces = 1 << 3 * kCellBits;

// What a pixel adds to its cell's word, by its place in the cell.
constexpr std::array<uint64_t, kPlaces> makeAddends() {
    std::array<uint64_t, kPlaces> addends{};
    for (uint32_t place = 0; place < kPlaces; ++place) {
        addends[place] = uint64_t{1} << kCountShift;
        for (int channel = 0; channel < 3; ++channel)
            addends[place] |= uint64_t{place >> (kCellBits * channel) & 3} << (kSumBits * channel);
    }
    return addends;
}

constexpr std::array<uint64_t, kPlaces> kAddends = makeAddends();

__attribute__((noinline)) void layAside(Histogram& histogram, uint32_t cell) {
    histogram.aside[histogram.asideCount++] = {histogram.cells[cell], cell};
    histogram.cells[cell] = 0;
}

}  // namespace

bool Histogram::obtain(uint64_t pixels) {
    const uint64_t mostAside = (pixels >> (kFullShift - kCountShift)) * 2 + 1;
    asideCount = 0;
    return mostAside <= SIZE_MAX && cells.obtainZeroed(kCellCount) &&
           aside.obtain(static_cast<size_t>(mostAside));
}

// In a smooth picture a pixel is likely to fall into the cell of the one beside it.
void Histogram::addRow(const uint8_t* rgb, uint32_t width) {
    constexpr int kStreams = 4;
    uint64_t* const words = cells.data;
    forEachCell<kCellBits, kStreams>(
        rgb, width, [this, words](uint32_t cell, uint32_t place, uint32_t) {
            if ((words[cell] + kAddends[place]) >> kFullShift != 0) [[unlikely]]
                layAside(*this, cell);
            words[cell] += kAddends[place];
        });
}

void addCell(uint32_t cell, uint64_t word, ColorSum& sum) {
    const uint64_t count = word >> kCountShift;
    sum.weight += count;
    for (int i = 0; i < 3; ++i) {
        const uint32_t lowest = (cell >> (8 - kCellBits) * i & 63) << kCellBits;
        sum.channels[i] += (word >> (kSumBits * i) & ((1u << kSumBits) - 1)) + count * lowest;
    }
}

}  // namespace tivar
