// Driver entries and dispatch: function codes, and opcodes by table and device state.
#include <tivar/driver.h>

#include <cstring>

#include "base/turn.h"
#include "driver/device_state.h"
#include "driver/device_use.h"
#include "driver/dispatch.h"
#include "driver/operations.h"
#include "driver/param_block.h"

namespace tivar {
namespace {

constexpr size_t kOpcode = 0;
constexpr int32_t kFullSupport = 2;
constexpr int32_t kNoSupport = 0;
constexpr int32_t kOpcodeUnsupported = 1323;

int32_t storeVersion(void* out) {
    const int32_t version = OXLGetFilterVersion();
    std::memcpy(out, &version, sizeof version);
    return sizeof version;
}

// What both published entries do, with the 32-bit entry that each hands out.
int32_t answerEntry(int16_t code, void* out,
                    int32_t (*entry32)(HostWord, int32_t, void*, HostWord)) {
    if (out == nullptr) return 0;
    if (code == DRV_VERSION) storeVersion(out);
    if (code == DRV_GETENTRY32) std::memcpy(out, &entry32, sizeof entry32);
    return 0;
}

void runOperation(void* block) {
    getfunc(fieldAt<uint32_t>(block, kOpcode))(block);
}

int32_t dispatchRaster(void* block) {
    const DeviceUse device;
    if (!device || block == nullptr) return 0;
    device->errors.lastCode = 0;
    if (device->deviceState <= 0) return 0;
    runOperation(block);
    // A device that a call-back ended has no error stack left to push on.
    return device.current() ? device->errors.lastCode : int32_t{TIVAR_ERR_STREAM};
}

int32_t dispatchCommon(void* block) {
    CommonBlock* common = lpCommon;
    if (common == nullptr || block == nullptr) return 0;
    common->lastError = 0;
    if (common->state <= 0) return 0;
    esc_mode(1);
    runOperation(block);
    esc_mode(0);
    return lpCommon == common ? common->lastError : int32_t{TIVAR_ERR_STREAM};
}

int32_t initialiseRaster(void* block) {
    const EMData* device = lpEMData;
    const bool running = hCommon != 0 && device != nullptr && device->deviceState != -1;
    return running ? 0 : RASTER_initdvr(static_cast<HostWord*>(block));
}

int32_t initialiseCommon(void* block) {
    const CommonBlock* common = lpCommon;
    const bool running = hCommon != 0 && common != nullptr && common->state != 1;
    return running ? 0 : initdvr(static_cast<HostWord*>(block));
}

int32_t terminateRaster() {
    if (EMData* device = lpEMData) device->errors.lastCode = 0;
    return RASTER_termdvr();
}

int32_t terminateCommon() {
    if (CommonBlock* common = lpCommon) common->lastError = 0;
    return termdvr(0);
}

// The functions of one route.
struct Route {
    int32_t (*initialise)(void* block);
    int32_t (*dispatch)(void* block);
    int32_t (*terminate)();
};

int32_t runCode(const Route& route, int32_t code, void* block) {
    const Turn turn;
    switch (static_cast<int16_t>(code)) {
        case DRV_INIT:
            return route.initialise(block);
        case DRV_DISPATCH:
            return route.dispatch(block);
        case DRV_TERM:
            return route.terminate();
        case DRV_VERSION:
            return block == nullptr ? 0 : storeVersion(block);
        default:
            return 0;
    }
}

}  // namespace

DriverHandler getfunc(uint32_t opcode) {
    const EMData* device = lpEMData;
    const int32_t state = device == nullptr ? 0 : device->deviceState;
    for (const DriverOpcodeRow& row : DriverOpcodeTable) {
        if (row.opcode != opcode) continue;
        return (row.stateMask & static_cast<uint32_t>(state)) != 0 ? row.handler : d_noop;
    }
    return d_noop;
}

void* d_noop(void* block) {
    return block;
}

void esc_mode(int32_t) {}

int32_t supportOf(const int32_t* table, int32_t gdpId) {
    return gdpId >= -7 && gdpId <= -1 ? table[-gdpId] : kNoSupport;
}

}  // namespace tivar

using namespace tivar;

int32_t RASTER_dd_entry(int16_t code, void* out, uint16_t) {
    return answerEntry(code, out, RASTER_dd_entry32);
}

int32_t dd_entry(int16_t code, void* out, uint16_t) {
    return answerEntry(code, out, dd_entry32);
}

int32_t RASTER_dd_entry32(HostWord, int32_t code, void* block, HostWord) {
    return runCode({initialiseRaster, dispatchRaster, terminateRaster}, code, block);
}

int32_t dd_entry32(HostWord, int32_t code, void* block, HostWord) {
    return runCode({initialiseCommon, dispatchCommon, terminateCommon}, code, block);
}

int32_t InquireSupport(int32_t opcode, int32_t gdpId) {
    const Turn turn;
    if (opcode == OP_PRIMITIVE) return InqGDPSupport(gdpId);
    if (opcode == kOpcodeUnsupported) return kNoSupport;
    const auto wanted = static_cast<uint32_t>(int32_t{static_cast<int16_t>(opcode)});
    return getfunc(wanted) == d_noop ? kNoSupport : kFullSupport;
}

int32_t InqGDPSupport(int32_t gdpId) {
    return supportOf(GDPSupport, gdpId);
}
