#include "model/plain_bmp.h"

#include <algorithm>
#include <limits>

namespace model {
namespace {

constexpr std::uint32_t kFileHeader = 14;
constexpr std::uint32_t kSrgb = 0x73524742;

// The first complaint stays; numbers behind it read as 0.
struct Reader {
    const Bytes& file;
    std::size_t position = 0;
    std::string complaint;

    bool isRight() const { return complaint.empty(); }
    void complain(const std::string& what) {
        if (isRight()) complaint = what + " before byte " + std::to_string(position);
    }
    void demand(bool holds, const char* what) {
        if (!holds) complain(what);
    }
    std::uint32_t number(int bytes) {
        if (position + static_cast<std::size_t>(bytes) > file.size()) {
            complain("the file ends");
            return 0;
        }
        std::uint32_t value = 0;
        for (int i = 0; i < bytes; ++i) value |= std::uint32_t{file[position++]} << 8 * i;
        return value;
    }
    void expect(int bytes, std::uint32_t value, const char* what) {
        const std::uint32_t found = number(bytes);
        if (found != value)
            complain(std::string(what) + " is " + std::to_string(found) + ", not " +
                     std::to_string(value));
    }
};

std::uint32_t paletteSizeOf(std::uint32_t bits) {
    return bits <= 8 ? 1u << bits : 0;
}

bool isOneOf(std::uint32_t value, std::initializer_list<std::uint32_t> allowed) {
    return std::find(allowed.begin(), allowed.end(), value) != allowed.end();
}

std::size_t storedRowBytes(const BmpFile& bmp) {
    return (std::size_t{bmp.width} * bmp.bits + 31) / 32 * 4;
}

// ---- Headers -----------------------------------------------------------------------------------

struct Counts {
    std::uint32_t imageSize;
    std::uint32_t used;
    std::uint32_t important;
};

void readOs2(Reader& reader, BmpFile& bmp) {
    bmp.width = reader.number(2);
    bmp.height = reader.number(2);
    reader.expect(2, 1, "the planes");
    bmp.bits = reader.number(2);
    reader.demand(isOneOf(bmp.bits, {1, 4, 8, 24}), "a depth that the OS/2 header cannot have");
}

Counts readWindows(Reader& reader, BmpFile& bmp) {
    bmp.width = reader.number(4);
    const std::uint32_t height = reader.number(4);
    bmp.isTopDown = height > 0x80000000u;
    bmp.height = bmp.isTopDown ? 0u - height : height;
    reader.expect(2, 1, "the planes");
    bmp.bits = reader.number(2);
    reader.demand(isOneOf(bmp.bits, {1, 4, 8, 16, 24, 32}), "an unknown depth");
    bmp.compression = reader.number(4);
    Counts counts = {};
    counts.imageSize = reader.number(4);
    bmp.xPerMeter = static_cast<std::int32_t>(reader.number(4));
    bmp.yPerMeter = static_cast<std::int32_t>(reader.number(4));
    counts.used = reader.number(4);
    counts.important = reader.number(4);
    reader.demand(counts.important == 0 || counts.important == counts.used,
                  "important colours that are not those in use");
    return counts;
}

void checkMasks(Reader& reader, const BmpFile& bmp) {
    std::uint32_t seen = 0;
    for (const std::uint32_t mask : bmp.masks) {
        reader.demand((seen & mask) == 0, "masks overlap");
        seen |= mask;
    }
    const bool hasMasks = bmp.compression == kMasks;
    for (int i = 0; i < 3; ++i)
        reader.demand((bmp.masks[i] != 0) == hasMasks, "a mask too few or too many");
    reader.demand(bmp.bits == 32 || seen <= 0xFFFF, "masks beyond the pixel");
}

void readMasks(Reader& reader, BmpFile& bmp) {
    if (bmp.compression == kMasks || bmp.headerSize == 108) {
        const int count = bmp.headerSize == 108 ? 4 : 3;
        for (int i = 0; i < count; ++i) bmp.masks[i] = reader.number(4);
    }
    checkMasks(reader, bmp);
    if (bmp.headerSize != 108) return;
    reader.expect(4, kSrgb, "the colour space");
    for (int i = 0; i < 12; ++i) reader.expect(4, 0, "end points and gamma, which sRGB has not");
}

void checkCompression(Reader& reader, const BmpFile& bmp) {
    switch (bmp.compression) {
        case kRaw:
            return;
        case kRle8:
            reader.demand(bmp.bits == 8 && !bmp.isTopDown, "RLE8 of another depth or upside down");
            return;
        case kRle4:
            reader.demand(bmp.bits == 4 && !bmp.isTopDown, "RLE4 of another depth or upside down");
            return;
        case kMasks:
            reader.demand(bmp.bits == 16 || bmp.bits == 32, "masks at another depth");
            return;
        default:
            reader.complain("an unknown compression");
    }
}

void readPalette(Reader& reader, BmpFile& bmp, std::uint32_t entries) {
    for (std::uint32_t i = 0; i < entries && reader.isRight(); ++i) {
        const std::uint32_t color = reader.number(3);
        for (const int shift : {16, 8, 0})
            bmp.palette.push_back(static_cast<std::uint8_t>(color >> shift));
        if (bmp.headerSize != 12) reader.expect(1, 0, "the fourth byte of a palette entry");
    }
}

// ---- Pixels ------------------------------------------------------------------------------------

void checkValue(Reader& reader, const BmpFile& bmp, std::uint32_t value) {
    if (bmp.bits <= 8) reader.demand(value * 3 < bmp.palette.size(), "an index beyond the palette");
    if (bmp.compression == kMasks)
        reader.demand((value & ~(bmp.masks[0] | bmp.masks[1] | bmp.masks[2] | bmp.masks[3])) == 0,
                      "bits beside the masks");
}

std::uint32_t& place(BmpFile& bmp, std::uint32_t x, std::uint32_t storedRow) {
    const std::uint32_t y = bmp.isTopDown ? storedRow : bmp.height - 1 - storedRow;
    return bmp.values[std::size_t{y} * bmp.width + x];
}

void readRawRow(Reader& reader, BmpFile& bmp, std::uint32_t row) {
    const std::size_t end = reader.position + storedRowBytes(bmp);
    const std::uint32_t perByte = bmp.bits < 8 ? 8 / bmp.bits : 1;
    std::uint32_t byte = 0;
    for (std::uint32_t x = 0; x < bmp.width && reader.isRight(); ++x) {
        std::uint32_t value = 0;
        if (bmp.bits < 8) {
            if (x % perByte == 0) byte = reader.number(1);
            value = byte >> (8 - bmp.bits) & ((1u << bmp.bits) - 1);
            byte = byte << bmp.bits & 0xFF;
        } else {
            value = reader.number(static_cast<int>(bmp.bits) / 8);
        }
        checkValue(reader, bmp, value);
        place(bmp, x, row) = value;
    }
    reader.demand(byte == 0 || bmp.bits >= 8, "bits behind the last pixel");
    while (reader.position < end && reader.isRight()) reader.expect(1, 0, "padding");
}

void readRun(Reader& reader, BmpFile& bmp, std::uint32_t row, std::uint32_t& x,
             std::uint32_t count) {
    const std::uint32_t byte = reader.number(1);
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t value = bmp.bits == 8 ? byte : i % 2 == 0 ? byte >> 4 : byte & 15;
        checkValue(reader, bmp, value);
        place(bmp, x++, row) = value;
    }
}

void readLiterals(Reader& reader, BmpFile& bmp, std::uint32_t row, std::uint32_t& x,
                  std::uint32_t count) {
    const std::size_t start = reader.position;
    std::uint32_t byte = 0;
    for (std::uint32_t i = 0; i < count && reader.isRight(); ++i) {
        std::uint32_t value = 0;
        if (bmp.bits == 8) {
            value = reader.number(1);
        } else {
            if (i % 2 == 0) byte = reader.number(1);
            value = i % 2 == 0 ? byte >> 4 : byte & 15;
        }
        checkValue(reader, bmp, value);
        place(bmp, x++, row) = value;
    }
    if (bmp.bits == 4 && count % 2 == 1)
        reader.demand((byte & 15) == 0, "half a byte behind the last literal");
    if ((reader.position - start) % 2 == 1) reader.expect(1, 0, "the padding of literals");
}

void readEncoded(Reader& reader, BmpFile& bmp) {
    for (std::uint32_t row = 0; row < bmp.height; ++row) {
        std::uint32_t x = 0;
        while (reader.isRight()) {
            const std::uint32_t count = reader.number(1);
            if (count > 0) {
                reader.demand(count <= bmp.width - x, "a run passes the row's end");
                if (reader.isRight()) readRun(reader, bmp, row, x, count);
                continue;
            }
            const std::uint32_t code = reader.number(1);
            if (code == 0 || code == 1) {
                reader.demand(x == bmp.width, "a row ends early");
                reader.demand(code == 0 || row + 1 == bmp.height, "the bitmap ends early");
                if (code == 1) return;
                break;
            }
            reader.demand(code != 2, "a delta");
            reader.demand(code <= bmp.width - x, "literals pass the row's end");
            if (reader.isRight()) readLiterals(reader, bmp, row, x, code);
        }
    }
    reader.expect(2, 0x0100, "the end of the bitmap");
}

void readPixels(Reader& reader, BmpFile& bmp) {
    const std::uint64_t count = std::uint64_t{bmp.width} * bmp.height;
    reader.demand(count > 0, "no pixels");
    // A pixel takes at least a 128th of a byte.
    reader.demand(count / 512 <= reader.file.size(), "more pixels than the file can hold");
    if (!reader.isRight()) return;
    bmp.values.resize(static_cast<std::size_t>(count));
    if (bmp.compression == kRle8 || bmp.compression == kRle4) {
        readEncoded(reader, bmp);
    } else {
        for (std::uint32_t row = 0; row < bmp.height && reader.isRight(); ++row)
            readRawRow(reader, bmp, row);
    }
}

std::uint32_t entriesOf(Reader& reader, const BmpFile& bmp, const Counts& counts,
                        std::uint32_t offset) {
    const std::uint32_t most = paletteSizeOf(bmp.bits);
    if (bmp.headerSize != 12) {
        reader.demand(counts.used <= most, "more colours than the depth has");
        return counts.used == 0 ? most : counts.used;
    }
    // The header has no place for the number: readers take what lies before the pixels.
    const std::uint32_t room =
        offset - std::min<std::uint32_t>(offset, static_cast<std::uint32_t>(reader.position));
    reader.demand(room % 3 == 0 && room / 3 <= most, "a palette that ends inside an entry");
    return room / 3;
}

std::uint32_t scaleUp(std::uint32_t value, std::uint32_t mask) {
    if (mask == 0) return 255;
    std::uint32_t most = mask;
    while ((most & 1) == 0) {
        most >>= 1;
        mask >>= 1;
        value >>= 1;
    }
    return ((value & mask) * 255 * 2 + most) / (most * 2);
}

}  // namespace

