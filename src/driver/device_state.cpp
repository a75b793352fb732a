// Life of the raster driver's device state, from initialisation over open and close to termination.
#include "driver/device_state.h"

#include <tivar/export.h>
#include <tivar/stream.h>

#include <cstring>

#include "base/memory.h"
#include "base/status.h"
#include "base/text.h"
#include "driver/error_stack.h"
#include "driver/operations.h"
#include "export/output_target.h"

MemHandle hEMData = 0;
EMData* lpEMData = nullptr;
MemHandle hSetup = 0;
SetupRecord* lpSetup = nullptr;
MemHandle hCommon = 0;
CommonBlock* lpCommon = nullptr;

namespace tivar {
namespace {

constexpr uint8_t kCapabilityEnd = 60;
constexpr uint8_t kColorDepthCapability = 47;

// What DRV_INIT cannot do without.
bool isComplete(const HostWord* block) {
    return block != nullptr && block[DRIVER_INIT_NAME] != 0 && block[DRIVER_INIT_SETUP] != 0 &&
           block[DRIVER_INIT_CAPABILITIES] != 0;
}

void takeSettings(MemHandle setup) {
    lpSetup = static_cast<SetupRecord*>(GlobalLock(setup));
    lpEMData->hSetup = setup;
    useDeviceSettings();
    const int32_t mode = lpSetup->colorMode;
    if (mode >= COLOR_MODE_AS_GIVEN && mode <= COLOR_MODE_GREY_INVERTED)
        lpEMData->colorDepth = mode - COLOR_MODE_AS_GIVEN;
}

// Tells the host that output starts; both words of the hook must be there for it.
void announceStart(const StatusHookRecord* hook) {
    constexpr int32_t kStart = -2;
    if (hook != nullptr && hook[STATUS_CONTEXT] != 0) askHook(hook, 0, kStart, 100, 0);
}

bool allocateReply(uint32_t size) {
    lpEMData->replySize = size;
    lpEMData->hReply = allocateZeroed(size);
    lpEMData->lpReply = static_cast<uint8_t*>(GlobalLock(lpEMData->hReply));
    return lpEMData->lpReply != nullptr;
}

void takeName(const char* name) {
    constexpr size_t kCapacity = sizeof lpEMData->outputFileName;
    // A cut name would be another file's.
    lpEMData->nameRefused = std::strlen(name) >= kCapacity ? 1 : 0;
    if (lpEMData->nameRefused == 0) copyBounded(lpEMData->outputFileName, kCapacity, name);
}

void reportCapabilities(int32_t* capabilities) {
    for (const DriverCapabilityRow& row : DriverCapabilityTable) {
        if (row.index < kCapabilityEnd) capabilities[row.index] = row.value;
    }
    capabilities[kColorDepthCapability] = lpEMData->colorDepth;
}

void* enterState(void* block, int32_t state) {
    if (lpEMData != nullptr) lpEMData->deviceState = state;
    return block;
}

void openOutput() {
    if (lpEMData->nameRefused != 0) {
        push_er(TIVAR_ERR_STREAM);
        return;
    }
    const StatusHookRecord* hook = lpEMData->statusHook;
    const bool toDocument = lpSetup->documentStream != 0;
    const OutputTarget target = {lpEMData->outputFileName, lpSetup->documentStream,
                                 toDocument && hook != nullptr ? hook[STATUS_DOCUMENT] : 0,
                                 &lpEMData->memoryBlock};
    const TargetResult opened = openOutputTarget(target, &lpEMData->outputStream);
    // Kept: whether the host serves its document is not checked.
    if (toDocument || opened == kTargetOpened) return;
    push_er(opened == kTargetNoMemory ? TIVAR_ERR_NO_MEMORY : TIVAR_ERR_STREAM);
}

}  // namespace

int32_t askHook(const StatusHookRecord* hook, int32_t a2, int32_t a3, int32_t a4, int32_t a5) {
    if (hook == nullptr) return 0;
    return CallGetSet_Status(reinterpret_cast<StatusProc>(hook[STATUS_PROC]),
                             static_cast<intptr_t>(hook[STATUS_CONTEXT]), a2, a3, a4, a5, 0, 0);
}

void useDeviceSettings() {
    hRaster = lpEMData->hSetup;
    lpRaster = lpSetup;
}

int32_t AllocGlobal() {
    if (hCommon != 0) return 0;
    hEMData = allocateZeroed(sizeof(EMData));
    lpEMData = static_cast<EMData*>(GlobalLock(hEMData));
    return 0;
}

int32_t FreeGlobal() {
    if (lpEMData == nullptr) return 0;
    GlobalFree(lpEMData->imageMemory);
    GlobalUnlock(hEMData);
    GlobalFree(hEMData);
    hEMData = 0;
    lpEMData = nullptr;
    return 0;
}

int32_t LockGlobal(MemHandle) {
    return 0;
}

int32_t UnlockGlobal(MemHandle) {
    return 0;
}

int32_t AltFontsAvailable() {
    return 0;
}

int32_t RASTER_initdvr(HostWord* block) {
    if (!isComplete(block)) return TIVAR_ERR_NO_MEMORY;
    if (AllocGlobal() != 0 || lpEMData == nullptr) return TIVAR_ERR_NO_MEMORY;
    takeSettings(block[DRIVER_INIT_SETUP]);
    lpEMData->statusHook = reinterpret_cast<StatusHookRecord*>(block[DRIVER_INIT_HOOK]);
    announceStart(lpEMData->statusHook);
    if (!allocateReply(static_cast<uint32_t>(block[DRIVER_INIT_REPLY_SIZE]))) {
        FreeGlobal();
        return TIVAR_ERR_NO_MEMORY;
    }
    block[DRIVER_INIT_REPLY] = reinterpret_cast<HostWord>(lpEMData->lpReply);
    takeName(reinterpret_cast<const char*>(block[DRIVER_INIT_NAME]));
    lpEMData->deviceState = DEV_CLOSED;
    reportCapabilities(reinterpret_cast<int32_t*>(block[DRIVER_INIT_CAPABILITIES]));
    return TIVAR_OK;
}

int32_t RASTER_termdvr() {
    if (lpEMData == nullptr) return 0;
    if (lpEMData->deviceState != DEV_CLOSED) {
        d_cldv(nullptr);
        // With the device state goes the only way to the block of output to memory.
        GlobalFree(GlobalHandle(lpEMData->memoryBlock));
    }
    GlobalUnlock(lpEMData->hReply);
    GlobalFree(lpEMData->hReply);
    return FreeGlobal();
}

int32_t RASTER_escape() {
    if (lpEMData == nullptr || askHook(lpEMData->statusHook, 0, 0, 0, 0) == 0) return 0;
    push_er(TIVAR_ERR_CANCELLED);
    return TIVAR_ERR_CANCELLED;
}

void* d_opdv(void* block) {
    if (lpEMData == nullptr) return block;
    d_empes(block);
    lpEMData->deviceState = DEV_OPEN;
    openOutput();
    return block;
}

void* d_cldv(void* block) {
    if (lpEMData == nullptr) return block;
    lpEMData->deviceState = DEV_CLOSED;
    const OxlStream stream = lpEMData->outputStream;
    lpEMData->outputStream = 0;
    if (RASTER_escape() != 0)
        oxlCloseandDelete(stream, lpEMData->outputFileName);
    else if (oxlClose(stream) != 0)
        push_er(TIVAR_ERR_STREAM);
    return block;
}

void* d_begp(void* block) {
    return d_reset(enterState(block, DEV_PICTURE), 0);
}

void* d_begpb(void* block) {
    return enterState(block, DEV_BODY);
}

void* d_endp(void* block) {
    return enterState(block, DEV_ENDED);
}

void* d_reset(void* block, int32_t) {
    return block;
}

}  // namespace tivar
