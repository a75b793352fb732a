#include "process/printable.h"

namespace tool {
namespace {

constexpr unsigned char kFirstPlain = 0x20;
constexpr unsigned char kDelete = 0x7F;
// UTF-8 writes the control characters from 0x80 to 0x9F as this byte and their own.
constexpr unsigned char kHighControlLead = 0xC2;
constexpr unsigned char kLastHighControl = 0x9F;

bool isControl(unsigned char byte, unsigned char before) {
    const bool high = before == kHighControlLead && byte > kDelete && byte <= kLastHighControl;
    return byte < kFirstPlain || byte == kDelete || high;
}

std::string escaped(unsigned char byte) {
    constexpr char kDigits[] = "0123456789abcdef";
    return {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
}

}  // namespace

std::string printable(std::string_view text) {
    std::string shown;
    unsigned char before = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\n' || c == '\r') {
            shown += ' ';
        } else if (isControl(byte, before)) {
            if (byte > kDelete) shown.pop_back();  // its lead is nothing by itself
            shown += escaped(byte);
        } else {
            shown += c;
        }
        before = byte;
    }
    return shown;
}

}  // namespace tool
