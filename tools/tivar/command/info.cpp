#include "command/info.h"

#include <array>
#include <cstdio>
#include <cstring>

#include "process/printable.h"

namespace tool {
namespace {

constexpr int kLastString = 26;
constexpr int kNameString = 65535;

void printEntries(const Library& library) {
    std::printf("entry table\n");
    for (unsigned i = 0; i < library.table.count; ++i) {
        const FilterEntry& entry = library.table.entries[i];
        const bool data = std::strcmp(entry.name, "szDLLName") == 0;
        std::printf("  %5u  %-8s  %s\n", entry.ordinal, data ? "data" : "function", entry.name);
    }
}

void printString(const Library& library, int id) {
    std::array<char, 256> text{};
    const int32_t length =
        library.loadString(0, id, text.data(), static_cast<int32_t>(text.size() - 1));
    if (length > 0) std::printf("  %5d  \"%s\"\n", id, text.data());
}

void printStrings(const Library& library) {
    std::printf("strings\n");
    for (int id = 0; id <= kLastString; ++id) printString(library, id);
    printString(library, kNameString);
}

}  // namespace

void printInfo(const Library& library) {
    std::printf("library\n  %s\n", printable(library.path).c_str());
    std::printf("versions\n  %-20s  %s (0x%08X)\n", "OXLGetFilterVersion",
                versionText(library).c_str(), static_cast<unsigned>(library.filterVersion()));
    std::printf("  %-20s  %d\n  %-20s  %d\n", "FilterVersion", *library.versionWord, "FilterID",
                *library.idWord);
    printEntries(library);
    printStrings(library);
}

void printVersion(const Library& library) {
    std::printf("tivar %s (library %s, %s)\n", TIVAR_TOOL_VERSION, library.release(),
                printable(library.path).c_str());
}

}  // namespace tool
