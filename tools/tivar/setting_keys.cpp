#include "setting_keys.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>

namespace tool {
namespace {

constexpr double kLowestResolution = 32;
constexpr double kHighestResolution = 400;
constexpr double kSmallestInches = 0.03125;
constexpr double kLargestInches = 22;
constexpr double kLargestWhole = 2147483647;

enum Escape {
    kEscapeColorMode = 1,
    kEscapeXResolution = 11,
    kEscapeYResolution = 12,
    kEscapeWidth = 13,
    kEscapeHeight = 14
};
// Escapes count colour modes from 101, profiles from 103.
constexpr int32_t kColorModeOffset = 101 - COLOR_MODE_AS_GIVEN;

constexpr SettingWord kColorModes[] = {
    {COLOR_MODE_AS_GIVEN, "as-given", "colours as given"},
    {COLOR_MODE_INVERTED, "inverted", "all colours inverted"},
    {COLOR_MODE_GREYS_INVERTED, "greys-inverted", "greys inverted"},
    {COLOR_MODE_GREY, "grey", "grey"},
    {COLOR_MODE_GREY_INVERTED, "grey-inverted", "grey, inverted"},
};
constexpr SettingWord kColorFormats[] = {
    {COLOR_FORMAT_1BIT, "1", "1 bit, two colours"},
    {COLOR_FORMAT_4BIT, "4", "4 bits, 16 colours"},
    {COLOR_FORMAT_8BIT, "8", "8 bits, 256 colours"},
    {COLOR_FORMAT_24BIT, "24", "24 bits, true colour"},
};
constexpr SettingWord kCompressions[] = {
    {COMPRESSION_NONE, "none", "raw rows"},
    {COMPRESSION_RLE, "native", "run-length encoded at 4 and 8 bits"},
};
constexpr SettingWord kFileTypes[] = {
    {FILE_TYPE_WINDOWS, "windows", "Windows flavour"},
    {FILE_TYPE_OS2, "os2", "OS/2 flavour"},
};
constexpr SettingWord kResolutionModes[] = {
    {RESOLUTION_OF_DISPLAY, "display", "of the display"},
    {RESOLUTION_OF_PRINTER, "printer", "of the printer"},
    {RESOLUTION_OF_CALLER, "caller", "given by the caller"},
    {RESOLUTION_FIXED, "fixed", "X and Y Resolution"},
};
constexpr SettingWord kSizeModes[] = {
    {SIZE_OF_DISPLAY, "display", "of the display"},
    {SIZE_OF_PRINTER, "printer", "of the printer"},
    {SIZE_GIVEN, "given", "Width and Height, or the caller's"},
};

constexpr SettingKind kCode = SettingKind::Code;
constexpr SettingKind kWhole = SettingKind::Whole;
constexpr SettingKind kInches = SettingKind::Inches;
using Record = const SetupRecord&;

constexpr SettingKey kKeys[] = {
    {"Driver",
     "",
     SettingKind::Text,
     {},
     0,
     0,
     0,
     0,
     "TIVAR.1",
     "The mark of a mode: without this key nothing else is read",
     nullptr},
    {"Color Mode", "colors", kCode, kColorModes, 0, 0, kEscapeColorMode, kColorModeOffset, "103",
     "What the raster driver makes of colours", [](Record r) -> double { return r.colorMode; }},
    {"Color Format", "bits", kCode, kColorFormats, 0, 0, 0, 0, "221", "Bits per pixel",
     [](Record r) -> double { return r.colorFormat; }},
    {"Compression Mode", "compress", kCode, kCompressions, 0, 0, 0, 0, "310", "How rows are stored",
     [](Record r) -> double { return r.compressionMode; }},
    {"File Type", "header", kCode, kFileTypes, 0, 0, 0, 0, "331", "Flavour of the header",
     [](Record r) -> double { return r.fileType; }},
    {"Line Mode",
     "",
     kWhole,
     {},
     0,
     kLargestWhole,
     0,
     0,
     "119",
     "Kept for the host, used by nothing",
     [](Record r) -> double { return r.lineMode; }},
    {"Resolution Mode", "", kCode, kResolutionModes, 0, 0, 0, 0, "310",
     "Where the resolution comes from", [](Record r) -> double { return r.resolutionMode; }},
    {"X Resolution",
     "",
     kWhole,
     {},
     kLowestResolution,
     kHighestResolution,
     kEscapeXResolution,
     0,
     "96",
     "Pixels per inch across",
     [](Record r) -> double { return r.xResolution; }},
    {"Y Resolution",
     "",
     kWhole,
     {},
     kLowestResolution,
     kHighestResolution,
     kEscapeYResolution,
     0,
     "96",
     "Pixels per inch down",
     [](Record r) -> double { return r.yResolution; }},
    {"Size Mode", "", kCode, kSizeModes, 0, 0, 0, 0, "602", "Where the page's size comes from",
     [](Record r) -> double { return r.sizeMode; }},
    {"Width",
     "",
     kInches,
     {},
     kSmallestInches,
     kLargestInches,
     kEscapeWidth,
     0,
     "6.67",
     "Width of the page in inches",
     [](Record r) -> double { return r.pictureWidth; }},
    {"Height",
     "",
     kInches,
     {},
     kSmallestInches,
     kLargestInches,
     kEscapeHeight,
     0,
     "5",
     "Height of the page in inches",
     [](Record r) -> double { return r.pictureHeight; }},
};

char folded(char c) {
    if (c == '-' || c == '_') return ' ';
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

}  // namespace

std::span<const SettingKey> settingKeys() {
    return kKeys;
}

bool equalBlind(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return folded(x) == folded(y); });
}

const SettingKey* findSetting(std::string_view name) {
    const auto* found = std::find_if(std::begin(kKeys), std::end(kKeys), [&](const SettingKey& k) {
        return equalBlind(name, k.name) || (*k.alias != '\0' && equalBlind(name, k.alias));
    });
    return found == std::end(kKeys) ? nullptr : found;
}

std::string rangeOf(const SettingKey& key) {
    if (key.kind != SettingKind::Code) {
        return formatNumber(key.lowest) + " to " + formatNumber(key.highest);
    }
    std::string range;
    for (const SettingWord& word : key.words) {
        range += (range.empty() ? "" : ", ") + std::string(word.word) + " (" +
                 std::to_string(word.code) + ")";
    }
    return range;
}

bool parseSetting(const SettingKey& key, const std::string& text, double& value) {
    for (const SettingWord& word : key.words) {
        if (!equalBlind(text, word.word) && text != std::to_string(word.code)) continue;
        value = word.code;
        return true;
    }
    if (key.kind == SettingKind::Code) return false;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    value += 0.0;  // "-0" is 0
    const bool number = error == std::errc() && end == text.data() + text.size();
    const bool fits = key.kind == SettingKind::Inches || value == std::trunc(value);
    return number && fits && value >= key.lowest && value <= key.highest;
}

const char* meaningOf(const SettingKey& key, double value) {
    for (const SettingWord& word : key.words) {
        if (word.code == value) return word.meaning;
    }
    if (key.kind == SettingKind::Code) return "unknown code";
    if (key.kind == SettingKind::Inches) return "inches";
    return key.escape == 0 ? "" : "pixels per inch";
}

std::string formatNumber(double value) {
    std::array<char, 400> text;
    const auto [end, error] =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
    return error == std::errc() ? std::string(text.data(), end) : std::string();
}

}  // namespace tool
