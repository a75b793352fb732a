// Settings that the host sends into the device state, and queries that reply with them.
#include <tivar/driver.h>

#include <algorithm>
#include <cstring>

#include "base/numbers.h"
#include "base/turn.h"
#include "color/color_transform.h"
#include "driver/error_stack.h"
#include "driver/operations.h"
#include "driver/param_block.h"

namespace tivar {
namespace {

// Where the blocks hold their numbers.
constexpr size_t kWordCount = 4;
constexpr size_t kData = 16;
constexpr size_t kColors = 20;
constexpr size_t kScale = 24;
constexpr size_t kViewportY1 = 24;
constexpr size_t kViewportX2 = 40;
constexpr size_t kViewportY2 = 48;

// The device that a block of the host sets up; null without either.
EMData* deviceFor(const void* block) {
    return block == nullptr ? nullptr : lpEMData;
}

template <class T>
void copyData(T& to, const void* block) {
    std::memcpy(&to, static_cast<const uint8_t*>(block) + kData, sizeof to);
}

}  // namespace

void* ds_dvwn(void* block) {
    const Turn turn;
    if (EMData* device = deviceFor(block)) copyData(device->deviceWindow, block);
    return block;
}

void* dq_dvwn(void* block) {
    const Turn turn;
    if (EMData* device = lpEMData) reply(*device, device->deviceWindow);
    return block;
}

void* ds_dvvp(void* block) {
    const Turn turn;
    EMData* device = deviceFor(block);
    if (device == nullptr) return block;
    double* viewport = device->deviceViewport;
    viewport[0] = fieldAt<double>(block, kData);
    viewport[1] = fieldAt<double>(block, kViewportY1);
    viewport[3] = fieldAt<double>(block, kViewportX2);
    viewport[4] = fieldAt<double>(block, kViewportY2);
    return block;
}

void* dq_dvvp(void* block) {
    const Turn turn;
    EMData* device = lpEMData;
    if (device == nullptr) return block;
    // Kept: the reply pairs the values otherwise than they came.
    const double* viewport = device->deviceViewport;
    const double values[6] = {viewport[0], viewport[4], 0, viewport[1], viewport[3], 0};
    reply(*device, values);
    return block;
}

void* ds_vpsm(void* block) {
    const Turn turn;
    constexpr int32_t kScalingDone = 128;
    constexpr double kMillimetresPerInch = 25.4;
    EMData* device = deviceFor(block);
    if (device == nullptr) return block;
    const auto mode = fieldAt<int16_t>(block, kData);
    if (mode < 0 || mode > 2 || (device->deviceState & kScalingDone) != 0) return block;
    const auto scale = fieldAt<double>(block, kScale);
    const bool metric = mode == 1 && scale != 0.0;
    device->viewportResolution = metric ? saturate<int32_t>(kMillimetresPerInch / scale + 0.5) : 0;
    return block;
}

void* ds_bgc(void* block) {
    const Turn turn;
    if (EMData* device = deviceFor(block)) copyData(device->background, block);
    return block;
}

void* ds_ct(void* block) {
    const Turn turn;
    constexpr uint32_t kTableEntries = 256;
    EMData* device = deviceFor(block);
    if (device == nullptr) return block;
    const auto countWord = fieldAt<uint32_t>(block, kWordCount);
    const auto first = fieldAt<uint32_t>(block, kData);
    if (countWord < 2 || first > kTableEntries) return block;
    const uint32_t count = (countWord - 2) / 3;
    uint8_t* colors = static_cast<uint8_t*>(block) + kColors;
    // Kept: the host's block is changed, too.
    rev_rgb(static_cast<int32_t>(count), colors, device->colorDepth);
    const uint32_t copied = std::min(count, kTableEntries - first);
    std::memcpy(&device->colorTable[0][0] + size_t{first} * 3, colors, size_t{copied} * 3);
    return block;
}

// Accepted and ignored.
void* ds_axc(void* block) {
    return block;
}
void* ds_tran(void* block) {
    return block;
}
void* ds_clpr(void* block) {
    return block;
}
void* ds_clip(void* block) {
    return block;
}
void* ds_dm(void* block) {
    return block;
}
void* ds_fl(void* block) {
    return block;
}

}  // namespace tivar
