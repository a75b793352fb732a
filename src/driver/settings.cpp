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

constexpr size_t kData = 16;

bool isReady(const void* block) {
    return lpEMData != nullptr && block != nullptr;
}

}  // namespace

void* ds_dvwn(void* block) {
    const Turn turn;
    if (isReady(block))
        std::memcpy(lpEMData->deviceWindow, static_cast<uint8_t*>(block) + kData,
                    sizeof lpEMData->deviceWindow);
    return block;
}

void* dq_dvwn(void* block) {
    const Turn turn;
    if (lpEMData != nullptr) mov2buf(lpEMData->deviceWindow, sizeof lpEMData->deviceWindow);
    return block;
}

void* ds_dvvp(void* block) {
    const Turn turn;
    if (!isReady(block)) return block;
    double* viewport = lpEMData->deviceViewport;
    viewport[0] = fieldAt<double>(block, kData);
    viewport[1] = fieldAt<double>(block, 24);
    viewport[3] = fieldAt<double>(block, 40);
    viewport[4] = fieldAt<double>(block, 48);
    return block;
}

void* dq_dvvp(void* block) {
    const Turn turn;
    if (lpEMData == nullptr) return block;
    // Kept: the reply pairs the values otherwise than they came.
    const double* viewport = lpEMData->deviceViewport;
    const double reply[6] = {viewport[0], viewport[4], 0, viewport[1], viewport[3], 0};
    mov2buf(reply, sizeof reply);
    return block;
}

void* ds_vpsm(void* block) {
    const Turn turn;
    constexpr int32_t kScalingDone = 128;
    constexpr double kMillimetresPerInch = 25.4;
    if (!isReady(block)) return block;
    const auto mode = fieldAt<int16_t>(block, kData);
    if (mode < 0 || mode > 2 || (lpEMData->deviceState & kScalingDone) != 0) return block;
    const auto scale = fieldAt<double>(block, 24);
    const bool metric = mode == 1 && scale != 0.0;
    lpEMData->viewportResolution =
        metric ? saturate<int32_t>(kMillimetresPerInch / scale + 0.5) : 0;
    return block;
}

void* ds_bgc(void* block) {
    const Turn turn;
    if (isReady(block))
        std::memcpy(lpEMData->background, static_cast<uint8_t*>(block) + kData,
                    sizeof lpEMData->background);
    return block;
}

void* ds_ct(void* block) {
    const Turn turn;
    constexpr uint32_t kTableEntries = 256;
    if (!isReady(block)) return block;
    const auto countWord = fieldAt<uint32_t>(block, 4);
    const auto first = fieldAt<uint32_t>(block, kData);
    if (countWord < 2 || first > kTableEntries) return block;
    const uint32_t count = (countWord - 2) / 3;
    uint8_t* colors = static_cast<uint8_t*>(block) + 20;
    // Kept: the host's block is changed, too.
    rev_rgb(static_cast<int32_t>(count), colors, lpEMData->colorDepth);
    const uint32_t copied = std::min(count, kTableEntries - first);
    std::memcpy(&lpEMData->colorTable[0][0] + size_t{first} * 3, colors, size_t{copied} * 3);
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
