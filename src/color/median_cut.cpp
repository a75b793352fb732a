#include "color/median_cut.h"

#include <tivar/color.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/memory.h"
#include "color/bitmap.h"
#include "color/debug.h"
#include "color/row_counter.h"

namespace tivar {
namespace {

int shiftOf(uint8_t axis) {
    return axis == kAxisRed ? 10 : axis == kAxisGreen ? 5 : 0;
}

uint8_t component(ColorEntry entry, uint8_t axis) {
    return static_cast<uint8_t>(entry.cell >> shiftOf(axis) & 31);
}

// 5 bits to 8: 0 stays 0, 31 becomes 255.
uint8_t expand(uint32_t component) {
    return static_cast<uint8_t>(component == 0 ? 0 : component * 8 | 7);
}

uint32_t cellOf(const uint8_t* pixel) {
    return static_cast<uint32_t>(pixel[0] >> 3) << 10 | static_cast<uint32_t>(pixel[1] >> 3) << 5 |
           static_cast<uint32_t>(pixel[2] >> 3);
}

void countBitmap(uint16_t* histogram, ColorContext& context, const uint8_t* pixels,
                 uint32_t pixelBytes, uint32_t width, uint32_t height) {
    const uint32_t stride = (width * 3 + 3) / 4 * 4;
    const uint32_t wholeRows = stride == 0 ? 0 : std::min(height, pixelBytes / stride);
    RowCounter counter(histogram, context, uint64_t{width} * wholeRows);
    for (uint32_t y = 0; y < wholeRows; ++y) counter.addRow(pixels + size_t{y} * stride, width);
    counter.finish();
    if (wholeRows == height) return;
    // The row that the block ends in, and those that it lacks: missing bytes are zero.
    const uint8_t* rest = pixels + size_t{wholeRows} * stride;
    const uint32_t restBytes = pixelBytes - wholeRows * stride;
    const uint32_t restPixels = std::min(width, (restBytes + 2) / 3);
    for (uint32_t x = 0; x < restPixels; ++x) {
        uint8_t pixel[3] = {};
        std::memcpy(pixel, rest + x * 3, std::min(restBytes - x * 3, 3u));
        countPixels(histogram, context, cellOf(pixel), 1);
    }
    const uint64_t missing = uint64_t{width} * (height - wholeRows) - restPixels;
    countPixels(histogram, context, 0, missing);
}

void putColor(uint8_t* table, uint32_t index, uint32_t red, uint32_t green, uint32_t blue) {
    uint8_t* entry = table + size_t{index} * 3;
    entry[0] = expand(red);
    entry[1] = expand(green);
    entry[2] = expand(blue);
}

// Fewer colours than wanted: each becomes an entry.
uint16_t takeAllColors(const uint16_t* histogram, uint8_t* table) {
    uint16_t count = 0;
    for (uint32_t cell = 0; cell < kHistogramCells; ++cell) {
        if (histogram[cell] != 0) putColor(table, count++, cell >> 10, cell >> 5 & 31, cell & 31);
    }
    return count;
}

void listColors(const uint16_t* histogram, ColorEntry* list) {
    for (uint32_t cell = 0; cell < kHistogramCells; ++cell) {
        if (histogram[cell] != 0) *list++ = {static_cast<uint16_t>(cell), histogram[cell]};
    }
}

void cutBoxes(ColorContext& context, ColorBox* boxes, uint16_t* slots, ColorEntry* list,
              uint16_t wanted) {
    std::fill(slots, slots + wanted, kSlotFree);
    slots[0] = 0;
    context.boxCount = 1;
    getCRectData(&boxes[0], list, 0, static_cast<uint16_t>(context.distinct - 1));
    while (context.boxCount < wanted - 1) {
        context.slot = GetMaxHistSum(boxes, slots, wanted);
        const ColorBox box = boxes[context.slot];
        context.first = box.first;
        context.last = box.last;
        HeapSort(list + box.first, box.axis, box.last - box.first + 1);
        context.cut = find_median(list, &box);
        split(boxes, context.slot, context.cut, &context.boxCount, slots, list, wanted);
    }
}

// Kept: one entry for every slot whatever its mark, so the slot that the last split left free
// repeats the means of the box that was split.
void takeMeans(const ColorBox* boxes, uint8_t* table, uint16_t wanted) {
    for (uint16_t slot = 0; slot < wanted; ++slot) {
        const uint8_t* means = boxes[slot].means;
        putColor(table, slot, means[0], means[1], means[2]);
    }
}

// Replaces a block of the context by a zeroed one.
uint8_t* renewBlock(MemHandle& handle, uint32_t bytes) {
    GlobalFree(handle);
    handle = allocateZeroed(bytes);
    return static_cast<uint8_t*>(GlobalLock(handle));
}

// Obtains the room and reduces; false without memory.
bool reduce(ColorContext& context, const uint16_t* histogram, uint8_t* table, uint16_t* count) {
    const uint16_t wanted = *count;
    if (context.distinct < wanted || wanted == 0) {
        *count = reduceHistogram(context, histogram, {}, wanted, table);
        return true;
    }
    auto* boxes =
        reinterpret_cast<ColorBox*>(renewBlock(context.boxes, uint32_t{wanted} * sizeof(ColorBox)));
    auto* slots = reinterpret_cast<uint16_t*>(renewBlock(context.slots, uint32_t{wanted} * 2));
    const OwnedBlock list(allocateZeroed((uint32_t{context.distinct} + 1) * sizeof(ColorEntry)));
    if (boxes == nullptr || slots == nullptr || !list) return false;
    reduceHistogram(context, histogram, {boxes, slots, reinterpret_cast<ColorEntry*>(list.data)},
                    wanted, table);
    return true;
}

uint16_t lowestFreeSlot(const uint16_t* slots, uint32_t start, uint16_t slotCount) {
    for (uint32_t slot = start; slot < slotCount; ++slot) {
        if (slots[slot] == kSlotFree) return static_cast<uint16_t>(slot);
    }
    return static_cast<uint16_t>(slotCount - 1);
}

void printReduction(uint16_t wanted, uint16_t produced, const uint8_t* table) {
    std::fprintf(stderr, "Color Reduction in Process...24bit -> %d colors\n", wanted);
    std::fprintf(stderr, "  -new color table size: %d\n", produced);
    for (int i = 0; i < produced; ++i, table += 3)
        std::fprintf(stderr, "   color %d: [%d, %d, %d]\n", i, table[0], table[1], table[2]);
}

}  // namespace

MemHandle InitColorLib() {
    return allocateZeroed(sizeof(ColorContext));
}

int32_t TermColorLib(MemHandle context) {
    if (context == 0) return 0;
    auto* record = static_cast<ColorContext*>(GlobalLock(context));
    if (record == nullptr) return -1;
    for (const MemHandle block : {record->histogram, record->boxes, record->slots})
        GlobalFree(block);
    GlobalUnlock(context);
    GlobalFree(context);
    return 0;
}

int32_t direct_indexed(const uint8_t* pixels, uint32_t pixelBytes, uint16_t width, uint16_t height,
                       uint16_t* colorCount, uint32_t flags, uint8_t* table, MemHandle context) {
    const Locked<ColorContext> record(context);
    if (!record) return -1;
    if (record->histogram == 0) record->histogram = allocateZeroed(kHistogramCells * 2);
    const Locked<uint16_t> histogram(record->histogram);
    if (!histogram) return -1;
    countBitmap(histogram.data, *record, pixels, pixelBytes, width, height);
    if ((flags & kReduceWantTable) == 0) {
        *colorCount = 0;
        return 0;
    }
    const bool done = reduce(*record, histogram.data, table, colorCount);
    if ((flags & kReduceKeepHistogram) == 0) {
        std::memset(histogram.data, 0, kHistogramCells * 2);
        record->distinct = 0;
    }
    return done ? 0 : -1;
}

uint16_t reduceHistogram(ColorContext& context, const uint16_t* histogram,
                         const ReductionRoom& room, uint16_t wanted, uint8_t* table) {
    if (context.distinct < wanted) return takeAllColors(histogram, table);
    if (wanted == 0) return 0;
    // The zero entry behind the last one is what the sort of the last range takes along.
    listColors(histogram, room.list);
    cutBoxes(context, room.boxes, room.slots, room.list, wanted);
    takeMeans(room.boxes, table, wanted);
    return wanted;
}

void getCRectData(ColorBox* box, const ColorEntry* list, uint16_t first, uint16_t last) {
    uint64_t sums[3] = {};
    box->first = first;
    box->last = last;
    box->total = 0;
    std::fill(box->ranges, box->ranges + 3, ColorRange{255, 0});
    for (uint32_t i = first; i <= last; ++i) {
        box->total += list[i].count;
        for (uint8_t axis = kAxisRed; axis <= kAxisBlue; ++axis) {
            const uint8_t value = component(list[i], axis);
            ColorRange& range = box->ranges[axis];
            range = {std::min(range.min, value), std::max(range.max, value)};
            sums[axis] += uint64_t{list[i].count} * value;
        }
    }
    box->axis = kAxisRed;
    int widest = box->ranges[kAxisRed].max - box->ranges[kAxisRed].min;
    for (uint8_t axis = kAxisGreen; axis <= kAxisBlue; ++axis) {
        const int extent = box->ranges[axis].max - box->ranges[axis].min;
        if (extent <= widest) continue;
        widest = extent;
        box->axis = axis;
    }
    // Only the sort's extra entry can leave a box without pixels.
    for (int axis = 0; axis < 3; ++axis)
        box->means[axis] = static_cast<uint8_t>(box->total == 0 ? 0 : sums[axis] / box->total);
}

uint16_t GetMaxHistSum(const ColorBox* boxes, const uint16_t* slots, uint16_t slotCount) {
    uint32_t best = 0;
    uint16_t bestSlot = 0;
    for (uint16_t slot = 0; slot < slotCount; ++slot) {
        if (static_cast<int16_t>(slots[slot]) < 0 || boxes[slot].total <= best) continue;
        best = boxes[slot].total;
        bestSlot = slot;
    }
    return bestSlot;
}

void HeapSort(ColorEntry* list, uint8_t axis, int32_t count) {
    // Kept: the build goes one entry beyond the range.
    for (int32_t root = (count - 2) / 2; root >= 0; --root) AdjustHeap(list, axis, root, count);
    for (int32_t i = count - 1; i >= 1; --i) {
        clrswap(&list[0], &list[i]);
        AdjustHeap(list, axis, 0, i - 1);
    }
}

// The entry sinks until neither child passes it; those that it passes move up.
void AdjustHeap(ColorEntry* list, uint8_t axis, int32_t root, int32_t lastIndex) {
    const int shift = shiftOf(axis);
    const auto levelOf = [shift](ColorEntry entry) { return entry.cell >> shift & 31; };
    const ColorEntry sinking = list[root];
    int32_t place = root;
    while (2 * place + 1 <= lastIndex) {
        int32_t child = 2 * place + 1;
        if (child + 1 <= lastIndex)
            child += levelOf(list[child]) <= levelOf(list[child + 1]) ? 1 : 0;
        if (levelOf(sinking) >= levelOf(list[child])) break;
        list[place] = list[child];
        place = child;
    }
    list[place] = sinking;
}

void clrswap(ColorEntry* a, ColorEntry* b) {
    std::swap(*a, *b);
}

uint16_t find_median(const ColorEntry* list, const ColorBox* box) {
    const uint16_t first = box->first;
    const uint16_t last = box->last;
    if (last - first <= 1) return first;
    int64_t total = 0;
    for (uint32_t i = first; i <= last; ++i) total += list[i].count;
    const int64_t half = total / 2;
    uint16_t middle = first;
    int64_t sum = list[first].count;
    while (sum < half) sum += list[++middle].count;
    const auto sameAsNext = [&](uint16_t i) {
        return component(list[i], box->axis) == component(list[i + 1], box->axis);
    };
    uint16_t up = middle;
    int64_t sumUp = sum;
    while (up < last && sameAsNext(up)) sumUp += list[++up].count;
    uint16_t down = middle;
    int64_t sumDown = sum;
    // Kept: the count taken off is that of the entry that the walk reaches.
    while (down > first && sameAsNext(down)) sumDown -= list[--down].count;
    return half - sumDown > sumUp - half ? up : down;
}

int32_t split(ColorBox* boxes, uint16_t slot, uint16_t cut, uint16_t* boxCount, uint16_t* slots,
              const ColorEntry* list, uint16_t slotCount) {
    const uint16_t first = boxes[slot].first;
    const uint16_t last = boxes[slot].last;
    const uint16_t lower = lowestFreeSlot(slots, 0, slotCount);
    const bool cutsFirst = cut == first;
    const bool cutsLast = cut == last;
    const int lowerLast = !cutsFirst && cutsLast ? cut - 1 : cut;
    getCRectData(&boxes[lower], list, first, static_cast<uint16_t>(lowerLast));
    slots[lower] = cutsFirst ? kSlotSingle : lower;
    const uint16_t upper = lowestFreeSlot(slots, uint32_t{lower} + 1, slotCount);
    const int upperFirst = cutsLast ? cut : cut + 1;
    getCRectData(&boxes[upper], list, static_cast<uint16_t>(upperFirst), last);
    slots[upper] = cutsLast || last == cut + 1 ? kSlotSingle : upper;
    slots[slot] = kSlotFree;
    ++*boxCount;
    return 1;
}

}  // namespace tivar

using namespace tivar;

MemHandle rlReduceColorTable(MemHandle bits, uint16_t width, uint16_t height,
                             uint16_t* colorCount) {
    const Locked<const uint8_t> pixels(bits);
    if (!pixels || colorCount == nullptr) return 0;
    const uint16_t wanted = *colorCount;
    OwnedBlock table(allocateZeroed(uint32_t{wanted} * 3));
    if (!table) return 0;
    const MemHandle context = InitColorLib();
    direct_indexed(pixels.data, GlobalSize(bits), width, height, colorCount,
                   kReduceWantTable | kReduceKeepHistogram, table.data, context);
    TermColorLib(context);
    if (printsSummaries()) printReduction(wanted, *colorCount, table.data);
    return table.release();
}
