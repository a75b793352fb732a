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

CleanText::CleanText(const char* source, int32_t mask) {
    copyBounded(text, sizeof text, source);
    cleanLine(text, mask);
}

bool readProfileLine(OxlStream stream, ProfileLine& line) {
    line.length = oxlReadLine(stream, line.text, kProfileLine);
    if (line.length < 0) return false;
    line.text[line.length] = '\0';
    return true;
}

bool namesSection(const ProfileLine& line, const CleanText& section) {
    return stricmp(CleanText(line.text, kCleanHeader).text, section.text) == 0;
}

}  // namespace tivar
