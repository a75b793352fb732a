#include "filter/string_table.h"

#include <tivar/filter.h>

#include <cstring>

#include "filter/identity.h"

namespace tivar {
namespace {

struct StringRow {
    uint16_t id;
    const char* text;
};

// Searched from the front; the last row answers for identifiers that do not occur.
constexpr StringRow gStringTable[] = {
    {0, "~Defaults"},
    {1, "~Mode"},
    {2, "~Header"},
    {3, "~Default Mode"},
    {4, "Driver"},
    {6, "DefaultFileSpec"},
    {7, "Font"},
    {11, "Color Mode"},
    {15, "User-Defined Patterns"},
    {5, "ColorTableSource"},
    {8, "Color"},
    {9, "FILE"},
    {10, "PROFILE"},
    {17, "Color Format"},
    {18, "Resolution Mode"},
    {19, "X Resolution"},
    {20, "Y Resolution"},
    {21, "Width"},
    {22, "Height"},
    {23, "File Type"},
    {13, "BMP Export"},
    {25, "Compression Mode"},
    {24, "Size Mode"},
    {26, "Line Mode"},
    {65535, "Not Defined"},
};

}  // namespace

TableText::TableText(TextId id) {
    LoadString(hDLLModule, id, text, sizeof text);
}

}  // namespace tivar

int32_t LoadString(HostWord, int32_t id, char* buffer, int32_t size) {
    using namespace tivar;
    const StringRow* row = gStringTable;
    const StringRow* last = gStringTable + sizeof gStringTable / sizeof gStringTable[0] - 1;
    while (row != last && row->id != static_cast<uint16_t>(id)) ++row;
    const bool known = row->id == static_cast<uint16_t>(id);
    const auto length = static_cast<int32_t>(std::strlen(row->text));
    if (buffer != nullptr && size > 0) {
        // Kept: a buffer no longer than the text is filled without a terminator.
        const int32_t copied = size <= length + 1 ? size : length + 1;
        std::memcpy(buffer, row->text, static_cast<size_t>(copied));
    }
    return known ? length : 0;
}
