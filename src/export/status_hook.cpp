#include "export/status_hook.h"

#include <tivar/export.h>

#include "base/status.h"

namespace tivar {

int32_t askHook(const HostWord* hook, int32_t a2, int32_t a3, int32_t a4, int32_t a5) {
    if (hook == nullptr) return 0;
    return CallGetSet_Status(reinterpret_cast<StatusProc>(hook[STATUS_PROC]),
                             static_cast<intptr_t>(hook[STATUS_CONTEXT]), a2, a3, a4, a5, 0, 0);
}

}  // namespace tivar
