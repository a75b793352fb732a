// A named file that is complete or not there: written beside its place and renamed. What is no
// regular file, a device or a pipe, gets the bytes directly.
#pragma once

#include <cstdint>

#include "base/files.h"
#include "write/output.h"

namespace tivar {

struct FileTarget {
    FileTarget() = default;
    ~FileTarget();  // closes, and removes what is not complete
    FileTarget(const FileTarget&) = delete;
    FileTarget& operator=(const FileTarget&) = delete;

    int descriptor = -1;
    bool direct = false;    // the bytes go to the place itself
    bool replaces = false;  // a file that has this mode and owner
    FileStatus replaced = {};
    int error = 0;                // errno of what failed
    char place[kPathBytes] = {};  // with links followed
    char beside[kPathBytes] = {};
};

// Both: enum TivarResult; flags: enum TivarFileFlags.
int32_t openFile(FileTarget& file, const char* name, uint32_t flags);
int32_t completeFile(FileTarget& file, uint32_t flags);

// The target lives as long as file.
Target fileTarget(FileTarget& file);

}  // namespace tivar
