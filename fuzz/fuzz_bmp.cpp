// BMP files as the command-line host reads them: inspected, decoded as they are and as far as they
// go, taken as pictures and as references. Every way ends in pixels that agree with the others or
// in a failure that says what to do.
#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "bmp/bmp_rows.h"
#include "bmp/headers_like.h"
#include "bmp/inspection.h"
#include "bmp/little_endian.h"
#include "bmp/read_bmp.h"
#include "export/reference.h"
#include "harness/check.h"
#include "harness/target.h"
#include "process/failure.h"

namespace {

using fuzz::Bytes;
using fuzz::require;
using fuzz::requireEqual;
using fuzz::requireSame;

constexpr std::uint64_t kMostPixels = 1 << 10;

tool::ReadRequest reading(bool isLenient) {
    tool::ReadRequest request;
    request.limitPixels = kMostPixels;
    request.lenient = isLenient;
    return request;
}

// What make gives, or nothing where it fails as the program does.
template <class Make>
auto attempt(Make make) -> std::optional<decltype(make())> {
    try {
        return make();
    } catch (const tool::Failure& failure) {
        require(!failure.what.empty() && !failure.remedy.empty(), "a failure says what to do");
        return std::nullopt;
    }
}

// Every pixel as red, green and blue, top row first.
Bytes colorsOf(const tool::PixelRows& rows) {
    Bytes colors(std::size_t{rows.width} * rows.height * 3);
    Bytes packed;
    for (std::uint32_t y = 0; y < rows.height; ++y) {
        packed.assign(tool::packedBytes(rows), 0);
        tool::readColors(rows, y, packed, &colors[std::size_t{rows.width} * 3 * y]);
    }
    return colors;
}

Bytes colorsOf(const tool::Image& image) {
    Bytes colors(std::size_t{image.width} * image.height * 3);
    for (std::uint32_t y = 0; y < image.height; ++y) {
        tool::convertRow(image, tool::rowAt(image, y), tool::PixelFormat::Rgb,
                         &colors[std::size_t{image.width} * 3 * y]);
    }
    return colors;
}

bool isSmall(const tool::BmpFile& file) {
    return file.width <= static_cast<std::int64_t>(kMostPixels) && file.rows <= kMostPixels &&
           static_cast<std::uint64_t>(file.width) * file.rows <= kMostPixels;
}

void testDecoding(const tool::BmpFile& file, const tool::Inspection& inspection) {
    const auto strict = attempt([&] { return tool::rowsOf(file, reading(false)); });
    const auto lenient = attempt([&] { return tool::rowsOf(file, reading(true)); });
    const bool isSound = inspection.flaws.list.empty() && inspection.notDecoded.empty();
    if (isSound && isSmall(file) && !tool::holdsImage(file))
        require(strict.has_value(), "what is consistent is decoded");
    if (!lenient) {
        require(!strict, "what is decoded at all is decoded as far as it goes");
        return;
    }
    const Bytes seen = colorsOf(*lenient);
    if (strict) requireSame(colorsOf(*strict), seen, "sound files are the same either way");
    if (tool::holdsImage(file)) return;
    const auto image = attempt([&] { return tool::imageOf(file, reading(true)); });
    require(image.has_value(), "what is decoded can be exported");
    requireSame(colorsOf(*image), seen, "the same pixels");
}

// The start of a file of the library's with so many bytes of pixels.
Bytes ownHead(std::uint32_t width, std::uint32_t height, std::uint32_t pixelBytes) {
    Bytes own(54);
    own[0] = 'B';
    own[1] = 'M';
    tool::putLittle32(&own[2], 54 + pixelBytes);
    tool::putLittle32(&own[10], 54);
    tool::putLittle32(&own[14], 40);
    tool::putLittle32(&own[18], width);
    tool::putLittle32(&own[22], height);
    return own;
}

void requireLike(const tool::Reference& reference, const tool::BmpFile& made) {
    const tool::BmpFile& file = reference.file;
    requireEqual(made.headerBytes, file.headerBytes, "the header");
    requireEqual(made.bits, file.bits, "the depth");
    requireEqual(made.compression, file.compression, "the compression");
    requireEqual(made.pixelOffset, file.pixelOffset, "the place of the pixels");
    requireEqual(made.colorsUsed, file.colorsUsed, "the number of colours");
    requireEqual<std::int64_t>(made.width, 3, "the width");
    requireEqual<std::int64_t>(made.height, 5, "the height");
    requireEqual<std::uint64_t>(made.fileSize, made.bytes.size(), "the length");
    require(std::equal(made.palette.begin(), made.palette.end(), file.palette.begin(),
                       file.palette.end(),
                       [](tool::Color a, tool::Color b) {
                           return a.red == b.red && a.green == b.green && a.blue == b.blue;
                       }),
            "the palette");
}

void testReference(const Bytes& bytes) {
    const auto reference = attempt([&] { return tool::referenceFrom(bytes, "reference"); });
    if (!reference) return;
    tool::ExportRequest request;
    const auto followed = attempt([&] {
        tool::follow(*reference, request);
        return true;
    });
    if (!followed) return;
    const std::vector<std::uint8_t>& head = request.like.head;
    require(!head.empty(), "nothing is in the place of the reference's form");
    constexpr std::uint32_t kPixelBytes = 64;
    Bytes made = tool::headersLike(head, ownHead(3, 5, kPixelBytes));
    made.resize(made.size() + kPixelBytes);
    requireLike(*reference, tool::parseBmp(std::move(made)));
}

// In one form or the other: long palettes are long to print.
void print(const tool::Inspection& inspection, const Bytes& bytes) {
    if (inspection.file.palette.size() > 16 && bytes.back() % 8 != 0) return;
    if (bytes.size() % 2 == 0) {
        tool::printWhole(inspection);
    } else {
        tool::printJson(inspection);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes bytes(data, data + size);
    const auto inspection = attempt([&] { return tool::inspect(bytes, "input", reading(false)); });
    if (!inspection) return 0;
    print(*inspection, bytes);
    testDecoding(inspection->file, *inspection);
    testReference(bytes);
    return 0;
}
