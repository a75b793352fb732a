// Names and values as a terminal may be shown them.
#pragma once

#include <string>
#include <string_view>

namespace tool {

// The text with line ends as blanks and every other control character escaped, those that turn the
// direction of text included, so that a name can neither break a line nor command the terminal nor
// look like another one. Other bytes stay, whatever their encoding.
std::string printable(std::string_view text);

}  // namespace tool
