#include "picture/picture.h"

#include <cerrno>
#include <limits>

#include "picture/readers.h"
#include "process/failure.h"
#include "process/input_file.h"

namespace tool {
namespace {

struct FirstBytes {
    int first;
    int second;
};

FirstBytes peek(std::FILE* file) {
    const FirstBytes bytes{std::getc(file), std::getc(file)};
    if (std::ferror(file) != 0) failErrno("", errno);
    if (bytes.first == EOF) fail("is empty", "get a complete copy of it");
    // Both bytes are still in the buffer, so that the C library takes both back.
    if (bytes.second != EOF) std::ungetc(bytes.second, file);
    std::ungetc(bytes.first, file);
    return bytes;
}

}  // namespace

uint64_t rowBytes(uint64_t width, unsigned bits) {
    return (width * bits + 31) / 32 * 4;
}

Picture newPicture(const Library& library, uint16_t bits, uint64_t width, uint64_t height) {
    const std::string size = std::to_string(width) + " x " + std::to_string(height) + " pixels";
    if (width > kLargestSide || height > kLargestSide) {
        fail("has " + size + ", a side may have at most 65535", "scale it down first");
    }
    if (width == 0 || height == 0) fail("has " + size, "choose another picture");
    const uint64_t bytes = rowBytes(width, bits) * height;
    if (bytes > std::numeric_limits<uint32_t>::max()) {
        fail("has " + size + ", which is more than 4 gigabytes", "scale it down first");
    }
    Picture picture;
    picture.bits = bits;
    picture.width = static_cast<uint32_t>(width);
    picture.height = static_cast<uint32_t>(height);
    picture.stride = rowBytes(width, bits);
    picture.pixels = allocate(library, static_cast<uint32_t>(bytes));
    picture.rows = picture.pixels.bytes();
    if (bits <= 8) {
        picture.table = allocate(library, 3u << bits);
        picture.colors = picture.table.bytes();
    }
    return picture;
}

uint8_t* rowAt(const Picture& picture, size_t y) {
    return picture.rows + picture.stride * (picture.height - 1 - y);
}

void setColor(Picture& picture, size_t index, Color color) {
    uint8_t* entry = picture.colors + 3 * index;
    entry[0] = color.red;
    entry[1] = color.green;
    entry[2] = color.blue;
}

void setGreys(Picture& picture, unsigned count) {
    for (unsigned i = 0; i < count; ++i) {
        const auto grey = static_cast<uint8_t>(i * 255 / (count - 1));
        setColor(picture, i, {grey, grey, grey});
    }
}

Picture readPicture(const Library& library, const std::string& name, Color background) {
    const OpenFile file = openInput(name);
    const FirstBytes bytes = peek(file.get());
    if (bytes.first == 0x89 && bytes.second == 'P') {
        return readPng(library, file.get(), background);
    }
    if (bytes.first == 0xFF && bytes.second == 0xD8) return readJpeg(library, file.get());
    if (bytes.first == 'P' && bytes.second >= '1' && bytes.second <= '6') {
        return readPnm(library, file.get());
    }
    if (bytes.first == 'B' && bytes.second == 'M') {
        fail("is a BMP file already", "turn it into another kind first, as tivar decode does");
    }
    fail("is neither PNG nor JPEG nor PNM", "convert it to one of them first");
}

}  // namespace tool
