// Words that a mistyped one may stand for.

#ifndef TIVAR_TOOL_SUGGEST_H
#define TIVAR_TOOL_SUGGEST_H

#include <string>
#include <string_view>
#include <vector>

namespace tool {

// The known word that is nearest, by letters left out, added, changed or exchanged; "" = none is
// near enough.
std::string nearestWord(std::string_view typed, const std::vector<std::string>& known);

}  // namespace tool

#endif
