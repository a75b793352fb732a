// Files without a name, and hints about memory.
#pragma once

#include <stddef.h>

#define MFD_CLOEXEC 1
#define MADV_HUGEPAGE 14

extern "C" int memfd_create(const char* name, unsigned flags);

// Large pages are a right that few processes have here.
inline int madvise(void*, size_t, int) {
    return 0;
}
