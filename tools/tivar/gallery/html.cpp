#include "gallery/html.h"

#include <algorithm>
#include <cstdint>

namespace tool {
namespace {

bool isUnreserved(unsigned char c) {
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    return letter || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == '_' || c == '~';
}

}  // namespace

std::string escaped(std::string_view text) {
    std::string html;
    for (const char c : text) {
        const bool special = c == '&' || c == '<' || c == '>' || c == '"' || c == '\'';
        if (special) {
            html += "&#" + std::to_string(static_cast<int>(c)) + ";";
        } else {
            html += c;
        }
    }
    return html;
}

std::string addressOf(std::string_view fileName) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string address;
    for (const char c : fileName) {
        const auto byte = static_cast<unsigned char>(c);
        if (isUnreserved(byte)) {
            address += c;
        } else {
            address += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
        }
    }
    return address;
}

std::string base64(std::string_view bytes) {
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (size_t i = 0; i < bytes.size(); i += 3) {
        const size_t count = std::min<size_t>(3, bytes.size() - i);
        uint32_t group = 0;
        for (size_t k = 0; k < 3; ++k) {
            group = group << 8 | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0u);
        }
        for (size_t k = 0; k < 4; ++k) {
            text += k <= count ? kDigits[group >> (18 - 6 * k) & 63] : '=';
        }
    }
    return text;
}

}  // namespace tool
