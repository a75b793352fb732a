// Median-cut colour reduction (P. Heckbert, "Color Image Quantization for Frame Buffer Display",
// 1982) over a histogram of 5 bits a channel: the distinct colours form one box, and the box with
// the most pixels is cut at its median, along its longest axis, until there are enough boxes. Each
// box gives one colour, its mean.
#pragma once

#include <tivar/types.h>

#include <cstdint>

namespace tivar {

constexpr uint32_t kHistogramCells = 32768;

// One non-empty cell of the histogram: red << 10 | green << 5 | blue, and its count of pixels.
struct ColorEntry {
    uint16_t cell;
    uint16_t count;
};

enum ColorAxis : uint8_t { kAxisRed = 0, kAxisGreen = 1, kAxisBlue = 2 };

struct ColorRange {
    uint8_t min;
    uint8_t max;
};

// A range of the colour list.
struct ColorBox {
    uint16_t first;
    uint16_t last;  // inclusive
    uint32_t total;
    ColorRange ranges[3];  // red, green, blue
    uint8_t axis;
    uint8_t means[3];
    uint8_t padding[2];
};
static_assert(sizeof(ColorBox) == 20);

// Marks of the box slots; any other mark is a box that may be split.
constexpr uint16_t kSlotFree = 65535;
constexpr uint16_t kSlotSingle = 65534;

struct ColorContext {
    MemHandle histogram;
    MemHandle boxes;
    MemHandle slots;
    uint16_t distinct;  // non-empty cells
    uint16_t boxCount;
    uint16_t slot;  // the box being split, its range and its cut
    uint16_t first;
    uint16_t last;
    uint16_t cut;
};

enum ReduceFlags { kReduceWantTable = 1, kReduceKeepHistogram = 2 };

MemHandle InitColorLib();

// 0; -1 when the context cannot be locked.
int32_t TermColorLib(MemHandle context);

// Adds the pixels, pixelBytes bytes of 24-bit rows (missing ones count as black), to the context's
// histogram and, when asked, reduces it to *colorCount entries of table. 0, or -1 without memory.
int32_t direct_indexed(const uint8_t* pixels, uint32_t pixelBytes, uint16_t width, uint16_t height,
                       uint16_t* colorCount, uint32_t flags, uint8_t* table, MemHandle context);

// Adds pixels to a cell of a histogram; context has the count of its cells. What is more than 65535
// stays 65535.
inline void countPixels(uint16_t* histogram, ColorContext& context, uint32_t cell,
                        uint64_t pixels) {
    uint16_t& counter = histogram[cell];
    if (counter == 0 && pixels > 0) ++context.distinct;
    const uint64_t sum = counter + pixels;
    counter = static_cast<uint16_t>(sum < UINT16_MAX ? sum : UINT16_MAX);
}

// Room for a reduction to some number of colours, all zeros: as many boxes and slots, and a list of
// the distinct colours and one more.
struct ReductionRoom {
    ColorBox* boxes;
    uint16_t* slots;
    ColorEntry* list;
};

// Reduces the histogram to the wanted number of colours, of which there are fewer when it has fewer
// cells; the number of table's entries. The room is needed only when context has as many cells.
uint16_t reduceHistogram(ColorContext& context, const uint16_t* histogram,
                         const ReductionRoom& room, uint16_t wanted, uint8_t* table);

// Describes the box of list positions first to last.
void getCRectData(ColorBox* box, const ColorEntry* list, uint16_t first, uint16_t last);

// The slot of the box to split: the greatest total, the lowest slot among equals, 0 when none may
// be.
uint16_t GetMaxHistSum(const ColorBox* boxes, const uint16_t* slots, uint16_t slotCount);

// Sorts count entries by one component. Kept: the entry behind the range takes part while the heap
// is built and can trade places with one of the range.
void HeapSort(ColorEntry* list, uint8_t axis, int32_t count);
void AdjustHeap(ColorEntry* list, uint8_t axis, int32_t root, int32_t lastIndex);
void clrswap(ColorEntry* a, ColorEntry* b);

// The list position after which the box is cut.
uint16_t find_median(const ColorEntry* list, const ColorBox* box);

// Replaces the box in slot by its two parts; 1.
int32_t split(ColorBox* boxes, uint16_t slot, uint16_t cut, uint16_t* boxCount, uint16_t* slots,
              const ColorEntry* list, uint16_t slotCount);

}  // namespace tivar
