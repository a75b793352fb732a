// The headers and the palette of a BMP file.
#pragma once

#include <cstdint>

#include "write/job.h"
#include "write/rows.h"

namespace tivar {

// Values of the compression field.
enum BmpCompression : uint32_t { kBmpRaw = 0, kBmpRle8 = 1, kBmpRle4 = 2, kBmpMasks = 3 };

// What the file is, once its palette is known.
struct FileForm {
    uint32_t entries;      // of the palette, as written
    uint32_t compression;  // enum BmpCompression
    uint64_t rowBytes;     // of a raw row, with its padding
    uint32_t headerBytes;  // to the pixels
    uint64_t pixelBytes;   // of encoded rows not before they are counted
};

// The file header, the information header with its masks, and a full palette.
constexpr uint32_t kMostHeaderBytes = 14 + 108 + 256 * 4;

// colors is the palette's; encoded: the pixels are to be run-length encoded.
FileForm describeForm(const Job& job, uint32_t colors, bool encoded);

// Puts form.headerBytes bytes.
void putHeader(const Job& job, const FileForm& form, const ColorTable& table, uint8_t* to);

inline uint64_t fileBytes(const FileForm& form) {
    return form.headerBytes + form.pixelBytes;
}

}  // namespace tivar
