// Pixels of 16, 32 and 64 bits, which are cut into colours.
#pragma once

#include <array>
#include <cstdint>

#include "bmp/headers.h"

namespace tool {

// Where a colour lies in a pixel; 0 bits = nowhere.
struct Field {
    unsigned shift{};
    unsigned bits{};
};

// Of red, green, blue and alpha.
struct Fields {
    std::array<Field, 4> of{};
    bool usable{};  // no mask has gaps or lies over another one
};

// As the masks say, or as the depth has them without masks.
Fields fieldsOf(const BmpHeaders& headers);

// Whether the file's pixels of 16, 32 or 64 bits have an alpha.
bool hasAlpha(const BmpHeaders& headers);

// Pixels of 16 or 32 bits as bytes of red, green and blue, and alpha if there is one.
void readFields(const Fields& fields, unsigned bits, const uint8_t* from, uint8_t* to,
                size_t width);

// Pixels of 64 bits: blue, green, red and alpha as fixed-point numbers with 13 bits behind the
// point, in linear light.
void readLinear(const uint8_t* from, uint8_t* to, size_t width);

}  // namespace tool
