// Cell arrays: rows of pixels from the host, added to an image that a primitive began, or a
// complete picture of their own.
#include <tivar/driver.h>

#include <algorithm>
#include <cstring>

#include "base/memory.h"
#include "base/turn.h"
#include "color/bitmap.h"
#include "color/color_transform.h"
#include "color/depth.h"
#include "driver/cells.h"
#include "driver/device_state.h"
#include "driver/error_stack.h"
#include "driver/operations.h"
#include "driver/param_block.h"
#include "driver/window.h"

namespace tivar {
namespace {

constexpr size_t kFirstY = 24;
constexpr size_t kSecondY = 48;
constexpr size_t kCellsPerRow = 88;
constexpr size_t kRows = 92;
constexpr size_t kPrecision = 96;
constexpr size_t kCellData = 102;

struct CellArray {
    const uint8_t* data;
    uint32_t bits;
    uint32_t width;  // cells taken of each row
    uint32_t rows;
    uint32_t rowBytes;
    size_t sourceStride;
    bool bottomUp;
    int32_t colorDepth;  // of the device, for rev_rgb
};

// Rows run against the window: the array's corners and the window's lie in opposite order.
bool runsBottomUp(const EMData& device, const void* block) {
    const auto first = fieldAt<double>(block, kFirstY);
    const auto second = fieldAt<double>(block, kSecondY);
    const double windowFirst = device.deviceWindow[kWindowY1];
    const double windowSecond = device.deviceWindow[kWindowY2];
    return (second < first && windowSecond > windowFirst) ||
           (second > first && windowSecond < windowFirst);
}

const uint8_t* cellData(const void* block, int32_t precision) {
    // A negative precision: the data lies elsewhere.
    if (precision < 0) return fieldAt<const uint8_t*>(block, kCellData);
    return static_cast<const uint8_t*>(block) + kCellData;
}

CellArray readCellArray(const EMData& device, const void* block) {
    const auto precision = fieldAt<int32_t>(block, kPrecision);
    const auto cells = fieldAt<uint32_t>(block, kCellsPerRow);
    CellArray array = {};
    array.data = cellData(block, precision);
    array.bits = bitsOfPrecision(precision);
    array.rows = fieldAt<uint32_t>(block, kRows);
    array.width = visibleCells(device, cells);
    array.rowBytes = rowBytesOf(array.width, array.bits);
    const bool narrowed = array.bits == kTrueColorBits && array.width < cells;
    array.sourceStride = narrowed ? rowBytesOf(cells, array.bits) : array.rowBytes;
    array.bottomUp = runsBottomUp(device, block);
    array.colorDepth = device.colorDepth;
    return array;
}

// Where rows go: an image and the place of the next row in it.
struct Destination {
    MemHandle image;
    int64_t height;
    int64_t nextRow;
};

// Transforms a row's cells, as far as the image has bytes for them.
void transformRow(const CellArray& array, uint8_t* row, uint32_t bytes) {
    const uint32_t whole = std::min(array.width, bytes / 3);
    rev_rgb(static_cast<int32_t>(whole), row, array.colorDepth);
    const uint32_t rest = bytes - whole * 3;
    if (whole == array.width || rest == 0) return;
    // The image ends inside a cell, whose other channels read as zero.
    uint8_t cut[3] = {};
    std::memcpy(cut, row + size_t{whole} * 3, rest);
    rev_rgb(1, cut, array.colorDepth);
    std::memcpy(row + size_t{whole} * 3, cut, rest);
}

void copyRow(const CellArray& array, const uint8_t* source, uint8_t* image, uint32_t imageBytes,
             int64_t row) {
    const int64_t start = row * array.rowBytes;
    if (row < 0 || start >= imageBytes) return;
    const auto bytes = static_cast<uint32_t>(std::min<int64_t>(array.rowBytes, imageBytes - start));
    std::memcpy(image + start, source, bytes);
    if (array.bits == kTrueColorBits) transformRow(array, image + start, bytes);
}

// False without memory, which is found only once the place of the next row is settled.
bool storeRows(const CellArray& array, Destination& to) {
    if (array.bottomUp && to.nextRow == 0) to.nextRow = to.height - 1;
    const Locked<uint8_t> image(to.image);
    if (!image) {
        push_er(TIVAR_ERR_NO_MEMORY);
        return false;
    }
    const int64_t room = array.bottomUp ? to.nextRow : to.height - to.nextRow;
    const int64_t count = std::max<int64_t>(std::min<int64_t>(array.rows, room), 0);
    const int64_t step = array.bottomUp ? -1 : 1;
    // Kept: from the bottom up, the first row lands one above the last row's place.
    int64_t row = array.bottomUp ? to.nextRow - 1 : to.nextRow;
    to.nextRow += step * count;
    if (array.rowBytes == 0) return true;
    const uint8_t* source = array.data;
    for (int64_t i = 0; i < count; ++i, row += step, source += array.sourceStride)
        copyRow(array, source, image.data, GlobalSize(to.image), row);
    return true;
}

// Rows of an image that a primitive began.
void addToImage(EMData& device, const CellArray& array) {
    Destination to = {device.imageMemory, device.imageHeight, device.nextRow};
    storeRows(array, to);
    device.nextRow = static_cast<int32_t>(to.nextRow);
}

// The array is the picture: its own rows are the image's height. The image stays out of the device:
// call-backs may draw others meanwhile.
void writeAlone(const EMData& device, const CellArray& array) {
    const OwnedBlock image(allocateCells(array.width, array.bits, array.rows));
    Destination to = {image.handle, array.rows, 0};
    if (!storeRows(array, to)) return;
    RasterWriteCellData(
        image.handle, array.width, array.rows, static_cast<uint32_t>(device.viewportResolution),
        static_cast<int16_t>(array.bits), array.bits == kTrueColorBits ? CELLS_RGB : CELLS_INDEXED);
}

}  // namespace

void* d_ca(void* block) {
    const Turn turn;
    EMData* device = lpEMData;
    if (device == nullptr || block == nullptr) return block;
    const CellArray array = readCellArray(*device, block);
    if (array.data == nullptr) return block;
    if (device->imagePending != 0)
        addToImage(*device, array);
    else
        writeAlone(*device, array);
    return block;
}

}  // namespace tivar
