// The symbols that the library exports, as the linker is told.
#pragma once

#include <fstream>
#include <set>
#include <string>

namespace hardening {

inline std::set<std::string> exportedSymbols() {
    std::set<std::string> symbols;
    std::ifstream list(TIVAR_EXPORT_LIST);
    for (std::string word; list >> word && word != "local:";) {
        if (word.back() != ';') continue;
        word.pop_back();
        symbols.insert(word);
    }
    return symbols;
}

}  // namespace hardening
