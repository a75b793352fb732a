#include "export/output_target.h"

#include <tivar/stream.h>

#include "base/memory.h"
#include "base/text.h"

namespace tivar {
namespace {

constexpr int32_t kCreate = OXL_CREATE | OXL_WRITE;
constexpr HostWord kMemoryStep = 4096;

// The block grows, and moves, under the stream.
TargetResult openMemory(void** memory, OxlStream* stream) {
    OwnedBlock block(allocateZeroed(1));
    if (!block) return kTargetNoMemory;
    *memory = block.data;
    OxlStreamDesc descriptor = {};
    descriptor.target = reinterpret_cast<HostWord>(memory);
    descriptor.growStep = kMemoryStep;
    *stream = oxlOpen(nullptr, &descriptor, kCreate);
    if (*stream == 0) {
        *memory = nullptr;
        return kTargetNoStream;
    }
    block.release();
    return kTargetOpened;
}

}  // namespace

TargetResult openOutputTarget(const OutputTarget& target, OxlStream* stream) {
    *stream = 0;
    *target.memory = nullptr;
    if (target.documentProc != 0) {
        OxlStreamDesc descriptor = {};
        descriptor.target = target.documentValue;
        descriptor.documentProc = target.documentProc;
        *stream = oxlOpen(target.name, &descriptor, kCreate);
    } else if (isEmpty(target.name)) {
        return openMemory(target.memory, stream);
    } else {
        *stream = oxlOpen(target.name, nullptr, kCreate);
    }
    return *stream == 0 ? kTargetNoStream : kTargetOpened;
}

}  // namespace tivar
