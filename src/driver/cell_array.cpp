// Cell arrays: rows of pixels from the host, added to an image that a primitive began, or a
// complete picture of their own.
#include <tivar/driver.h>

#include <algorithm>
#include <cstring>

#include "driver/cells.h"
#include "driver/color_transform.h"
#include "driver/device_state.h"
#include "driver/error_stack.h"
#include "driver/operations.h"
#include "driver/param_block.h"
#include "driver/window.h"
#include "host/memory.h"

namespace tivar {
namespace {

constexpr size_t kFirstY = 24;
constexpr size_t kSecondY = 48;
constexpr size_t kCellsPerRow = 88;
constexpr size_t kRows = 92;
constexpr size_t kPrecision = 96;
constexpr size_t kCellData = 102;
constexpr uint32_t kTrueColorBits = 24;

struct CellArray {
    const uint8_t* data;
    uint32_t bits;
    uint32_t width;  // cells taken of each row
    uint32_t rows;
    uint32_t rowBytes;
    size_t sourceStride;
    bool bottomUp;
};

// Rows run against the window: the array's corners and the window's lie in opposite order.
bool runsBottomUp(const void* block) {
    const auto first = fieldAt<double>(block, kFirstY);
    const auto second = fieldAt<double>(block, kSecondY);
    const double windowFirst = lpEMData->deviceWindow[kWindowY1];
    const double windowSecond = lpEMData->deviceWindow[kWindowY2];
    return (second < first && windowSecond > windowFirst) ||
           (second > first && windowSecond < windowFirst);
}

const uint8_t* cellData(const void* block, int32_t precision) {
    // A negative precision: the data lies elsewhere.
    if (precision < 0) return fieldAt<const uint8_t*>(block, kCellData);
    return static_cast<const uint8_t*>(block) + kCellData;
}

CellArray readCellArray(const void* block) {
    const auto precision = fieldAt<int32_t>(block, kPrecision);
    const auto cells = fieldAt<uint32_t>(block, kCellsPerRow);
    CellArray array = {};
    array.data = cellData(block, precision);
    array.bits = bitsOfPrecision(precision);
    array.rows = fieldAt<uint32_t>(block, kRows);
    array.width = visibleCells(cells);
    array.rowBytes = bytesOfCells(array.width, array.bits);
    const bool narrowed = array.bits == kTrueColorBits && array.width < cells;
    array.sourceStride = narrowed ? bytesOfCells(cells, array.bits) : array.rowBytes;
    array.bottomUp = runsBottomUp(block);
    return array;
}

// Where rows go: an image and the place of the next row in it.
struct Destination {
    MemHandle image;
    int32_t height;
    int32_t nextRow;
};

void copyRow(const CellArray& array, const uint8_t* source, uint8_t* image, size_t imageBytes,
             size_t row) {
    const size_t start = row * array.rowBytes;
    if (row > imageBytes || start >= imageBytes) return;
    const size_t bytes = std::min<size_t>(array.rowBytes, imageBytes - start);
    std::memcpy(image + start, source, bytes);
    if (array.bits == kTrueColorBits && bytes == array.rowBytes)
        rev_rgb(static_cast<int32_t>(array.width), image + start, lpEMData->colorDepth);
}

void storeRows(const CellArray& array, Destination& to) {
    const Locked<uint8_t> image(to.image);
    const auto offered = static_cast<int32_t>(std::min<uint32_t>(array.rows, INT32_MAX));
    if (array.bottomUp && to.nextRow == 0) to.nextRow = to.height - 1;
    const int32_t room = array.bottomUp ? to.nextRow : to.height - to.nextRow;
    const size_t imageBytes = GlobalSize(to.image);
    const uint8_t* source = array.data;
    for (int32_t i = 0; i < std::min(offered, room); ++i, source += array.sourceStride) {
        // Kept: from the bottom up, the first row lands one above the last row's place.
        if (array.bottomUp) --to.nextRow;
        copyRow(array, source, image.data, imageBytes, static_cast<size_t>(to.nextRow));
        if (!array.bottomUp) ++to.nextRow;
    }
}

// Rows of an image that a primitive began.
void addToImage(const CellArray& array) {
    Destination to = {lpEMData->imageMemory, lpEMData->imageHeight, lpEMData->nextRow};
    storeRows(array, to);
    lpEMData->nextRow = to.nextRow;
}

// The array is the picture: its own rows are the image's height.
void writeAlone(const CellArray& array) {
    const auto height = static_cast<int32_t>(std::min<uint32_t>(array.rows, INT32_MAX));
    Destination to = {lpEMData->imageMemory, height, 0};
    storeRows(array, to);
    RasterWriteCellData(lpEMData->imageMemory, array.width, array.rows,
                        static_cast<uint32_t>(lpEMData->viewportResolution),
                        static_cast<int16_t>(array.bits),
                        array.bits == kTrueColorBits ? kModelRgb : kModelIndexed);
    GlobalFree(lpEMData->imageMemory);
    lpEMData->imageMemory = 0;
}

}  // namespace

void* d_ca(void* block) {
    if (lpEMData == nullptr || block == nullptr) return block;
    const CellArray array = readCellArray(block);
    const bool pending = lpEMData->imagePending != 0;
    if (!pending) lpEMData->imageMemory = allocateCells(array.width, array.bits, array.rows);
    if (lpEMData->imageMemory == 0) {
        push_er(TIVAR_ERR_NO_MEMORY);
        return block;
    }
    if (array.data == nullptr) return block;
    if (pending)
        addToImage(array);
    else
        writeAlone(array);
    return block;
}

}  // namespace tivar