std::string readBmp(const Bytes& file, BmpFile& bmp) {
    bmp = {};
    Reader reader{file, 0, {}};
    reader.expect(2, 0x4D42, "the type");
    reader.expect(4, static_cast<std::uint32_t>(file.size()), "the length of the file");
    reader.expect(4, 0, "the reserved fields");
    const std::uint32_t offset = reader.number(4);
    bmp.headerSize = reader.number(4);
    Counts counts = {};
    switch (bmp.headerSize) {
        case 12:
            readOs2(reader, bmp);
            break;
        case 40:
        case 108:
            counts = readWindows(reader, bmp);
            readMasks(reader, bmp);
            checkCompression(reader, bmp);
            break;
        default:
            reader.complain("a header of unknown size");
    }
    if (!reader.isRight()) return reader.complaint;
    reader.demand(reader.position == kFileHeader + bmp.headerSize ||
                      (bmp.headerSize == 40 && bmp.compression == kMasks),
                  "the header's own length");
    readPalette(reader, bmp, entriesOf(reader, bmp, counts, offset));
    reader.demand(reader.position == offset, "pixels do not follow the palette");
    readPixels(reader, bmp);
    bmp.rowsLength = reader.position - offset;
    reader.demand(reader.position == file.size(), "bytes behind the pixels");
    const bool mayBeZero = bmp.headerSize == 12;
    reader.demand(counts.imageSize == (mayBeZero ? 0 : bmp.rowsLength), "the image size");
    return reader.complaint;
}

