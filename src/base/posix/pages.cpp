#include "base/pages.h"

#include <sys/mman.h>

namespace tivar {

void preferLargePages([[maybe_unused]] void* block, [[maybe_unused]] uint64_t bytes) {
#if defined(MADV_HUGEPAGE)
    constexpr uint64_t kWorthwhile = 4u << 20;
    constexpr uintptr_t kPage = 4096;
    if (bytes < kWorthwhile) return;
    const auto start = reinterpret_cast<uintptr_t>(block);
    const uintptr_t first = (start + kPage - 1) / kPage * kPage;
    const uintptr_t end = (start + static_cast<uintptr_t>(bytes)) / kPage * kPage;
    madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
#endif
}

}  // namespace tivar
