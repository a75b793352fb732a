#include "write/output.h"

#include <tivar/write.h>

#include <cstring>

namespace tivar {
namespace {

constexpr size_t kBufferBytes = size_t{1} << 16;

}  // namespace

bool prepareOutput(Output& output, const Target* target) {
    output.target = target;
    output.used = 0;
    output.length = 0;
    if (target == nullptr) return true;
    return output.buffer.obtain(kBufferBytes);
}

int32_t flush(Output& output) {
    if (output.target == nullptr || output.used == 0) return TIVAR_RESULT_OK;
    const size_t length = output.used;
    output.used = 0;
    return output.target->write(output.target->context, output.buffer.data, length);
}

int32_t put(Output& output, const void* bytes, size_t length) {
    output.length += length;
    if (output.target == nullptr) return TIVAR_RESULT_OK;
    if (length > kBufferBytes - output.used) {
        const int32_t result = flush(output);
        if (result != TIVAR_RESULT_OK) return result;
    }
    if (length >= kBufferBytes) return output.target->write(output.target->context, bytes, length);
    std::memcpy(output.buffer.data + output.used, bytes, length);
    output.used += length;
    return TIVAR_RESULT_OK;
}

}  // namespace tivar
