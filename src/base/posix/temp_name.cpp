#include "base/temp_name.h"

#include <stdlib.h>
#include <unistd.h>

#include <cstring>

namespace tivar {

int32_t OXLGetTempFileName(uint8_t, const char*, uint32_t, char* destination) {
    if (destination == nullptr) return 0;
    char name[] = "/tmp/tivarXXXXXX";
    // Creating and removing the file proves the name unused; the caller creates it exclusively.
    const int file = mkstemp(name);
    if (file < 0) return 0;
    close(file);
    unlink(name);
    std::memcpy(destination, name, sizeof name);
    return 1;
}

}  // namespace tivar
