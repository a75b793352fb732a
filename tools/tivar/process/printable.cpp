#include "process/printable.h"

#include <array>
#include <cstdint>
#include <cstdio>

#include "process/utf8.h"

namespace tool {
namespace {

struct Range {
    uint32_t first;
    uint32_t last;
};

// Control characters, and those that turn the direction of text or break lines.
constexpr std::array<Range, 8> kCommanding{{{0x00, 0x1F},
                                            {0x7F, 0x9F},
                                            {0x061C, 0x061C},
                                            {0x200E, 0x200F},
                                            {0x2028, 0x202E},
                                            {0x2066, 0x206F},
                                            {0xFEFF, 0xFEFF},
                                            {0xFFF9, 0xFFFB}}};

bool commands(uint32_t code) {
    for (const Range range : kCommanding) {
        if (code >= range.first && code <= range.last) return true;
    }
    return false;
}

// "\x9b" or "\u202e"
std::string escaped(uint32_t code) {
    char text[12];
    std::snprintf(text, sizeof text, code < 0x100 ? "\\x%02x" : "\\u%04x", code);
    return text;
}

}  // namespace

std::string printable(std::string_view text) {
    std::string shown;
    while (!text.empty()) {
        const Character next = firstCharacter(text);
        const std::string_view bytes = text.substr(0, next.bytes);
        if (next.code == '\n' || next.code == '\r') {
            shown += ' ';
        } else {
            shown += commands(next.code) ? escaped(next.code) : std::string(bytes);
        }
        text.remove_prefix(next.bytes);
    }
    return shown;
}

}  // namespace tool
