// The headers of one BMP file in front of the pixels of another.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "bmp/bmp_file.h"

namespace tool {

// All that the file has before its pixels, fit to stand before others: what it tells of its own
// colour space and the bytes that nothing describes are left out.
std::vector<uint8_t> headOf(const BmpFile& file);

// Whether the headers tell of colours that are not those of sRGB.
bool hasOwnColorSpace(const BmpFile& file);

// Puts colour masks where such a head has room for them.
void putMasks(std::vector<uint8_t>& head, const std::array<uint32_t, 4>& masks);

// The head with the sizes of the file that begins with own, whose pixels have the same form.
std::vector<uint8_t> headersLike(std::span<const uint8_t> head, std::span<const uint8_t> own);

}  // namespace tool
