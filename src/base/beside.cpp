#include "base/beside.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace tivar {

int createBeside(const char* path, bool isNew, char* name, size_t capacity) {
    constexpr int kMostAttempts = 100;
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        const int length =
            std::snprintf(name, capacity, "%s.%ld-%d", path, static_cast<long>(getpid()), attempt);
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
