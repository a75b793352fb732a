// Median cut over a 15-bit colour histogram.

#include <algorithm>

#include "plain_model.h"

namespace model {

namespace {

constexpr std::uint16_t freeSlot = 65535;
constexpr std::uint16_t singleEntry = 65534;

struct Entry {
    std::uint16_t cell;
    std::uint16_t count;
};

struct Box {
    std::size_t first{};
    std::size_t last{};
    std::uint32_t total{};
    int axis{};
    int mean[3]{};
};

struct Cut {
    std::vector<Entry> list;
    std::vector<Box> boxes;
    std::vector<std::uint16_t> slots;
    std::size_t boxCount{};
};

// Five bits of a cell: axis 0 is red, 1 green, any other blue.
int component(std::uint16_t cell, int axis) {
    if (axis == 0) return (cell >> 10) & 31;
    if (axis == 1) return (cell >> 5) & 31;
    return cell & 31;
}

std::uint8_t expand(int fiveBits) {
    const int value = fiveBits * 8;
    return static_cast<std::uint8_t>(value == 0 ? 0 : value | 7);
}

std::vector<std::uint16_t> histogramOf(const Bitmap& picture) {
    std::vector<std::uint16_t> histogram(32768, 0);
    const std::int64_t width = picture.width & 0xFFFFU;
    const std::int64_t height = picture.height & 0xFFFFU;
    const std::int64_t stride = (width * 3 + 3) / 4 * 4;
    for (std::int64_t y = 0; y < height; ++y) {
        for (std::int64_t x = 0; x < width; ++x) {
            const std::int64_t offset = y * stride + x * 3;
            const unsigned r = byteAt(picture.data, offset) >> 3;
            const unsigned g = byteAt(picture.data, offset + 1) >> 3;
            const unsigned b = byteAt(picture.data, offset + 2) >> 3;
            std::uint16_t& counter = histogram[(r << 10) | (g << 5) | b];
            if (counter < 65535) ++counter;
        }
    }
    return histogram;
}

std::vector<Entry> colorsOf(const std::vector<std::uint16_t>& histogram) {
    std::vector<Entry> list;
    for (std::size_t cell = 0; cell < histogram.size(); ++cell) {
        if (histogram[cell] == 0) continue;
        list.push_back(Entry{static_cast<std::uint16_t>(cell), histogram[cell]});
    }
    return list;
}

Box describe(const std::vector<Entry>& list, std::size_t first, std::size_t last) {
    Box box;
    box.first = first;
    box.last = last;
    int low[3] = {255, 255, 255};
    int high[3] = {0, 0, 0};
    std::uint64_t sum[3] = {0, 0, 0};
    for (std::size_t i = first; i <= last; ++i) {
        box.total += list[i].count;
        for (int axis = 0; axis < 3; ++axis) {
            const int value = component(list[i].cell, axis);
            sum[axis] += static_cast<std::uint64_t>(value) * list[i].count;
            low[axis] = std::min(low[axis], value);
            high[axis] = std::max(high[axis], value);
        }
    }
    for (int axis = 1; axis < 3; ++axis) {
        if (high[axis] - low[axis] > high[box.axis] - low[box.axis]) box.axis = axis;
    }
    for (int axis = 0; axis < 3; ++axis) {
        if (box.total != 0) box.mean[axis] = static_cast<int>(sum[axis] / box.total);
    }
    return box;
}

// Sifts the entry at `root` down. Indexes count from `base`; `last` is the last one that counts.
void siftDown(std::vector<Entry>& list, std::size_t base, int axis, std::size_t root,
              std::size_t last) {
    const auto key = [&](std::size_t i) { return component(list[base + i].cell, axis); };
    while (2 * root + 1 <= last) {
        std::size_t child = 2 * root + 1;
        const bool leftOnly = child == last;
        if (!leftOnly && key(child) <= key(child + 1)) child += 1;
        if (key(root) >= key(child)) return;
        std::swap(list[base + root], list[base + child]);
        root = child;
    }
}

// The build phase takes in the entry just behind the range, which is why the list has a spare one.
void sortRange(std::vector<Entry>& list, std::size_t first, std::size_t last, int axis) {
    const int count = static_cast<int>(last - first) + 1;
    for (int root = (count - 2) / 2; root >= 0; --root) {
        siftDown(list, first, axis, static_cast<std::size_t>(root),
                 static_cast<std::size_t>(count));
    }
    for (int i = count - 1; i >= 1; --i) {
        const auto end = static_cast<std::size_t>(i);
        std::swap(list[first], list[first + end]);
        siftDown(list, first, axis, 0, end - 1);
    }
}

// The list position behind which the box is cut.
std::size_t findMedian(const std::vector<Entry>& list, const Box& box) {
    if (box.last - box.first <= 1) return box.first;
    const auto key = [&](std::size_t i) { return component(list[i].cell, box.axis); };
    std::int64_t total = 0;
    for (std::size_t i = box.first; i <= box.last; ++i) total += list[i].count;
    const std::int64_t half = total / 2;

    std::size_t middle = box.first;
    std::int64_t sum = list[middle].count;
    while (sum < half) {
        middle += 1;
        sum += list[middle].count;
    }
    std::size_t up = middle;
    std::int64_t sumUp = sum;
    while (up < box.last && key(up) == key(up + 1)) {
        up += 1;
        sumUp += list[up].count;
    }
    // Going down, the count removed is that of the entry the walk arrives at.
    std::size_t down = middle;
    std::int64_t sumDown = sum;
    while (down > box.first && key(down) == key(down + 1)) {
        down -= 1;
        sumDown -= list[down].count;
    }
    return half - sumDown > sumUp - half ? up : down;
}

// The live box with the greatest total; slot 0 when there is none.
std::size_t boxToSplit(const Cut& cut) {
    std::size_t best = 0;
    std::uint32_t bestTotal = 0;
    for (std::size_t s = 0; s < cut.slots.size(); ++s) {
        if (cut.slots[s] >= 32768) continue;
        if (cut.boxes[s].total > bestTotal) {
            bestTotal = cut.boxes[s].total;
            best = s;
        }
    }
    return best;
}

std::size_t findFree(const Cut& cut, std::size_t from) {
    for (std::size_t s = from; s < cut.slots.size(); ++s) {
        if (cut.slots[s] == freeSlot) return s;
    }
    return cut.slots.size() - 1;
}

void split(Cut& cut, std::size_t slot, std::size_t at) {
    const std::size_t first = cut.boxes[slot].first;
    const std::size_t last = cut.boxes[slot].last;

    const std::size_t lower = findFree(cut, 0);
    if (at == first) {
        cut.boxes[lower] = describe(cut.list, first, at);
        cut.slots[lower] = singleEntry;
    } else {
        cut.boxes[lower] = describe(cut.list, first, at == last ? at - 1 : at);
        cut.slots[lower] = static_cast<std::uint16_t>(lower);
    }

    const std::size_t upper = findFree(cut, lower + 1);
    if (at == last) {
        cut.boxes[upper] = describe(cut.list, at, last);
        cut.slots[upper] = singleEntry;
    } else {
        cut.boxes[upper] = describe(cut.list, at + 1, last);
        cut.slots[upper] = last == at + 1 ? singleEntry : static_cast<std::uint16_t>(upper);
    }

    cut.slots[slot] = freeSlot;
    cut.boxCount += 1;
}

void setEntry(Bytes& table, std::size_t index, int r, int g, int b) {
    table[index * 3] = expand(r);
    table[index * 3 + 1] = expand(g);
    table[index * 3 + 2] = expand(b);
}

// Every slot gives an entry, also the one that the last split left free.
Bytes cutTable(const std::vector<Entry>& colors, std::size_t wanted) {
    Cut cut;
    cut.list = colors;
    cut.list.push_back(Entry{0, 0});
    cut.boxes.resize(wanted);
    cut.slots.assign(wanted, freeSlot);
    cut.slots[0] = 0;
    cut.boxes[0] = describe(cut.list, 0, colors.size() - 1);
    cut.boxCount = 1;
    while (cut.boxCount < wanted - 1) {
        const std::size_t slot = boxToSplit(cut);
        const Box& box = cut.boxes[slot];
        sortRange(cut.list, box.first, box.last, box.axis);
        split(cut, slot, findMedian(cut.list, box));
    }
    Bytes table(wanted * 3, 0);
    for (std::size_t i = 0; i < wanted; ++i) {
        const int* mean = cut.boxes[i].mean;
        setEntry(table, i, mean[0], mean[1], mean[2]);
    }
    return table;
}

}  // namespace

Reduced reduceColors(const Bitmap& picture24, int wanted) {
    const std::size_t size = static_cast<std::uint32_t>(wanted) & 0xFFFFU;
    const std::vector<Entry> colors = colorsOf(histogramOf(picture24));
    if (size == 0) return Reduced{};
    if (colors.size() >= size) return Reduced{cutTable(colors, size), static_cast<int>(size)};

    Bytes table(size * 3, 0);
    for (std::size_t i = 0; i < colors.size(); ++i) {
        const std::uint16_t cell = colors[i].cell;
        setEntry(table, i, component(cell, 0), component(cell, 1), component(cell, 2));
    }
    return Reduced{table, static_cast<int>(colors.size())};
}

}  // namespace model
