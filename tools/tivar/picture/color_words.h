// Colours and palettes as people write them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "picture/image.h"

namespace tool {

// RRGGBB, RGB, with or without a number sign, or a name such as black.
std::optional<Color> colorNamed(std::string_view text);

// The names of the palettes that need no file.
std::vector<std::string> paletteNames();

// The palette of that name; none = there is no such name.
std::optional<std::vector<Color>> paletteNamed(std::string_view name);

}  // namespace tool
