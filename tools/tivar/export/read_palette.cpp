#include "export/read_palette.h"

#include <charconv>
#include <filesystem>
#include <set>
#include <sstream>
#include <string_view>
#include <tuple>

#include "bmp/little_endian.h"
#include "export/read_picture.h"
#include "picture/color_words.h"
#include "process/failure.h"
#include "process/input_file.h"
#include "process/lower_case.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

constexpr size_t kMostColors = 256;
constexpr size_t kTableBytes = 768;      // of 256 entries
constexpr size_t kLongTableBytes = 772;  // with a count behind them
constexpr size_t kChunkAt = 12;          // the first one of a RIFF file
constexpr char kRemedy[] = "get another copy of it";

[[noreturn]] void failBroken(const std::string& what) {
    fail("is no palette: " + what, kRemedy);
}

unsigned bigEndian16(const std::string& bytes, size_t at) {
    return static_cast<uint8_t>(bytes[at]) * 256u + static_cast<uint8_t>(bytes[at + 1]);
}

Color colorAt(const std::string& bytes, size_t at) {
    return {static_cast<uint8_t>(bytes[at]), static_cast<uint8_t>(bytes[at + 1]),
            static_cast<uint8_t>(bytes[at + 2])};
}

// Entries of step bytes each, from at on.
std::vector<Color> entries(const std::string& bytes, size_t at, size_t step, size_t count) {
    if (at + step * count > bytes.size()) failBroken("its end is missing");
    std::vector<Color> colors;
    for (size_t i = 0; i < count; ++i) colors.push_back(colorAt(bytes, at + step * i));
    return colors;
}

// 256 entries; some programs tell behind them how many are meant.
std::vector<Color> readTable(const std::string& bytes) {
    const bool counted = bytes.size() == kLongTableBytes;
    if (!counted && bytes.size() != kTableBytes) failBroken("it has not 768 or 772 bytes");
    const unsigned count = counted ? bigEndian16(bytes, kTableBytes) : 0;
    return entries(bytes, 0, 3, count == 0 || count > kMostColors ? kMostColors : count);
}

// Chunks of a name, a length and that many bytes: the one named data has a version, a count and the
// entries.
std::vector<Color> readRiff(const std::string& bytes) {
    const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
    for (uint64_t at = kChunkAt; at + 12 <= bytes.size();) {
        if (std::string_view(bytes).substr(static_cast<size_t>(at), 4) == "data") {
            return entries(bytes, static_cast<size_t>(at) + 12, 4, little16(data + at + 10));
        }
        const uint64_t length = little32(data + at + 4);
        at += 8 + length + length % 2;
    }
    failBroken("it has no data");
}

// Three numbers up to 255 at the line's start.
bool readNumbers(const std::string& line, Color& color) {
    std::istringstream words(line);
    unsigned red = 0;
    unsigned green = 0;
    unsigned blue = 0;
    if (!(words >> red >> green >> blue) || red > 255 || green > 255 || blue > 255) return false;
    color = {static_cast<uint8_t>(red), static_cast<uint8_t>(green), static_cast<uint8_t>(blue)};
    return true;
}

bool readDigits(const std::string& line, Color& color) {
    const std::optional<Color> found = colorNamed(line);
    if (found) color = *found;
    return found.has_value();
}

std::string trimmed(const std::string& line) {
    constexpr char kBlanks[] = " \t\r";
    const size_t first = line.find_first_not_of(kBlanks);
    if (first == std::string::npos) return "";
    return line.substr(first, line.find_last_not_of(kBlanks) + 1 - first);
}

// A colour a line from the line after the first skipped ones; comments and headings are none.
std::vector<Color> readLines(const std::string& text, int skipped,
                             bool (*read)(const std::string& line, Color& color)) {
    std::vector<Color> colors;
    std::istringstream lines(text);
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
        line = trimmed(line);
        const bool heading = line.starts_with("Name:") || line.starts_with("Columns:") ||
                             line.starts_with("Channels:");
        if (number <= skipped || line.empty() || heading) continue;
        Color color;
        if (read(line, color)) {
            colors.push_back(color);
        } else if (line[0] != '#' && line[0] != ';') {
            failBroken("line " + std::to_string(number) + " is no colour");
        }
    }
    return colors;
}

// A picture's palette, or the colours that it has, in the order of reading.
std::vector<Color> readFromPicture(const std::string& name) {
    const Image image = readPicture(name, {});
    if (isIndexed(image.format)) return image.palette;
    std::vector<Color> colors;
    std::set<std::tuple<uint8_t, uint8_t, uint8_t>> seen;
    std::vector<uint8_t> row(size_t{image.width} * 3);
    for (size_t y = 0; y < image.height; ++y) {
        convertRow(image, rowAt(image, y), PixelFormat::Rgb, row.data());
        for (size_t at = 0; at < row.size(); at += 3) {
            if (!seen.emplace(row[at], row[at + 1], row[at + 2]).second) continue;
            colors.push_back({row[at], row[at + 1], row[at + 2]});
            if (colors.size() > kMostColors) return colors;
        }
    }
    return colors;
}

std::string contents(const std::string& name) {
    const std::vector<uint8_t> bytes = readAll(openInput(name).get());
    return {bytes.begin(), bytes.end()};
}

bool isPaletteSuffix(const std::string& suffix) {
    return suffix == ".act" || suffix == ".pal" || suffix == ".gpl" || suffix == ".hex";
}

std::vector<Color> parse(const std::string& bytes, const std::string& suffix) {
    if (suffix == ".act") return readTable(bytes);
    if (suffix == ".hex") return readLines(bytes, 0, readDigits);
    const bool chunks = bytes.size() > kChunkAt && bytes.starts_with("RIFF");
    if (chunks && bytes.substr(8, 4) == "PAL ") return readRiff(bytes);
    if (bytes.starts_with("JASC-PAL")) return readLines(bytes, 3, readNumbers);
    if (bytes.starts_with("GIMP Palette")) return readLines(bytes, 1, readNumbers);
    failBroken("it does not begin like one");
}

void requireCount(const std::vector<Color>& colors) {
    if (colors.empty()) failBroken("it has no colours");
    if (colors.size() > kMostColors) {
        fail("has more than 256 colours", "take a palette of 1 to 256");
    }
}

std::vector<Color> readFile(const std::string& name) {
    const std::string suffix = inLowerCase(fs::path(name).extension().string());
    if (isPaletteSuffix(suffix)) return paletteIn(contents(name), suffix);
    std::vector<Color> colors = readFromPicture(name);
    requireCount(colors);
    return colors;
}

// A name without a suffix is rather one of a known palette.
void requireFile(const std::string& name) {
    std::error_code error;
    if (name == "-" || fs::path(name).has_extension() || fs::exists(name, error)) return;
    std::string known;
    for (const std::string& one : paletteNames()) known += (known.empty() ? "" : ", ") + one;
    failUsage("--palette " + name + " is neither a file nor a known palette",
              "take one of " + known);
}

}  // namespace

std::vector<Color> paletteIn(const std::string& bytes, const std::string& suffix) {
    std::vector<Color> colors = parse(bytes, suffix);
    requireCount(colors);
    return colors;
}

std::vector<Color> readPalette(const std::string& name) {
    if (const std::optional<std::vector<Color>> known = paletteNamed(inLowerCase(name))) {
        return *known;
    }
    requireFile(name);
    try {
        return readFile(name);
    } catch (Failure& failure) {
        if (failure.file.empty()) failure.file = nameOfInput(name);
        throw;
    }
}

}  // namespace tool
