// Writing a stand-alone cell array: negotiated, scaled, converted and handed to the BMP writer.
#include <tivar/color.h>
#include <tivar/driver.h>
#include <tivar/export.h>

#include <cstring>

#include "base/memory.h"
#include "base/numbers.h"
#include "base/turn.h"
#include "color/depth.h"
#include "color/working_image.h"
#include "driver/device_state.h"
#include "driver/device_use.h"
#include "driver/error_stack.h"
#include "driver/window.h"
#include "export/bmp_writer.h"
#include "export/status_hook.h"

namespace tivar {
namespace {

constexpr int32_t kStepProgress = 20;
constexpr int32_t kReadyProgress = 50;

// The picture on its way to the file. Call-backs of the host may end the device, its settings or
// the caller's image.
struct Work {
    const DeviceUse& device;
    const SettingsUse& settings;
    const Pinned<uint8_t>& given;  // the caller's image
    WorkingImage image;
    MemHandle palette;
    double exactHeight;  // of the target
    uint32_t width;      // of the target, truncated
    uint32_t height;
    int16_t bits;
    int16_t outputBits;
    int16_t model;
    int16_t outputModel;
    int32_t progress;
};

bool ended(const Work& work) {
    return !work.device.current() || work.device.stream.gone() || work.settings.gone();
}

// False when the host cancels, or ends what is being written.
bool report(const Work& work) {
    const int32_t answer = askHook(work.device->statusHook, 0, 0, 0, work.progress);
    return answer == 0 && !ended(work) && !work.given.gone();
}

bool reportStep(Work& work) {
    work.progress += kStepProgress;
    return report(work);
}

void negotiate(Work& work, uint32_t resolution) {
    CellFormat format = {static_cast<double>(work.width), static_cast<double>(work.height),
                         resolution, 0, 0};
    if (resolution != 0) {
        format.width =
            static_cast<double>(windowExtent(*work.device, kWindowX1, kWindowX2)) / resolution;
        format.height =
            static_cast<double>(windowExtent(*work.device, kWindowY1, kWindowY2)) / resolution;
    }
    auto bitCount = static_cast<uint16_t>(work.bits);
    uint16_t planes = 0;
    QueryCellFormat(&format.width, &format.height, &bitCount, &format.resolution, &planes, 0);
    work.outputBits = static_cast<int16_t>(bitCount);
    work.outputModel = format.swapRedBlue;
    // Without a resolution the array keeps its own size, whatever page the settings hold.
    if (resolution == 0) return;
    work.exactHeight = format.height;
    work.width = saturate<uint32_t>(format.width);
    work.height = saturate<uint32_t>(format.height);
}

MemHandle copyDeviceColors(const EMData& device) {
    OwnedBlock palette(allocateZeroed(sizeof device.colorTable));
    if (palette) std::memcpy(palette.data, device.colorTable, sizeof device.colorTable);
    return palette.release();
}

void convertModel(Work& work) {
    if (work.model != CELLS_CMYK && work.model != CELLS_RGB_ALPHA) return;
    if (work.outputBits >= work.bits) return;
    const auto convert = work.model == CELLS_CMYK ? rlCMYKtoRGB : rlALPHAtoRGB;
    convert(work.image.current(), work.width, work.height);
    work.bits = kTrueColorBits;
    work.model = CELLS_RGB;
}

void convertDepth(Work& work) {
    const MemHandle oldPalette = work.palette;
    work.image.replace(rlChangeColorResolution(work.image.current(), work.width, work.height,
                                               work.bits, work.outputBits, &work.palette));
    if (work.palette != oldPalette) GlobalFree(oldPalette);
    work.model = work.outputBits >= kTrueColorBits ? CELLS_RGB : CELLS_INDEXED;
}

// Brings the picture to its output form; false when the host cancels. Heights alone decide about
// scaling, and the width follows. Kept: they decide before they are truncated, so that 28 rows at
// 100 an inch, 28.000000000000004, are stretched to 28.
bool prepare(Work& work, uint32_t width, uint32_t height) {
    if (work.exactHeight < height) {
        work.image.replace(
            rlShrinkBitmap(work.image.given, work.bits, width, height, work.width, work.height));
        if (!reportStep(work)) return false;
    }
    if (work.bits < kTrueColorBits) work.palette = copyDeviceColors(*work.device);
    convertModel(work);
    if (work.outputBits != work.bits) {
        convertDepth(work);
        if (!reportStep(work)) return false;
    }
    if (work.outputModel == CELLS_CMYK && work.outputBits == kFourByteBits) {
        rlRGB4toCMYK(work.image.current(), work.width, work.height);
        work.model = CELLS_CMYK;
    }
    if (work.exactHeight > height) {
        work.image.replace(rlStretchBitmap(work.image.current(), work.outputBits, width, height,
                                           work.width, work.height));
        if (!reportStep(work)) return false;
    }
    if (work.progress >= kReadyProgress) return true;
    work.progress = kReadyProgress;
    return report(work);
}

void writeFile(const Work& work) {
    const OxlStream stream = work.device.stream.handle;
    const Locked<const uint8_t> ownPalette(work.palette);
    // A table shorter than the depth wants is black from its end on.
    const EMData& device = *work.device;
    uint8_t palette[sizeof device.colorTable] = {};
    const size_t present = ownPalette ? GlobalSize(work.palette) : sizeof palette;
    std::memcpy(palette, ownPalette ? ownPalette.data : &device.colorTable[0][0],
                present < sizeof palette ? present : sizeof palette);
    const auto bits = static_cast<uint32_t>(int32_t{work.outputBits});
    MemHandle state = 0;
    beginCellBitmap(work.settings, stream, {work.width, work.height, bits}, palette, &state);
    writeCellBits(work.settings, stream,
                  {work.image.current(), work.width, work.height, bits, work.model}, state);
    endCellBitmap(work.settings, stream, state);
}

}  // namespace
}  // namespace tivar

using namespace tivar;

void RasterWriteCellData(MemHandle image, uint32_t width, uint32_t height, uint32_t resolution,
                         int16_t bits, int16_t model) {
    const Turn turn;
    const DeviceUse device;
    if (!device || lpSetup == nullptr || image == 0) return;
    useDeviceSettings(*device);
    const SettingsUse settings(device->hSetup, lpSetup);
    const Pinned<uint8_t> given(image);
    Work work = {device, settings, given, {image, 0}, 0, double(height), width, height,
                 bits,   0,        model, 0,          0};
    negotiate(work, resolution);
    if (prepare(work, width, height)) {
        settings.makeCurrent();
        writeFile(work);
    }
    GlobalFree(work.palette);
    GlobalFree(work.image.made);
    // Nothing else tells the host that its settings or output went away under the array.
    if (device.current() && ended(work)) push_er(TIVAR_ERR_STREAM);
}
