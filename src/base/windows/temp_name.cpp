#include "base/temp_name.h"

#include <windows.h>

#include <cstdio>
#include <cstring>
#include <iterator>

#include "base/files.h"
#include "base/windows/wide.h"

namespace tivar {
namespace {

constexpr size_t kNameRoom = 16;  // for what stands behind the directory

// The directory for temporary files, with a separator at its end; by its short name where the long
// one leaves no room.
bool findDirectory(char* directory, size_t capacity) {
    wchar_t wide[kTempNameBytes + 1] = {};
    const auto room = static_cast<DWORD>(std::size(wide));
    const DWORD length = GetTempPathW(room, wide);
    if (length == 0 || length >= room) return false;
    if (toUtf8(wide, directory, capacity - kNameRoom)) return true;
    wchar_t shorter[kTempNameBytes + 1] = {};
    const DWORD shortLength = GetShortPathNameW(wide, shorter, room);
    return shortLength != 0 && shortLength < room &&
           toUtf8(shorter, directory, capacity - kNameRoom);
}

}  // namespace

int32_t OXLGetTempFileName(uint8_t, const char*, uint32_t, char* destination) {
    if (destination == nullptr) return 0;
    char name[kTempNameBytes] = {};
    if (!findDirectory(name, sizeof name)) return 0;
    char* behind = name + std::strlen(name);
    constexpr unsigned kMostAttempts = 100;
    const unsigned start = GetTickCount() ^ (GetCurrentProcessId() << 12);
    for (unsigned attempt = 0; attempt < kMostAttempts; ++attempt) {
        std::snprintf(behind, kNameRoom, "tivar%06x", (start + attempt * 7919) & 0xFFFFFF);
        // Creating and removing the file proves the name unused; the caller creates it exclusively.
        const int file = createFile(name, true);
        if (file < 0) continue;
        closeFile(file);
        removeFile(name);
        std::memcpy(destination, name, sizeof name);
        return 1;
    }
    return 0;
}

}  // namespace tivar