std::uint32_t valueAt(const BmpFile& file, std::uint32_t x, std::uint32_t y) {
    return file.values[std::size_t{y} * file.width + x];
}

Rgba entryOf(const Bytes& palette, std::uint32_t index) {
    const std::size_t at = std::size_t{index} * 3;
    if (at + 3 > palette.size()) return {0, 0, 0, 255};
    return {palette[at], palette[at + 1], palette[at + 2], 255};
}

Rgba colorAt(const BmpFile& file, std::uint32_t x, std::uint32_t y) {
    const std::uint32_t value = valueAt(file, x, y);
    if (file.bits <= 8) return entryOf(file.palette, value);
    std::uint32_t masks[4] = {0xFF0000, 0xFF00, 0xFF, 0};
    if (file.bits == 16) {
        masks[0] = 0x7C00;
        masks[1] = 0x3E0;
        masks[2] = 0x1F;
    }
    if (file.compression == kMasks) std::copy(file.masks, file.masks + 4, masks);
    std::uint8_t channels[4];
    for (int i = 0; i < 4; ++i)
        channels[i] = static_cast<std::uint8_t>(scaleUp(value & masks[i], masks[i]));
    return {channels[0], channels[1], channels[2], channels[3]};
}

// ---- Pictures ----------------------------------------------------------------------------------

