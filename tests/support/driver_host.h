// A host of the driver's raster route: settings, the blocks that it hands over, and its device.
#pragma once

#include <tivar/driver.h>
#include <tivar/export.h>

#include <array>
#include <climits>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "model/plain_model.h"
#include "support/current_settings.h"
#include "support/memory_block.h"
#include "support/opcode_block.h"

namespace support {

constexpr int32_t kEveryState[] = {DEV_CLOSED, DEV_OPEN, DEV_PICTURE, DEV_BODY, DEV_ENDED};

// The numbers of a status call: operation, value, third, percentage, fifth.
using StatusCall = std::array<int32_t, 5>;

constexpr StatusCall kStartCall = {0, -2, 100, 0, 0};
constexpr StatusCall kCancelCall = {0, 0, 0, 0, 0};
constexpr StatusCall kCancelQuestion = {2, 61, 0, 0, 0};
constexpr StatusCall progressCall(int32_t percent) {
    return {0, 0, 0, percent, 0};
}

// A status hook that records its calls; its address is the context.
struct StatusHook {
    StatusHook() {
        words[STATUS_CONTEXT] = reinterpret_cast<HostWord>(this);
        words[STATUS_PROC] = reinterpret_cast<HostWord>(&StatusHook::answer);
    }
    StatusHook(const StatusHook&) = delete;
    StatusHook& operator=(const StatusHook&) = delete;

    // Calls from this index on are answered with 1, the question that follows with confirmation.
    size_t cancelFrom = SIZE_MAX;
    int32_t confirmation = 1;
    std::vector<StatusCall> calls;
    HostWord words[13] = {};

    void cancelFromNow() { cancelFrom = calls.size(); }

    static int32_t answer(intptr_t context, int32_t operation, int32_t value, int32_t third,
                          int32_t percent, int32_t fifth, intptr_t) {
        auto& self = *reinterpret_cast<StatusHook*>(context);
        const size_t index = self.calls.size();
        self.calls.push_back({operation, value, third, percent, fifth});
        if (operation == 2) return self.confirmation;
        return index >= self.cancelFrom ? 1 : 0;
    }
};

// The file in a block of output to memory: up to the end mark.
inline Bytes fileInMemory(const void* memory) {
    Bytes bytes = blockContents(GlobalHandle(memory));
    while (!bytes.empty() && bytes.back() == 0) bytes.pop_back();
    if (!bytes.empty() && bytes.back() == 0xFF) bytes.pop_back();
    return bytes;
}

class DriverHost {
  public:
    // Not initialised yet; an empty name asks for output to memory.
    explicit DriverHost(const model::Settings& wanted = {}, std::string fileName = {})
        : settings(wanted), name(std::move(fileName)) {
        block[DRIVER_INIT_NAME] = reinterpret_cast<HostWord>(name.c_str());
        block[DRIVER_INIT_REPLY_SIZE] = 4096;
        block[DRIVER_INIT_SETUP] = settings.handle;
        block[DRIVER_INIT_HOOK] = reinterpret_cast<HostWord>(hook.words);
        block[DRIVER_INIT_CAPABILITIES] = reinterpret_cast<HostWord>(capabilities.data());
    }
    ~DriverHost() {
        if (lpEMData == nullptr) return;
        if (lpEMData->deviceState != DEV_CLOSED) {
            lpEMData->deviceState = DEV_OPEN;
            send(OP_CLOSE);
        }
        takeMemoryFile();
        terminate();
    }
    DriverHost(const DriverHost&) = delete;
    DriverHost& operator=(const DriverHost&) = delete;

    int32_t initialise() { return RASTER_dd_entry32(0, DRV_INIT, block, 0); }
    int32_t terminate() { return RASTER_dd_entry32(0, DRV_TERM, nullptr, 0); }
    int32_t send(OpcodeBlock operation) {
        return RASTER_dd_entry32(0, DRV_DISPATCH, operation.data(), 0);
    }
    int32_t send(uint32_t opcode) { return send(OpcodeBlock(opcode)); }

    // Initialises, and goes on by the host's operations to one of the device states.
    void enter(int32_t state) {
        initialise();
        for (const uint32_t opcode : {OP_OPEN, OP_BEGIN_PICTURE, OP_BEGIN_BODY, OP_END_PICTURE})
            if (lpEMData->deviceState != state) send(opcode);
    }
    // The picture's settings, then its body.
    void enterBody(const std::vector<OpcodeBlock>& pictureSettings = {}) {
        enter(DEV_PICTURE);
        for (const OpcodeBlock& setting : pictureSettings) send(setting);
        send(OP_BEGIN_BODY);
    }

    // What output to memory holds so far as a closed file; the block is freed.
    Bytes takeMemoryFile() {
        Bytes file = fileInMemory(lpEMData->memoryBlock);
        GlobalFree(GlobalHandle(lpEMData->memoryBlock));
        lpEMData->memoryBlock = nullptr;
        return file;
    }
    Bytes closeAndTakeFile() {
        send(OP_CLOSE);
        return takeMemoryFile();
    }

    // The reply bytes from position on that have been written.
    Bytes reply(size_t position = 0) const {
        const auto* start = reinterpret_cast<const uint8_t*>(block[DRIVER_INIT_REPLY]);
        return Bytes(start + position, start + lpEMData->replyPosition);
    }

    CurrentSettings settings;
    std::string name;
    StatusHook hook;
    std::array<int32_t, 60> capabilities = {};
    HostWord block[DRIVER_INIT_WORDS] = {};
};

}  // namespace support
