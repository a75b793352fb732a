#include "bmp/bmp_rows.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

#include "bmp/bmp_check.h"
#include "bmp/fields.h"
#include "picture/color_profile.h"
#include "picture/readers.h"
#include "process/failure.h"
#include "process/memory_size.h"
#include "process/system.h"

namespace tool {
namespace {

// What readers of PNG accept as a side by default.
constexpr uint64_t kLongestSide = 1'000'000;

void checkSize(const BmpFile& file, const ReadRequest& request) {
    const auto width = static_cast<uint64_t>(file.width);
    const std::string claim =
        "claims " + std::to_string(width) + " x " + std::to_string(file.rows) + " pixels";
    if (width > kLongestSide || file.rows > kLongestSide) {
        fail(claim, "only sides up to 1000000 are decoded");
    }
    if (width * file.rows > request.limitPixels) {
        fail(claim + ", more than the limit of " + std::to_string(request.limitPixels),
             "raise it with --limit-pixels if you trust the file");
    }
}

// The notices of what a lenient request overlooks.
std::vector<Notice> checkDecodable(const BmpFile& file, const RunMap& map,
                                   const ReadRequest& request) {
    if (!map.notDecoded.empty()) {
        fail("is not decoded: " + map.notDecoded, "convert it with the program that made it");
    }
    if (file.rows != 0 && hasFields(file) && !fieldsOf(file).usable) {
        fail("has colour masks with gaps, over each other or beyond the pixel, at byte " +
                 std::to_string(kBmpMasks),
             "see tivar inspect, or get a complete copy of it");
    }
    std::vector<Notice> notices;
    for (const BmpFlaw& flaw : map.flaws.list) {
        if (!flaw.losesPixels) continue;
        const std::string what = flaw.what + ", at byte " + std::to_string(flaw.at);
        if (!request.lenient || file.rows == 0) {
            fail(what, "see tivar inspect, or get a complete copy of it");
        }
        if (notices.empty()) notices.push_back({what, "what is missing is left empty"});
    }
    checkSize(file, request);
    return notices;
}

void swapRedBlue(const uint8_t* from, uint8_t* to, size_t width) {
    for (size_t x = 0; x < width; ++x, from += 3, to += 3) {
        const uint8_t blue = from[0];
        to[0] = from[2];
        to[1] = from[1];
        to[2] = blue;
    }
}

struct RawRows {
    const BmpFile& file;
    Fields fields;
    std::vector<uint8_t> incomplete;  // room for a row that the file has only a part of
};

const uint8_t* rawRow(RawRows& rows, uint32_t y) {
    const auto pixels = pixelBytes(rows.file);
    const size_t length = inMemory(rows.file.rowBytes);
    const uint64_t begin = uint64_t{rowInFile(rows.file, y)} * length;
    const auto at = static_cast<size_t>(std::min<uint64_t>(begin, pixels.size()));
    if (pixels.size() - at >= length) return pixels.data() + at;
    rows.incomplete.assign(length, 0);
    std::copy(pixels.begin() + static_cast<ptrdiff_t>(at), pixels.end(), rows.incomplete.begin());
    return rows.incomplete.data();
}

void readRaw(RawRows& rows, uint32_t y, uint8_t* packed, size_t count) {
    const uint8_t* row = rawRow(rows, y);
    const auto width = static_cast<size_t>(rows.file.width);
    switch (rows.file.bits) {
        case 16:
        case 32:
            return readFields(rows.fields, rows.file.bits, row, packed, width);
        case 24:
            return swapRedBlue(row, packed, width);
        case 64:
            return readLinear(row, packed, width);
        default:
            std::copy_n(row, count, packed);
    }
}

struct RunRows {
    const BmpFile& file;
    RunShape shape;
    RunMap map;
    std::vector<uint8_t> pixels;
};

void readEncoded(RunRows& rows, uint32_t y, uint8_t* packed, size_t count) {
    uint8_t* pixels = rows.pixels.data();
    expandRow(pixelBytes(rows.file), rows.shape, rows.map, rowInFile(rows.file, y), pixels);
    if (rows.shape.bits == 24) return swapRedBlue(pixels, packed, count / 3);
    if (rows.shape.bits == 8) {
        std::copy_n(pixels, count, packed);
        return;
    }
    for (size_t i = 0; i < count; ++i) {
        packed[i] = static_cast<uint8_t>(pixels[2 * i] << 4 | pixels[2 * i + 1]);
    }
}

unsigned bitsOfRows(const BmpFile& file) {
    if (file.bits <= 8) return file.bits;
    return hasAlpha(file) ? 32 : 24;
}

void addReading(PixelRows& rows, const BmpFile& file, RunMap map) {
    const size_t count = packedBytes(rows);
    if (file.form == BmpForm::Raw) {
        auto raw = std::make_shared<RawRows>(RawRows{file, fieldsOf(file), {}});
        rows.read = [raw, count](uint32_t y, uint8_t* packed) { readRaw(*raw, y, packed, count); };
        return;
    }
    const RunShape shape = runShape(file, file.form);
    // One index more than the row has, which fills its last byte.
    const size_t room = inMemory((uint64_t{shape.rowPixels} + 1) * (shape.bits == 24 ? 3 : 1));
    auto encoded =
        std::make_shared<RunRows>(RunRows{file, shape, std::move(map), std::vector<uint8_t>(room)});
    rows.read = [encoded, count](uint32_t y, uint8_t* packed) {
        readEncoded(*encoded, y, packed, count);
    };
}

}  // namespace

bool holdsImage(const BmpFile& file) {
    return file.form == BmpForm::Jpeg || file.form == BmpForm::Png;
}

Image embeddedImage(const BmpFile& file, const ReadRequest& request) {
    const auto pixels = pixelBytes(file);
    if (pixels.empty()) fail("has no pixels", "get a complete copy of it");
    // Only read, although the function is also one for writing.
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast)
    const OpenFile stream(::fmemopen(const_cast<uint8_t*>(pixels.data()), pixels.size(), "rb"));
    if (stream == nullptr) failErrno("", errno);
    return file.form == BmpForm::Jpeg ? readJpeg(stream.get(), request)
                                      : readPng(stream.get(), request);
}

PixelRows rowsOf(const BmpFile& file, const ReadRequest& request) {
    if (holdsImage(file)) {
        Image image = embeddedImage(file, request);
        convertToSrgb(image, request);
        return rowsOf(std::make_shared<const Image>(std::move(image)));
    }
    RunMap map = mapPixels(file);
    PixelRows rows;
    rows.notices = checkDecodable(file, map, request);
    rows.width = static_cast<uint32_t>(file.width);
    rows.height = static_cast<uint32_t>(file.rows);
    rows.bits = bitsOfRows(file);
    rows.palette = file.palette;
    if (file.bits <= 8) rows.palette.resize(size_t{1} << file.bits, Color{0, 0, 0});
    addReading(rows, file, std::move(map));
    return rows;
}

}  // namespace tool