int bitsOfFormat(std::int32_t format) {
    switch (format) {
        case TIVAR_RGB:
        case TIVAR_BGR:
            return 24;
        case TIVAR_RGBA:
        case TIVAR_BGRA:
            return 32;
        case TIVAR_INDEX1:
            return 1;
        case TIVAR_INDEX4:
            return 4;
        default:
            return 8;
    }
}

bool isIndexed(std::int32_t format) {
    return format == TIVAR_INDEX1 || format == TIVAR_INDEX4 || format == TIVAR_INDEX8;
}

bool hasAlpha(std::int32_t format) {
    return format == TIVAR_RGBA || format == TIVAR_BGRA;
}

std::size_t rowBytes(std::int32_t format, std::uint32_t width) {
    return (std::size_t{width} * static_cast<std::size_t>(bitsOfFormat(format)) + 7) / 8;
}

std::uint32_t indexAt(const Drawn& picture, std::uint32_t x, std::uint32_t y) {
    const auto bits = static_cast<std::uint32_t>(bitsOfFormat(picture.format));
    const std::uint32_t perByte = 8 / bits;
    const std::uint32_t byte =
        picture.rows[y * rowBytes(picture.format, picture.width) + x / perByte];
    return byte >> (8 - bits * (x % perByte + 1)) & ((1u << bits) - 1);
}

Rgba colorAt(const Drawn& picture, std::uint32_t x, std::uint32_t y) {
    if (isIndexed(picture.format)) return entryOf(picture.palette, indexAt(picture, x, y));
    const std::size_t bytes = static_cast<std::size_t>(bitsOfFormat(picture.format)) / 8;
    const std::uint8_t* at = &picture.rows[y * rowBytes(picture.format, picture.width) + x * bytes];
    switch (picture.format) {
        case TIVAR_RGB:
            return {at[0], at[1], at[2], 255};
        case TIVAR_BGR:
            return {at[2], at[1], at[0], 255};
        case TIVAR_RGBA:
            return {at[0], at[1], at[2], at[3]};
        case TIVAR_BGRA:
            return {at[2], at[1], at[0], at[3]};
        default:
            return {at[0], at[0], at[0], 255};
    }
}

// ---- What a file is to be ----------------------------------------------------------------------

int bitsOfFile(const Drawn& picture, const TivarOptions& options) {
    return options.bits != 0 ? options.bits : bitsOfFormat(picture.format);
}

Rgba laidOver(Rgba color, const std::uint8_t background[3]) {
    const auto mix = [&](std::uint32_t over, std::uint32_t under) {
        const std::uint32_t sum = over * color.alpha + under * (255u - color.alpha);
        // sum / 255 is never halfway: 2 * sum is even and 255 times an odd number is not.
        return static_cast<std::uint8_t>((2 * sum + 255) / 510);
    };
    return {mix(color.red, background[0]), mix(color.green, background[1]),
            mix(color.blue, background[2]), 255};
}

