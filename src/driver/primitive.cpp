// The generalized drawing primitive: -5 begins an image that cell arrays fill, -6 writes it.
#include <tivar/driver.h>
#include <tivar/export.h>

#include <algorithm>
#include <cstring>

#include "base/memory.h"
#include "base/turn.h"
#include "color/depth.h"
#include "driver/cells.h"
#include "driver/device_state.h"
#include "driver/device_use.h"
#include "driver/error_stack.h"
#include "driver/operations.h"
#include "driver/param_block.h"
#include "export/picture_output.h"

namespace tivar {
namespace {

enum Primitive : int32_t { kBeginImage = -5, kEndImage = -6 };

constexpr size_t kIdentifier = 16;
constexpr size_t kPointCount = 20;
constexpr size_t kDataWithoutPoints = 28;
constexpr size_t kPointBytes = 24;

// The data record of kBeginImage, of which 28 bytes are read.
struct ImageHeader {
    int32_t cellsPerRow;
    uint32_t rows;
    int32_t precision;
    int16_t flag;
    int16_t padding;
    uint8_t rest[12];
};
static_assert(sizeof(ImageHeader) == 28);

void beginImage(EMData& device, const void* block) {
    const size_t points = fieldAt<uint32_t>(block, kPointCount);
    if (points > (PTRDIFF_MAX - sizeof(ImageHeader)) / kPointBytes - kDataWithoutPoints) return;
    const auto header = fieldAt<ImageHeader>(block, kDataWithoutPoints + points * kPointBytes);
    const uint32_t bits = bitsOfPrecision(header.precision);
    const int32_t cells = header.cellsPerRow;
    // The number is signed: below 0 it is less than any window shows.
    const uint32_t width = cells < 0 ? static_cast<uint32_t>(cells)
                                     : visibleCells(device, static_cast<uint32_t>(cells));
    GlobalFree(device.imageMemory);
    device.imageFlag = header.flag;
    device.imagePending = 1;
    device.imageWidth = static_cast<int32_t>(width);
    device.imageHeight = static_cast<int32_t>(header.rows);
    device.bitsPerCell = static_cast<int32_t>(bits);
    device.nextRow = 0;
    // The cell arrays find out when there is no memory.
    device.imageMemory = cells < 0 ? 0 : allocateCells(width, bits, header.rows);
}

// The image's palette from the device's colours; false when it cannot be had.
bool makePalette(const EMData& device, CellPicture& picture) {
    const auto bits = static_cast<uint32_t>(device.bitsPerCell);
    if (bits >= kTrueColorBits) return true;
    const uint32_t bytes = 3u << bits;
    picture.colorTable = allocateZeroed(bytes);
    const Locked<uint8_t> palette(picture.colorTable);
    if (!palette) return false;
    std::memcpy(palette.data, device.colorTable, std::min<size_t>(bytes, sizeof device.colorTable));
    return true;
}

// The image leaves the device with this: call-backs may begin another meanwhile.
void endImage() {
    const DeviceUse device;
    device->imagePending = 0;
    CellPicture picture = {};
    picture.bits = static_cast<uint16_t>(device->bitsPerCell);
    picture.width = static_cast<uint16_t>(device->imageWidth);
    picture.height = static_cast<uint16_t>(device->imageHeight);
    picture.resolution = static_cast<int16_t>(device->viewportResolution);
    picture.targetWidth = static_cast<uint32_t>(device->imageWidth);
    picture.targetHeight = static_cast<uint32_t>(device->imageHeight);
    const OwnedBlock image(device->imageMemory);
    device->imageMemory = 0;
    picture.pixels = image.handle;
    useDeviceSettings(*device);
    const SettingsUse settings(device->hSetup, lpSetup);
    const HostWord* status = settings ? settings->exportParams : nullptr;
    if (makePalette(*device, picture))
        outputPicture(settings, status, device->outputStream, &picture, DrawExportCellData);
    else
        push_er(TIVAR_ERR_NO_MEMORY);
    GlobalFree(picture.colorTable);
    const bool ended = settings.gone() || device.stream.gone();
    if (ended && device.current()) push_er(TIVAR_ERR_STREAM);
}

}  // namespace

void* d_gdp(void* block) {
    const Turn turn;
    EMData* device = lpEMData;
    if (device == nullptr || block == nullptr) return block;
    const auto primitive = fieldAt<int32_t>(block, kIdentifier);
    if (primitive == kBeginImage) beginImage(*device, block);
    if (primitive == kEndImage) endImage();
    return block;
}

}  // namespace tivar
