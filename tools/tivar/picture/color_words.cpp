#include "picture/color_words.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "process/lower_case.h"

namespace tool {
namespace {

struct NamedColor {
    const char* name;
    uint32_t packed;
};

// As style sheets know them.
constexpr std::array<NamedColor, 22> kColors{{
    {"black", 0x000000},   {"white", 0xFFFFFF},   {"red", 0xFF0000},    {"lime", 0x00FF00},
    {"blue", 0x0000FF},    {"yellow", 0xFFFF00},  {"cyan", 0x00FFFF},   {"aqua", 0x00FFFF},
    {"magenta", 0xFF00FF}, {"fuchsia", 0xFF00FF}, {"silver", 0xC0C0C0}, {"gray", 0x808080},
    {"grey", 0x808080},    {"maroon", 0x800000},  {"green", 0x008000},  {"olive", 0x808000},
    {"navy", 0x000080},    {"purple", 0x800080},  {"teal", 0x008080},   {"orange", 0xFFA500},
    {"brown", 0xA52A2A},   {"pink", 0xFFC0CB},
}};

Color unpacked(uint32_t packed) {
    return {static_cast<uint8_t>(packed >> 16), static_cast<uint8_t>(packed >> 8),
            static_cast<uint8_t>(packed)};
}

template <size_t Count>
std::vector<Color> unpacked(const std::array<uint32_t, Count>& packed) {
    std::vector<Color> colors;
    colors.reserve(Count);
    for (const uint32_t color : packed) colors.push_back(unpacked(color));
    return colors;
}

// Panels count their colours in this order; the system's 20 stand at both ends of its 256.
constexpr std::array<uint32_t, 2> kBlackWhite{0x000000, 0xFFFFFF};
constexpr std::array<uint32_t, 7> kPaper7{0x000000, 0xFFFFFF, 0x00FF00, 0x0000FF,
                                          0xFF0000, 0xFFFF00, 0xFF8000};
constexpr std::array<uint32_t, 6> kPaper6{0x000000, 0xFFFFFF, 0xFFFF00,
                                          0xFF0000, 0x0000FF, 0x00FF00};
constexpr std::array<uint32_t, 3> kBlackWhiteRed{0x000000, 0xFFFFFF, 0xFF0000};
constexpr std::array<uint32_t, 3> kBlackWhiteYellow{0x000000, 0xFFFFFF, 0xFFFF00};
constexpr std::array<uint32_t, 16> kWindows16{
    0x000000, 0x800000, 0x008000, 0x808000, 0x000080, 0x800080, 0x008080, 0xC0C0C0,
    0x808080, 0xFF0000, 0x00FF00, 0xFFFF00, 0x0000FF, 0xFF00FF, 0x00FFFF, 0xFFFFFF};
constexpr std::array<uint32_t, 20> kWindows20{0x000000, 0x800000, 0x008000, 0x808000, 0x000080,
                                              0x800080, 0x008080, 0xC0C0C0, 0xC0DCC0, 0xA6CAF0,
                                              0xFFFBF0, 0xA0A0A4, 0x808080, 0xFF0000, 0x00FF00,
                                              0xFFFF00, 0x0000FF, 0xFF00FF, 0x00FFFF, 0xFFFFFF};

// Six steps of each primary, red the slowest.
std::vector<Color> cube() {
    std::vector<Color> colors;
    for (unsigned i = 0; i < 216; ++i) {
        colors.push_back({static_cast<uint8_t>(i / 36 * 51), static_cast<uint8_t>(i / 6 % 6 * 51),
                          static_cast<uint8_t>(i % 6 * 51)});
    }
    return colors;
}

struct NamedPalette {
    const char* name;
    std::vector<Color> (*colors)();
};

constexpr std::array<NamedPalette, 10> kPalettes{{
    {"bw", [] { return unpacked(kBlackWhite); }},
    {"grey4", [] { return greys(4); }},
    {"grey16", [] { return greys(16); }},
    {"epaper7", [] { return unpacked(kPaper7); }},
    {"epaper6", [] { return unpacked(kPaper6); }},
    {"bwr", [] { return unpacked(kBlackWhiteRed); }},
    {"bwy", [] { return unpacked(kBlackWhiteYellow); }},
    {"windows16", [] { return unpacked(kWindows16); }},
    {"windows20", [] { return unpacked(kWindows20); }},
    {"web216", cube},
}};

std::optional<Color> colorOfDigits(std::string_view digits) {
    uint32_t packed = 0;
    const char* last = digits.data() + digits.size();
    const auto [end, error] = std::from_chars(digits.data(), last, packed, 16);
    if (error != std::errc() || end != last) return std::nullopt;
    if (digits.size() == 6) return unpacked(packed);
    if (digits.size() != 3) return std::nullopt;
    return unpacked((packed >> 8 << 16 | (packed >> 4 & 15) << 8 | (packed & 15)) * 0x11);
}

}  // namespace

std::optional<Color> colorNamed(std::string_view text) {
    const std::string name = inLowerCase(std::string(text));
    for (const NamedColor& color : kColors) {
        if (name == color.name) return unpacked(color.packed);
    }
    return colorOfDigits(text.substr(text.starts_with('#') ? 1 : 0));
}

std::vector<std::string> paletteNames() {
    std::vector<std::string> names;
    names.reserve(kPalettes.size());
    for (const NamedPalette& palette : kPalettes) names.emplace_back(palette.name);
    return names;
}

std::optional<std::vector<Color>> paletteNamed(std::string_view name) {
    const auto* found = std::find_if(kPalettes.begin(), kPalettes.end(),
                                     [&](const NamedPalette& p) { return name == p.name; });
    if (found == kPalettes.end()) return std::nullopt;
    return found->colors();
}

}  // namespace tool
