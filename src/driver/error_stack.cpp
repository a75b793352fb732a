#include "driver/error_stack.h"

#include <tivar/driver.h>

namespace tivar {
namespace {

// The record at index, where index -1 is the first record.
ErrorRecord& recordAt(ErrorStack& stack, int32_t index) {
    return index < 0 ? stack.firstRecord : stack.entries[index];
}

}  // namespace

void push_er(int16_t code) {
    if (lpEMData == nullptr) return;
    ErrorStack& stack = lpEMData->errors;
    const ErrorRecord pushed = {lpEMData->currentSequence, code, 0};
    if (stack.count > 0) {
        const ErrorRecord& top = recordAt(stack, stack.count - 1);
        if (top.sequence == pushed.sequence && top.code == pushed.code) return;
    } else {
        stack.firstRecord = pushed;
    }
    if (stack.count >= stack.capacity) {
        // Kept: the capacity stays 0, so the newest error always replaces the first record.
        recordAt(stack, stack.capacity - 1) = pushed;
        ++stack.overflowCount;
    } else {
        recordAt(stack, stack.count++) = pushed;
    }
    stack.lastSequence = pushed.sequence;
    stack.lastCode = code;
}

}  // namespace tivar
