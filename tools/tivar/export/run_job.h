// One input, one output.
#pragma once

#include <cstdint>
#include <string>

#include "export/request.h"
#include "process/library.h"

namespace tool {

struct Job {
    std::string input;   // "-" = standard input
    std::string target;  // "-" = standard output
    Existing existing = Existing::Replace;
    bool makesFolders = false;     // that the target lies in
    const Image* image = nullptr;  // what is in the input, where it has been read already
};

struct Exported {
    uint64_t bytes;
    double seconds;  // without reading the picture
    PixelSize size;
    unsigned bits;
};

// Exports one picture, or throws and leaves the target as it was.
Exported runJob(const Library& library, const Job& job, const ExportRequest& request, bool onlyOne);

}  // namespace tool
