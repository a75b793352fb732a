// A strict reader of BMP files as this library writes them, from the format's own description: any
// field that disagrees with another, and any byte too many or too few, is a broken promise.
#pragma once

#include "harness/input.h"

namespace fuzz {

struct BmpFile {
    bool isOs2;
    std::uint32_t width;
    std::uint32_t height;
    std::uint32_t bits;
    bool isEncoded;
    Bytes palette;  // red, green, blue
    Bytes rows;     // decoded, bottom row first, each padded to a multiple of 4 bytes
};

// The OS/2 header has no place that says whether the rows are run-length encoded: what the settings
// asked for counts.
BmpFile readBmp(const Bytes& file, bool wantsEncoded);

// The colour of a pixel, red << 16 | green << 8 | blue; y counts from the bottom.
std::uint32_t colorAt(const BmpFile& file, std::uint32_t x, std::uint32_t y);

// The palette entry that a pixel of an indexed file names.
std::uint32_t indexAt(const BmpFile& file, std::uint32_t x, std::uint32_t y);

}  // namespace fuzz
