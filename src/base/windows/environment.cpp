#include "base/environment.h"

#include <windows.h>

#include "base/windows/wide.h"

namespace tivar {

const char* environmentValue(const char* name, char (&buffer)[kEnvironmentBytes]) {
    const WideName wide(name);
    wchar_t value[kEnvironmentBytes];
    if (!wide) return nullptr;
    const DWORD length = GetEnvironmentVariableW(wide.text, value, kEnvironmentBytes);
    if (length == 0 || length >= kEnvironmentBytes) return nullptr;
    return toUtf8(value, buffer, sizeof buffer) ? buffer : nullptr;
}

}  // namespace tivar
