// Whether the bytes that an export left are the whole file. The library's result does not tell.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "bmp/headers.h"
#include "export/plan.h"
#include "process/library.h"

namespace tool {

// The start of a file and its length; bytes that the file does not have are 0.
struct FileStart {
    std::array<uint8_t, kBmpFullHeadersEnd> bytes{};
    uint64_t length{};
};

FileStart startOf(int file);
FileStart startOf(const uint8_t* data, uint64_t length);

// Bytes of the file in a block of memory output, without the block's zeros and its end mark.
uint64_t contentLength(const Block& memory);

PixelSize sizeInFile(const FileStart& start);

struct Verdict {
    std::string problem;  // "" = the file is whole
    uint64_t missing{};   // bytes
};

Verdict judge(const FileStart& start, const ExportPlan& plan);

}  // namespace tool
