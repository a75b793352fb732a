// PNM: black and white, grey and colour, plain and raw.
#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "picture/decode_guard.h"
#include "picture/file_rows.h"
#include "picture/readers.h"
#include "process/failure.h"

namespace tool {
namespace {

struct Header {
    char kind{};
    uint32_t width{};
    uint32_t height{};
    uint32_t highest = 1;

    bool isPlain() const { return kind <= '3'; }
    bool isBitmap() const { return kind == '1' || kind == '4'; }
    unsigned samples() const { return kind == '3' || kind == '6' ? 3 : 1; }
};

[[noreturn]] void failBroken(const char* what) {
    fail(std::string("the PNM file ") + what, "get a complete copy of it");
}

// The next character that no comment hides; comments reach to the end of their line.
int nextCharacter(std::FILE* file) {
    int c = std::getc(file);
    if (c != '#') return c;
    while (c != '\n' && c != '\r' && c != EOF) c = std::getc(file);
    return c;
}

int skipBlanks(std::FILE* file) {
    int c = nextCharacter(file);
    while (c == ' ' || (c >= '\t' && c <= '\r')) c = nextCharacter(file);
    return c;
}

// A number and the one character behind it.
uint32_t nextNumber(std::FILE* file) {
    int c = skipBlanks(file);
    if (c < '0' || c > '9')
        failBroken(c == EOF ? "is cut short" : "has junk where a number is due");
    uint64_t value = 0;
    for (; c >= '0' && c <= '9'; c = nextCharacter(file)) {
        value = value * 10 + static_cast<unsigned>(c - '0');
        if (value > INT32_MAX) failBroken("has a number that is too large");
    }
    return static_cast<uint32_t>(value);
}

Header readHeader(std::FILE* file) {
    Header header;
    std::getc(file);
    header.kind = static_cast<char>(std::getc(file));
    header.width = nextNumber(file);
    header.height = nextNumber(file);
    if (!header.isBitmap()) header.highest = nextNumber(file);
    if (header.highest == 0 || header.highest > 65535) failBroken("has a maximum out of range");
    return header;
}

uint8_t scaled(uint32_t value, uint32_t highest) {
    return static_cast<uint8_t>((std::min(value, highest) * 255 + highest / 2) / highest);
}

void readPlainRow(std::FILE* file, const Header& header, uint8_t* to, size_t values) {
    for (size_t i = 0; i < values; ++i) {
        if (!header.isBitmap()) {
            to[i] = scaled(nextNumber(file), header.highest);
            continue;
        }
        // Digits need no blanks between them.
        const int digit = skipBlanks(file);
        if (digit != '0' && digit != '1') failBroken("has junk where a bit is due");
        if (digit == '1') to[i / 8] = static_cast<uint8_t>(to[i / 8] | 0x80 >> i % 8);
    }
}

bool readRawRow(std::FILE* file, const Header& header, std::vector<uint8_t>& raw, uint8_t* to,
                size_t values) {
    const size_t bytesOfValue = header.highest > 255 ? 2 : 1;
    raw.resize(header.isBitmap() ? (values + 7) / 8 : values * bytesOfValue);
    if (std::fread(raw.data(), 1, raw.size(), file) != raw.size()) return false;
    if (header.isBitmap() || header.highest == 255) {
        std::copy(raw.begin(), raw.end(), to);
        return true;
    }
    for (size_t i = 0; i < values; ++i) {
        const uint32_t value =
            bytesOfValue == 1 ? raw[i] : uint32_t{raw[2 * i]} << 8 | raw[2 * i + 1];
        to[i] = scaled(value, header.highest);
    }
    return true;
}

void readRows(std::FILE* file, const Header& header, const Image& picture) {
    const size_t values = size_t{header.width} * header.samples();
    std::vector<uint8_t> raw;
    for (uint32_t y = 0; y < picture.height; ++y) {
        if (header.isPlain()) {
            readPlainRow(file, header, rowAt(picture, y), values);
        } else if (!readRawRow(file, header, raw, rowAt(picture, y), values)) {
            failShort(y, picture.height);
        }
    }
}

PixelFormat formatOf(const Header& header) {
    if (header.isBitmap()) return PixelFormat::Index1;
    return header.samples() == 1 ? PixelFormat::Grey : PixelFormat::Rgb;
}

}  // namespace

// Pictures are read whole here.
std::optional<FileRows> pnmRows(const std::string&, const ReadRequest&) {
    return {};
}

Image readPnm(std::FILE* file, const ReadRequest& request) {
    const Header header = readHeader(file);
    Image picture = newImage(request, formatOf(header), header.width, header.height);
    // A set bit is black, so the table begins with white.
    if (header.isBitmap()) picture.palette = {{255, 255, 255}, {0, 0, 0}};
    tolerating(request, picture, [&] { readRows(file, header, picture); });
    return picture;
}

}  // namespace tool
