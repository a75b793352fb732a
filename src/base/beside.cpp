#include "base/beside.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/files.h"

namespace tivar {
namespace {

// So much of path that its last name has room for what is put behind it, without a cut through a
// character of UTF-8.
int keptLength(const char* path) {
    constexpr size_t kMostName = kMostNameBytes - 32;
    const char* name = lastName(path);
    size_t kept = std::strlen(name);
    if (kept > kMostName) {
        kept = kMostName;
        while (kept > 0 && (static_cast<unsigned char>(name[kept]) & 0xC0) == 0x80) --kept;
    }
    return static_cast<int>(static_cast<size_t>(name - path) + kept);
}

}  // namespace

int createBeside(const char* path, bool isNew, char* name, size_t capacity) {
    constexpr int kMostAttempts = 100;
    const int kept = keptLength(path);
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        const int length =
            std::snprintf(name, capacity, "%.*s.%ld-%d", kept, path, processNumber(), attempt);
        if (length < 0 || static_cast<size_t>(length) >= capacity) {
            errno = ENAMETOOLONG;
            return -1;
        }
        const int file = createFile(name, isNew);
        if (file >= 0 || errno != EEXIST) return file;
    }
    return -1;
}

}  // namespace tivar
