// Names in UTF-8, as the tool has them, and as Windows knows them.
#pragma once

#include <string>
#include <string_view>

namespace tool {

std::wstring wideName(std::string_view text);
std::string utf8Name(std::wstring_view text);

// The same for a file: what is longer than Windows takes as it is becomes a whole path behind a
// prefix that says so.
std::wstring wideFileName(const char* name);

// Sets errno to what Windows's last error is called there; always -1.
int failWithLastError();

}  // namespace tool
