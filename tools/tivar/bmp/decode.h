// BMP files as pictures that every program opens.
#pragma once

#include <string>

#include "picture/image.h"

namespace tool {

struct DecodeRequest {
    std::string input;
    std::string target;
    ReadRequest reading;
};

// Writes the pixels as PNG, or as PPM when the target's name ends in .ppm; "-" is a standard
// stream.
void decodeFile(const DecodeRequest& request);

}  // namespace tool
