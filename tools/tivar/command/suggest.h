// Words that a mistyped one may stand for.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tool {

// The known word that is nearest, by letters left out, added, changed or exchanged; "" = none is
// near enough.
std::string nearestWord(std::string_view typed, const std::vector<std::string>& known);

}  // namespace tool
