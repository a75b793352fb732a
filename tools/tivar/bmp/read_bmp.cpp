#include "bmp/read_bmp.h"

#include <algorithm>
#include <utility>

#include "bmp/bmp_rows.h"
#include "bmp/read_bytes.h"

namespace tool {
namespace {

PixelFormat formatOf(unsigned bits) {
    switch (bits) {
        case 1:
            return PixelFormat::Index1;
        case 2:
        case 4:
            return PixelFormat::Index4;
        case 8:
            return PixelFormat::Index8;
        case 24:
            return PixelFormat::Rgb;
        default:
            return PixelFormat::Rgba;
    }
}

// The profile that a header of 124 bytes names, as far as the file has it.
void takeProfile(const BmpFile& file, Image& image) {
    const size_t size = file.bytes.size();
    const size_t at = std::min(kBmpFileHeaderBytes + size_t{file.profileAt}, size);
    const size_t end = std::min(at + file.profileBytes, size);
    if (file.profileAt == 0) return;
    image.profile.assign(file.bytes.begin() + static_cast<ptrdiff_t>(at),
                         file.bytes.begin() + static_cast<ptrdiff_t>(end));
}

}  // namespace

Image readBmp(std::FILE* stream, const ReadRequest& request) {
    return imageOf(parseBmp(readBmpBytes(stream)), request);
}

Image imageOf(const BmpFile& file, const ReadRequest& request) {
    if (holdsImage(file)) return embeddedImage(file, request);
    PixelRows rows = rowsOf(file, request);
    Image image = newImage(request, formatOf(rows.bits), rows.width, rows.height);
    image.palette = file.palette;
    if (image.palette.empty() && isIndexed(image.format)) image.palette.push_back({0, 0, 0});
    image.notices = std::move(rows.notices);
    takeProfile(file, image);
    for (uint32_t y = 0; y < rows.height; ++y) {
        rows.read(y, rowAt(image, y));
        if (rows.bits == 2) widenTwoBits(rowAt(image, y), rows.width);
    }
    return image;
}

}  // namespace tool
