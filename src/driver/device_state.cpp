// Life of the raster driver's device state, from initialisation over open and close to termination.
#include "driver/device_state.h"

#include <tivar/export.h>
#include <tivar/stream.h>

#include <cstring>

#include "base/memory.h"
#include "base/text.h"
#include "base/turn.h"
#include "driver/device_use.h"
#include "driver/error_stack.h"
#include "driver/operations.h"
#include "export/output_target.h"
#include "export/status_hook.h"

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

// What DRV_INIT is given, read before the host is called back. None of the addresses may be null.
struct InitBlock {
    explicit InitBlock(const HostWord* block)
        : name(reinterpret_cast<const char*>(block[DRIVER_INIT_NAME])),
          replySize(static_cast<uint32_t>(block[DRIVER_INIT_REPLY_SIZE])),
          setup(block[DRIVER_INIT_SETUP]),
          hook(reinterpret_cast<StatusHookRecord*>(block[DRIVER_INIT_HOOK])),
          capabilities(reinterpret_cast<int32_t*>(block[DRIVER_INIT_CAPABILITIES])) {}

    bool complete() const { return name != nullptr && setup != 0 && capabilities != nullptr; }

    const char* name;
    uint32_t replySize;
    MemHandle setup;
    StatusHookRecord* hook;
    int32_t* capabilities;
};

void takeSettings(EMData& device, MemHandle setup) {
    lpSetup = static_cast<SetupRecord*>(GlobalLock(setup));
    device.hSetup = setup;
    useDeviceSettings(device);
    const int32_t mode = lpSetup->colorMode;
    if (mode >= COLOR_MODE_AS_GIVEN && mode <= COLOR_MODE_GREY_INVERTED)
        device.colorDepth = mode - COLOR_MODE_AS_GIVEN;
}

// Tells the host that output starts; both words of the hook must be there for it.
void announceStart(const StatusHookRecord* hook) {
    constexpr int32_t kStart = -2;
    if (hook != nullptr && hook[STATUS_CONTEXT] != 0) askHook(hook, 0, kStart, 100, 0);
}

bool allocateReply(EMData& device, uint32_t size) {
    device.replySize = size;
    device.hReply = allocateZeroed(size);
    device.lpReply = static_cast<uint8_t*>(GlobalLock(device.hReply));
    return device.lpReply != nullptr;
}

void takeName(EMData& device, const char* name) {
    constexpr size_t kCapacity = sizeof device.outputFileName;
    // A cut name would be another file's.
    device.nameRefused = std::strlen(name) >= kCapacity ? 1 : 0;
    if (device.nameRefused == 0) copyBounded(device.outputFileName, kCapacity, name);
}

void reportCapabilities(const EMData& device, int32_t* capabilities) {
    for (const DriverCapabilityRow& row : DriverCapabilityTable) {
        if (row.index < kCapabilityEnd) capabilities[row.index] = row.value;
    }
    capabilities[kColorDepthCapability] = device.colorDepth;
}

void* enterState(void* block, int32_t state) {
    const Turn turn;
    if (EMData* device = lpEMData) device->deviceState = state;
    return block;
}

// The output's name as it is before the host is called back.
struct OutputName {
    explicit OutputName(const EMData& device) {
        std::memcpy(text, device.outputFileName, sizeof text);
        text[sizeof text - 1] = '\0';
    }
    char text[sizeof EMData::outputFileName];
};

// What opening pushes, 0 for nothing.
int16_t openOutput(const DeviceUse& device) {
    if (device->nameRefused != 0 || device->closing != 0 || lpSetup == nullptr)
        return TIVAR_ERR_STREAM;
    const SettingsUse settings(device->hSetup, lpSetup);
    const OutputName name(*device);
    const StatusHookRecord* hook = device->statusHook;
    const HostWord document = settings->documentStream;
    const OutputTarget target = {name.text, document,
                                 document != 0 && hook != nullptr ? hook[STATUS_DOCUMENT] : 0,
                                 &device->memoryBlock};
    OxlStream stream = 0;
    const TargetResult opened = openOutputTarget(target, &stream);
    // Serving the document, the host may have ended the device or its settings, or closed it.
    const bool wanted = device.current() && !settings.gone() && device->outputStream == 0 &&
                        device->deviceState != DEV_CLOSED;
    if (!wanted) {
        oxlClose(stream);
        return TIVAR_ERR_STREAM;
    }
    device->outputStream = stream;
    // Kept: whether the host serves its document is not checked.
    if (document != 0 || opened == kTargetOpened) return TIVAR_OK;
    return opened == kTargetNoMemory ? TIVAR_ERR_NO_MEMORY : TIVAR_ERR_STREAM;
}

