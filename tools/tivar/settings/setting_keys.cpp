#include "settings/setting_keys.h"

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

using Record = const SetupRecord&;

constexpr SettingKey kKeys[] = {
    {.name = "Driver",
     .initial = "TIVAR.1",
     .about = "The mark of a mode: without this key nothing else is read"},
    {.name = "Color Mode",
     .alias = "colors",
     .kind = SettingKind::Code,
     .words = kColorModes,
     .escape = kEscapeColorMode,
     .escapeOffset = kColorModeOffset,
     .initial = "103",
     .about = "What the raster driver makes of colours",
     .value = [](Record record) -> double { return record.colorMode; }},
    {.name = "Color Format",
     .alias = "bits",
     .kind = SettingKind::Code,
     .words = kColorFormats,
     .initial = "221",
     .about = "Bits per pixel",
     .value = [](Record record) -> double { return record.colorFormat; }},
    {.name = "Compression Mode",
     .alias = "compress",
     .kind = SettingKind::Code,
     .words = kCompressions,
     .initial = "310",
     .about = "How rows are stored",
     .value = [](Record record) -> double { return record.compressionMode; }},
    {.name = "File Type",
     .alias = "header",
     .kind = SettingKind::Code,
     .words = kFileTypes,
     .initial = "331",
     .about = "Flavour of the header",
     .value = [](Record record) -> double { return record.fileType; }},
    {.name = "Line Mode",
     .kind = SettingKind::Whole,
     .highest = kLargestWhole,
     .initial = "119",
     .about = "Kept for the host, used by nothing",
     .value = [](Record record) -> double { return record.lineMode; }},
    {.name = "Resolution Mode",
     .kind = SettingKind::Code,
     .words = kResolutionModes,
     .initial = "310",
     .about = "Where the resolution comes from",
     .value = [](Record record) -> double { return record.resolutionMode; }},
    {.name = "X Resolution",
     .kind = SettingKind::Whole,
     .lowest = kLowestResolution,
     .highest = kHighestResolution,
     .escape = kEscapeXResolution,
     .initial = "96",
     .about = "Pixels per inch across",
     .value = [](Record record) -> double { return record.xResolution; }},
    {.name = "Y Resolution",
     .kind = SettingKind::Whole,
     .lowest = kLowestResolution,
     .highest = kHighestResolution,
     .escape = kEscapeYResolution,
     .initial = "96",
     .about = "Pixels per inch down",
     .value = [](Record record) -> double { return record.yResolution; }},
    {.name = "Size Mode",
     .kind = SettingKind::Code,
     .words = kSizeModes,
     .initial = "602",
     .about = "Where the page's size comes from",
     .value = [](Record record) -> double { return record.sizeMode; }},
    {.name = "Width",
     .kind = SettingKind::Inches,
     .lowest = kSmallestInches,
     .highest = kLargestInches,
     .escape = kEscapeWidth,
     .initial = "6.67",
     .about = "Width of the page in inches",
     .value = [](Record record) -> double { return record.pictureWidth; }},
    {.name = "Height",
     .kind = SettingKind::Inches,
     .lowest = kSmallestInches,
     .highest = kLargestInches,
     .escape = kEscapeHeight,
     .initial = "5",
     .about = "Height of the page in inches",
     .value = [](Record record) -> double { return record.pictureHeight; }},
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
