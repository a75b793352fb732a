#include "profile/profile_path.h"

#include <cstdio>
#include <cstring>

#include "base/environment.h"
#include "base/files.h"
#include "base/text.h"

namespace tivar {

bool pathInIniDir(char* path, size_t capacity, const char* name) {
    char buffer[kEnvironmentBytes];
    const char* directory = environmentValue("INIDIR", buffer);
    if (isEmpty(directory)) return false;
    const char* slash = directory[std::strlen(directory) - 1] == '/' ? "" : "/";
    const int length = std::snprintf(path, capacity, "%s%s%s", directory, slash, name);
    return length > 0 && static_cast<size_t>(length) < capacity;
}

bool isInIniDir(const char* name) {
    char path[kPathBytes];
    return pathInIniDir(path, sizeof path, name) && isThere(path);
}

}  // namespace tivar
