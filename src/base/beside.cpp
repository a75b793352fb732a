#include "base/beside.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

namespace tivar {
namespace {

// So much of path that its last name has room for what is put behind it.
int keptLength(const char* path) {
    constexpr size_t kMostName = NAME_MAX - 32;
    const char* slash = std::strrchr(path, '/');
    const size_t directory = slash == nullptr ? 0 : static_cast<size_t>(slash + 1 - path);
    return static_cast<int>(directory + std::min(std::strlen(path + directory), kMostName));
}

}  // namespace

int createBeside(const char* path, bool isNew, char* name, size_t capacity) {
    constexpr int kMostAttempts = 100;
    const int kept = keptLength(path);
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        const int length = std::snprintf(name, capacity, "%.*s.%ld-%d", kept, path,
                                         static_cast<long>(getpid()), attempt);
        if (length < 0 || static_cast<size_t>(length) >= capacity) {
            errno = ENAMETOOLONG;
            return -1;
        }
        const int file = open(name, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, isNew ? 0666 : 0600);
        if (file >= 0 || errno != EEXIST) return file;
    }
    return -1;
}

}  // namespace tivar
