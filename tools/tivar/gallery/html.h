// Text inside pages.
#pragma once

#include <string>
#include <string_view>

namespace tool {

// Text and values of attributes: nothing in them is taken for markup.
std::string escaped(std::string_view text);

// The name of a file beside the page as an address.
std::string addressOf(std::string_view fileName);

std::string base64(std::string_view bytes);

}  // namespace tool
