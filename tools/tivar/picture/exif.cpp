#include "picture/exif.h"

#include <algorithm>
#include <string_view>

namespace tool {
namespace {

constexpr unsigned kOrientation = 0x0112;
constexpr unsigned kShort = 3;
constexpr size_t kEntryBytes = 12;

struct Tiff {
    std::span<const uint8_t> bytes;
    bool bigEndian;
};

uint32_t number(const Tiff& tiff, size_t at, unsigned count) {
    uint32_t value = 0;
    for (unsigned i = 0; i < count; ++i) {
        value = value << 8 | tiff.bytes[at + (tiff.bigEndian ? i : count - 1 - i)];
    }
    return value;
}

// The value of one entry of the directory; 0 = it is not the orientation.
uint32_t orientationOf(const Tiff& tiff, size_t entry) {
    if (number(tiff, entry, 2) != kOrientation || number(tiff, entry + 2, 2) != kShort) return 0;
    return number(tiff, entry + 8, 2);
}

int firstDirectory(const Tiff& tiff) {
    const size_t size = tiff.bytes.size();
    const size_t directory = number(tiff, 4, 4);
    if (directory > size - 2) return 1;
    const size_t count =
        std::min<size_t>(number(tiff, directory, 2), (size - directory - 2) / kEntryBytes);
    for (size_t i = 0; i < count; ++i) {
        const uint32_t found = orientationOf(tiff, directory + 2 + i * kEntryBytes);
        if (found >= 1 && found <= 8) return static_cast<int>(found);
    }
    return 1;
}

}  // namespace

int orientationIn(std::span<const uint8_t> exif) {
    using namespace std::string_view_literals;
    const auto begins = [&](std::string_view text) {
        return exif.size() >= text.size() && std::equal(text.begin(), text.end(), exif.begin());
    };
    if (begins("Exif\0\0"sv)) exif = exif.subspan(6);
    if (exif.size() < 8) return 1;
    if (begins("II*\0"sv)) return firstDirectory({exif, false});
    return begins("MM\0*"sv) ? firstDirectory({exif, true}) : 1;
}

}  // namespace tool
