#include "process/utf8.h"

namespace tool {
namespace {

size_t bytesAfter(unsigned char lead) {
    if (lead < 0xC2 || lead > 0xF4) return 0;
    return lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
}

// Longer forms of shorter characters, halves of pairs and what is beyond the last one are none.
bool exists(uint32_t code, size_t more) {
    constexpr uint32_t kFirst[] = {0, 0x80, 0x800, 0x10000};
    return code >= kFirst[more] && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
}

}  // namespace

Character firstCharacter(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    const size_t more = bytesAfter(lead);
    const Character alone{lead, 1, lead < 0x80};
    if (more == 0 || text.size() <= more) return alone;
    uint32_t code = lead & (0x3Fu >> more);
    for (size_t i = 1; i <= more; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0) != 0x80) return alone;
        code = code << 6 | (byte & 0x3F);
    }
    return exists(code, more) ? Character{code, more + 1, true} : alone;
}

}  // namespace tool
