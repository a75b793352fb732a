// Characters of UTF-8.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tool {

struct Character {
    uint32_t code;
    size_t bytes;
    bool valid;
};

// The character at the text's start, which is not empty. A byte that begins none stands for itself,
// as terminals with other encodings take it.
Character firstCharacter(std::string_view text);

}  // namespace tool
