// Letters of one case, for suffixes of file names.
#pragma once

#include <algorithm>
#include <cctype>
#include <string>

namespace tool {

inline std::string inLowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

}  // namespace tool
