// The variables of the process's environment.
#pragma once

#include <cstddef>

namespace tivar {

constexpr size_t kEnvironmentBytes = 4096;

// The variable's value, which may lie in buffer; null without one. UTF-8 on Windows, where a value
// that does not fit counts as none.
const char* environmentValue(const char* name, char (&buffer)[kEnvironmentBytes]);

}  // namespace tivar
