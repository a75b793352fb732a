#include "profile/profile_text.h"

#include <cstring>

#include "base/text.h"

namespace tivar {
namespace {

bool isDropped(char c, int32_t mask) {
    switch (c) {
        case '\r':
        case '\n':
            return true;
        case '[':
        case ']':
            return (mask & kKeepBrackets) == 0;
        case '"':
            return (mask & kKeepQuotes) == 0;
        default:
            return false;
    }
}

}  // namespace

void trimText(char* text) {
    if (char* comment = std::strchr(text, ';')) *comment = '\0';
    size_t length = std::strlen(text);
    while (length > 0 && text[length - 1] == ' ') --length;
    size_t start = 0;
    while (start < length && text[start] == ' ') ++start;
    std::memmove(text, text + start, length - start);
    text[length - start] = '\0';
}

void cleanLine(char* line, int32_t mask) {
    char* out = line;
    for (const char* in = line; *in != '\0'; ++in) {
        const bool doubledQuote = in[0] == '"' && in[1] == '"';
        if (doubledQuote) ++in;
        if (doubledQuote || !isDropped(*in, mask)) *out++ = *in;
    }
    *out = '\0';
    trimText(line);
}

CleanLine::CleanLine(const ProfileLine& line, int32_t mask) {
    copyBounded(text, sizeof text, line.text);
    cleanLine(text, mask);
}

SectionName::SectionName(const char* name)
    : block(allocateScratch(uint64_t{std::strlen(name)} + 1)) {
    if (!block) return;
    auto* copy = reinterpret_cast<char*>(block.data);
    copyBounded(copy, std::strlen(name) + 1, name);
    cleanLine(copy, kCleanHeader);
}

bool readProfileLine(OxlStream stream, ProfileLine& line) {
    line.length = oxlReadLine(stream, line.text, kProfileLine);
    if (line.length < 0) return false;
    line.text[line.length] = '\0';
    return true;
}

bool namesSection(const ProfileLine& line, const SectionName& section) {
    const CleanLine name(line, kCleanHeader);
    return !name.isEmpty() && stricmp(name.text, section.text()) == 0;
}

}  // namespace tivar
