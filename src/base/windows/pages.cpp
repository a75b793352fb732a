#include "base/pages.h"

namespace tivar {

// Large pages are a right here that few processes have.
void preferLargePages(void*, uint64_t) {}

}  // namespace tivar