// Closes the output, or deletes it when the host cancels. The device counts as closed from the
// start, so that a call-back does not close it again.
void closeOutput(const DeviceUse& device) {
    const OutputName name(*device);
    device->deviceState = DEV_CLOSED;
    const OxlStream stream = device->outputStream;
    device->outputStream = 0;
    device->closing = 1;
    int32_t result = TIVAR_OK;
    if (RASTER_escape() != 0)
        oxlCloseandDelete(stream, name.text);
    else
        result = oxlClose(stream);
    device->closing = 0;
    if (result != 0 && device.current()) push_er(TIVAR_ERR_STREAM);
}

// The block of output to memory, to which nothing leads once the device state is gone.
void freeOutputMemory(EMData& device) {
    GlobalFree(GlobalHandle(device.memoryBlock));
    device.memoryBlock = nullptr;
}

}  // namespace

void useDeviceSettings(const EMData& device) {
    hRaster = lpSetup == nullptr ? 0 : device.hSetup;
    lpRaster = lpSetup;
}

void endDevice(EMData& device, MemHandle handle) {
    const OxlStream stream = device.outputStream;
    const bool open = device.deviceState != DEV_CLOSED;
    device.deviceState = DEV_CLOSED;
    device.outputStream = 0;
    if (stream != 0) oxlClose(stream);
    if (open) freeOutputMemory(device);
    GlobalFree(device.hReply);
    GlobalFree(device.imageMemory);
    GlobalFree(handle);
}

DeviceUse::~DeviceUse() {
    if (pin.gone()) {
        if (lpEMData != device) return;
        hEMData = 0;
        lpEMData = nullptr;
        return;
    }
    if (stream.gone() && device->outputStream == stream.handle) device->outputStream = 0;
    if (pin && lpEMData != device) endDevice(*device, pin.handle);
}

int32_t AllocGlobal() {
    if (hCommon != 0) return 0;
    hEMData = allocateZeroed(sizeof(EMData));
    lpEMData = static_cast<EMData*>(GlobalLock(hEMData));
    return 0;
}

int32_t FreeGlobal() {
    EMData* device = lpEMData;
    if (device == nullptr) return 0;
    // A state whose handle the host took away stays behind: nothing of it is freed twice.
    GlobalFree(device->imageMemory);
    device->imageMemory = 0;
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
    if (block == nullptr) return TIVAR_ERR_NO_MEMORY;
    const InitBlock given(block);
    if (!given.complete() || AllocGlobal() != 0) return TIVAR_ERR_NO_MEMORY;
    const DeviceUse device;
    if (!device) return TIVAR_ERR_NO_MEMORY;
    takeSettings(*device, given.setup);
    const SettingsUse settings(given.setup, lpSetup);
    device->statusHook = given.hook;
    announceStart(given.hook);
    if (!device.current()) return TIVAR_ERR_NO_MEMORY;
    if (settings.gone() || !allocateReply(*device, given.replySize)) {
        FreeGlobal();
        return TIVAR_ERR_NO_MEMORY;
    }
    block[DRIVER_INIT_REPLY] = reinterpret_cast<HostWord>(device->lpReply);
    takeName(*device, given.name);
    device->deviceState = DEV_CLOSED;
    reportCapabilities(*device, given.capabilities);
    return TIVAR_OK;
}

int32_t RASTER_termdvr() {
    const DeviceUse device;
    if (!device) return 0;
    if (device->deviceState != DEV_CLOSED) {
        closeOutput(device);
        freeOutputMemory(*device);
    }
    // Closing, the host may have ended the device itself, or put another in its place.
    if (!device.current()) return 0;
    GlobalUnlock(device->hReply);
    GlobalFree(device->hReply);
    device->hReply = 0;
    device->lpReply = nullptr;
    return FreeGlobal();
}

int32_t RASTER_escape() {
    const DeviceUse device;
    if (!device || askHook(device->statusHook, 0, 0, 0, 0) == 0) return 0;
    if (device.current()) push_er(TIVAR_ERR_CANCELLED);
    return TIVAR_ERR_CANCELLED;
}

void* d_opdv(void* block) {
    const Turn turn;
    const DeviceUse device;
    if (!device) return block;
    d_empes(block);
    // While the host is asked about a close, the device has output still.
    if (device->closing == 0) device->deviceState = DEV_OPEN;
    const int16_t failure = openOutput(device);
    if (failure != 0 && device.current()) push_er(failure);
    return block;
}

void* d_cldv(void* block) {
    const Turn turn;
    const DeviceUse device;
    if (!device) return block;
    closeOutput(device);
    if (!device.current()) freeOutputMemory(*device);
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
