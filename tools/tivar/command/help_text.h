// Help as the terminal has room for it.
#pragma once

#include <cstddef>
#include <string>

namespace tool {

// Columns of the terminal behind standard output; 0 = there is none, and lines stay long.
size_t terminalColumns();

// Lines broken at blanks, with what follows below the column where the line's last part begins.
std::string wrapped(const std::string& text, size_t columns);

}  // namespace tool
