#pragma once

#include <cstddef>

namespace tivar {

// "directory/name" of the directory that INIDIR names; false without one or when it does not fit.
bool pathInIniDir(char* path, size_t capacity, const char* name);

// Whether that directory has an entry of this name.
bool isInIniDir(const char* name);

}  // namespace tivar
