// Values of JSON.
#pragma once

#include <string>
#include <string_view>

namespace tool {

// The text between quotes. Bytes that are no UTF-8 become halves of pairs, \udc80 to \udcff, from
// which Python and others make the same bytes again.
std::string jsonText(std::string_view text);

}  // namespace tool
