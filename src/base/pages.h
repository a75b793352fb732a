// The system's pages.
#pragma once

#include <cstdint>

namespace tivar {

// Pictures are touched from end to end: fewer, larger pages cost less to get. Only a hint.
void preferLargePages(void* block, uint64_t bytes);

}  // namespace tivar
