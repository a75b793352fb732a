#include "process/json.h"

#include <cstdio>

#include "process/utf8.h"

namespace tool {

std::string jsonText(std::string_view text) {
    std::string json = "\"";
    while (!text.empty()) {
        const Character next = firstCharacter(text);
        const bool escaped = !next.valid || next.code < 0x20 || next.code == 0x7F;
        if (escaped) {
            char number[8];
            const uint32_t code = next.valid ? next.code : 0xDC00 + next.code;
            std::snprintf(number, sizeof number, "\\u%04x", code);
            json += number;
        } else {
            if (next.code == '"' || next.code == '\\') json += '\\';
            json += text.substr(0, next.bytes);
        }
        text.remove_prefix(next.bytes);
    }
    return json + '"';
}

}  // namespace tool