Rgba wantedColor(const Drawn& picture, const TivarOptions& options, std::uint32_t x,
                 std::uint32_t y) {
    constexpr std::uint8_t white[3] = {255, 255, 255};
    const Rgba color = colorAt(picture, x, y);
    if (!hasAlpha(picture.format)) return color;
    switch (options.alpha) {
        case TIVAR_ALPHA_OVER:
            return laidOver(color, options.background);
        case TIVAR_ALPHA_DROP:
            return {color.red, color.green, color.blue, 255};
        default:
            return bitsOfFile(picture, options) == 32 ? color : laidOver(color, white);
    }
}

std::uint32_t nearestLevel(std::uint32_t value, std::uint32_t most) {
    return (2 * value * most + 255) / 510;
}

std::uint32_t wanted16(Rgba color, std::int32_t masks) {
    const bool is555 = masks == TIVAR_MASKS_555;
    const std::uint32_t red = nearestLevel(color.red, 31);
    const std::uint32_t green = nearestLevel(color.green, is555 ? 31 : 63);
    const std::uint32_t blue = nearestLevel(color.blue, 31);
    return red << (is555 ? 10 : 11) | green << 5 | blue;
}

Bytes greys(std::uint32_t count) {
    Bytes palette;
    for (std::uint32_t i = 0; i < count; ++i) {
        const auto level = static_cast<std::uint8_t>((2 * 255 * i + count - 1) / (2 * (count - 1)));
        palette.insert(palette.end(), 3, level);
    }
    return palette;
}

std::uint32_t distance(Rgba a, Rgba b) {
    const auto square = [](int one, int other) {
        return static_cast<std::uint32_t>((one - other) * (one - other));
    };
    return square(a.red, b.red) + square(a.green, b.green) + square(a.blue, b.blue);
}

std::uint32_t nearestDistance(const Bytes& palette, Rgba color) {
    std::uint32_t least = std::numeric_limits<std::uint32_t>::max();
    for (std::uint32_t i = 0; i * 3 < palette.size(); ++i)
        least = std::min(least, distance(entryOf(palette, i), color));
    return least;
}

std::string compareExactly(const BmpFile& file, const Drawn& picture, const TivarOptions& options) {
    if (file.width != picture.width || file.height != picture.height) return "the size";
    if (file.bits != static_cast<std::uint32_t>(bitsOfFile(picture, options))) return "the depth";
    for (std::uint32_t y = 0; y < picture.height; ++y) {
        for (std::uint32_t x = 0; x < picture.width; ++x) {
            const Rgba wanted = wantedColor(picture, options, x, y);
            const bool isRight = file.bits == 16
                                     ? valueAt(file, x, y) == wanted16(wanted, options.masks)
                                     : colorAt(file, x, y) == wanted;
            if (!isRight)
                return "the pixel at " + std::to_string(x) + ", " + std::to_string(y) + ": " +
                       std::to_string(valueAt(file, x, y));
        }
    }
    return {};
}

// ---- Run lengths -------------------------------------------------------------------------------

std::size_t smallestRow(const std::vector<std::uint32_t>& row, std::uint32_t bits,
                        bool evenLiterals) {
    constexpr std::size_t kLongest = 255;
    // The least bytes for the first n pixels.
    std::vector<std::size_t> least(row.size() + 1, std::numeric_limits<std::size_t>::max() / 2);
    least[0] = 0;
    for (std::size_t start = 0; start < row.size(); ++start) {
        const std::size_t period = bits == 4 ? 2 : 1;
        const std::size_t most = std::min(kLongest, row.size() - start);
        for (std::size_t n = 1; n <= most; ++n) {
            if (n > period && row[start + n - 1] != row[start + n - 1 - period]) break;
            least[start + n] = std::min(least[start + n], least[start] + 2);
        }
        for (std::size_t n = 3; n <= most; ++n) {
            if (bits == 4 && evenLiterals && n % 2 == 1) continue;
            const std::size_t bytes = bits == 4 ? (n + 1) / 2 : n;
            least[start + n] = std::min(least[start + n], least[start] + 2 + bytes + bytes % 2);
        }
    }
    return least[row.size()];
}

}  // namespace model
