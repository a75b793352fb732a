#include "driver/error_stack.h"

#include <algorithm>
#include <cstring>

#include "base/memory.h"
#include "base/turn.h"
#include "driver/operations.h"
#include "driver/param_block.h"

namespace tivar {
namespace {

constexpr int32_t kEntries = sizeof ErrorStack{}.entries / sizeof(ErrorRecord);

// The record at index, where index -1 is the first record.
ErrorRecord& recordAt(ErrorStack& stack, int32_t index) {
    return index < 0 ? stack.firstRecord : stack.entries[index];
}

// The stack lies open to the host, which may have written any number into it.
ErrorStack& boundedErrors(EMData& device) {
    ErrorStack& stack = device.errors;
    stack.count = std::min(stack.count, kEntries);
    stack.capacity = std::clamp(stack.capacity, 0, kEntries);
    return stack;
}

constexpr size_t kWantedErrors = 16;

}  // namespace

void push_er(int16_t code) {
    EMData* device = lpEMData;
    if (device == nullptr) return;
    ErrorStack& stack = boundedErrors(*device);
    const ErrorRecord pushed = {device->currentSequence, code, 0};
    if (stack.count > 0) {
        const ErrorRecord& top = recordAt(stack, stack.count - 1);
        if (top.sequence == pushed.sequence && top.code == pushed.code) return;
    } else {
        stack.firstRecord = pushed;
    }
    if (stack.count >= stack.capacity) {
        // Kept: the capacity stays 0, so the newest error always replaces the first record.
        recordAt(stack, stack.capacity - 1) = pushed;
        if (stack.overflowCount < INT32_MAX) ++stack.overflowCount;
    } else {
        recordAt(stack, stack.count++) = pushed;
    }
    stack.lastSequence = pushed.sequence;
    stack.lastCode = code;
}

void* d_popes(void* block) {
    const Turn turn;
    EMData* device = lpEMData;
    if (device == nullptr || block == nullptr) return block;
    ErrorStack& stack = boundedErrors(*device);
    const int32_t count = std::min(fieldAt<int32_t>(block, kWantedErrors), stack.count);
    reply(*device, count);
    for (int32_t i = 0; i < count; ++i) reply(*device, recordAt(stack, --stack.count));
    return block;
}

void* d_empes(void* block) {
    const Turn turn;
    EMData* device = lpEMData;
    if (device == nullptr) return block;
    ErrorStack& stack = device->errors;
    stack.count = 0;
    stack.overflowCount = 0;
    stack.lastSequence = 0;
    stack.lastCode = 0;
    return block;
}

void dq_es() {
    EMData* device = lpEMData;
    if (device == nullptr) return;
    const ErrorStack& stack = device->errors;
    reply(*device, stack.count);
    reply(*device, stack.firstRecord);
    reply(*device, stack.overflowCount);
}

void mov2buf(const void* source, uint32_t length) {
    if (lpEMData != nullptr && source != nullptr) appendReply(*lpEMData, source, length);
}

void appendReply(EMData& device, const void* source, uint32_t length) {
    // Kept: behind the end of a buffer that a second initialisation made smaller, the position
    // becomes the size.
    if (device.replyPosition > device.replySize) {
        device.replyPosition = device.replySize;
        return;
    }
    // Both lie open to the host, the block does not.
    const uint32_t room = std::min(device.replySize, GlobalSize(device.hReply));
    if (device.lpReply == nullptr || device.replyPosition >= room) return;
    length = std::min(length, room - device.replyPosition);
    std::memcpy(device.lpReply + device.replyPosition, source, length);
    device.replyPosition += length;
}

}  // namespace tivar
