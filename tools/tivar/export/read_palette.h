// Palettes from files that other programs write.
#pragma once

#include <string>
#include <vector>

#include "picture/image.h"

namespace tool {

// The known palette of that name, else the one in the file of that name: a palette of a drawing
// program, or a picture with one. 1 to 256 colours.
std::vector<Color> readPalette(const std::string& name);

// The palette in the bytes of a drawing program's file, by the suffix of its name in lower case:
// .act, .gpl, .hex or .pal.
std::vector<Color> paletteIn(const std::string& bytes, const std::string& suffix);

}  // namespace tool
