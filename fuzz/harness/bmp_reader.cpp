#include "harness/bmp_reader.h"

#include "harness/check.h"

namespace fuzz {
namespace {

constexpr std::uint32_t kWindowsHeader = 40;
constexpr std::uint32_t kOs2Header = 12;
constexpr std::size_t kImageSizeField = 34;

struct Reader {
    const Bytes& file;
    std::size_t position = 0;

    std::uint32_t number(int bytes) {
        std::uint32_t value = 0;
        require(position + static_cast<std::size_t>(bytes) <= file.size(), "the file is whole");
        for (int i = 0; i < bytes; ++i) value |= std::uint32_t{file[position++]} << 8 * i;
        return value;
    }
    void expect(int bytes, std::uint32_t value, const char* what) {
        requireEqual(number(bytes), value, what);
    }
};

std::size_t rowBytesOf(const BmpFile& bmp) {
    return (std::size_t{bmp.width} * bmp.bits + 31) / 32 * 4;
}

void readPalette(Reader& reader, BmpFile& bmp) {
    const std::uint32_t entries = bmp.bits <= 8 ? 1u << bmp.bits : 0;
    for (std::uint32_t i = 0; i < entries; ++i) {
        const std::uint32_t color = reader.number(3);
        for (const int shift : {16, 8, 0})
            bmp.palette.push_back(static_cast<std::uint8_t>(color >> shift));
        if (!bmp.isOs2) reader.expect(1, 0, "the fourth byte of a palette entry");
    }
}

// Pairs of a count and a value; a row ends with the pair that completes it.
void decodeRow(Reader& reader, BmpFile& bmp) {
    const std::size_t rowBytes = rowBytesOf(bmp);
    const std::uint32_t pixelsPerByte = bmp.bits == 4 ? 2 : 1;
    const std::uint32_t longest = bmp.bits == 4 ? 252 : 254;
    std::size_t decoded = 0;
    while (decoded < rowBytes) {
        const std::uint32_t count = reader.number(1);
        const auto value = static_cast<std::uint8_t>(reader.number(1));
        require(count > 0, "no pair is an escape");
        require(count <= longest && count % pixelsPerByte == 0, "a run is of whole bytes");
        decoded += count / pixelsPerByte;
        bmp.rows.insert(bmp.rows.end(), count / pixelsPerByte, value);
    }
    require(decoded == rowBytes, "runs fill their row exactly");
}

}  // namespace

BmpFile readBmp(const Bytes& file, bool wantsEncoded) {
    Reader reader{file};
    BmpFile bmp = {};
    reader.expect(2, 0x4D42, "the type");
    const std::uint32_t fileSize = reader.number(4);
    reader.expect(4, 0, "the reserved fields");
    const std::uint32_t pixelOffset = reader.number(4);
    const std::uint32_t header = reader.number(4);
    require(header == kWindowsHeader || header == kOs2Header, "the header is of a known kind");
    bmp.isOs2 = header == kOs2Header;
    bmp.width = reader.number(bmp.isOs2 ? 2 : 4);
    bmp.height = reader.number(bmp.isOs2 ? 2 : 4);
    reader.expect(2, 1, "the planes");
    bmp.bits = reader.number(2);
    require(bmp.bits == 1 || bmp.bits == 4 || bmp.bits == 8 || bmp.bits == 24, "the depth");
    require(bmp.height % 2 == 0, "the height is even");
    bmp.isEncoded = wantsEncoded && (bmp.bits == 4 || bmp.bits == 8);
    const std::uint32_t encoding = bmp.bits == 8 ? 1 : 2;
    if (!bmp.isOs2) {
        reader.expect(4, bmp.isEncoded ? encoding : 0, "the compression");
        const std::uint32_t imageSize = reader.number(4);
        requireEqual<std::size_t>(imageSize, bmp.isEncoded ? file.size() - pixelOffset : 0,
                                  "the image size");
        for (int i = 0; i < 4; ++i) reader.expect(4, 0, "resolutions and colours used");
    }
    readPalette(reader, bmp);
    requireEqual<std::size_t>(pixelOffset, reader.position, "pixels follow the palette");
    requireEqual<std::size_t>(fileSize, pixelOffset + rowBytesOf(bmp) * bmp.height,
                              "the size of the file, as if it were raw");
    if (bmp.isEncoded) {
        for (std::uint32_t y = 0; y < bmp.height; ++y) decodeRow(reader, bmp);
        Reader field{file, kImageSizeField};
        field.expect(4, static_cast<std::uint32_t>(file.size() - pixelOffset),
                     "the size of the encoded rows");
    } else {
        bmp.rows.assign(file.begin() + static_cast<std::ptrdiff_t>(pixelOffset), file.end());
        reader.position = file.size();
    }
    requireEqual(bmp.rows.size(), rowBytesOf(bmp) * bmp.height, "every row is there");
    requireEqual(reader.position, file.size(), "the file ends with its rows");
    return bmp;
}

std::uint32_t indexAt(const BmpFile& file, std::uint32_t x, std::uint32_t y) {
    const std::size_t bit = std::size_t{x} * file.bits;
    const std::uint32_t byte = file.rows[y * rowBytesOf(file) + bit / 8];
    return byte >> (8 - file.bits - bit % 8) & ((1u << file.bits) - 1);
}

std::uint32_t colorAt(const BmpFile& file, std::uint32_t x, std::uint32_t y) {
    if (file.bits == 24) {
        const std::uint8_t* pixel = &file.rows[y * rowBytesOf(file) + std::size_t{x} * 3];
        return std::uint32_t{pixel[2]} << 16 | std::uint32_t{pixel[1]} << 8 | pixel[0];
    }
    const std::uint8_t* entry = &file.palette[std::size_t{indexAt(file, x, y)} * 3];
    return std::uint32_t{entry[0]} << 16 | std::uint32_t{entry[1]} << 8 | entry[2];
}

}  // namespace fuzz
