#include "profile/profile_path.h"

#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/text.h"

namespace tivar {

bool pathInIniDir(char* path, size_t capacity, const char* name) {
    const char* directory = std::getenv("INIDIR");
    if (isEmpty(directory)) return false;
    const char* slash = directory[std::strlen(directory) - 1] == '/' ? "" : "/";
    const int length = std::snprintf(path, capacity, "%s%s%s", directory, slash, name);
    return length > 0 && static_cast<size_t>(length) < capacity;
}

bool isInIniDir(const char* name) {
    char path[PATH_MAX];
    return pathInIniDir(path, sizeof path, name) && access(path, F_OK) == 0;
}

}  // namespace tivar
