// A picture in memory, as its file has it: nothing is blended, scaled or reduced yet.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tool {

constexpr uint32_t kLargestSide = 65535;  // CellPicture counts in 16 bits

struct PixelSize {
    uint32_t width;
    uint32_t height;
};

struct Color {
    uint8_t red = 255;
    uint8_t green = 255;
    uint8_t blue = 255;
};

// Bytes in the order of their names; of indices the leftmost pixel has the highest bits of its
// byte. Inks are amounts of cyan, magenta, yellow and black.
enum class PixelFormat { Index1, Index4, Index8, Grey, GreyAlpha, Rgb, Rgba, Inks };

// What the user may not expect of a picture that was read.
struct Notice {
    std::string what;
    std::string remedy;
};

struct FreeBytes {
    void operator()(uint8_t* bytes) const { std::free(bytes); }
};

// Rows lie bottom row first, padded to multiples of 4 bytes, which the library's pictures are, too.
struct Image {
    PixelFormat format{};
    uint32_t width{};
    uint32_t height{};
    size_t stride{};                               // bytes of a row with its padding
    std::unique_ptr<uint8_t[], FreeBytes> pixels;  // zeroed
    std::vector<Color> palette;                    // of indices; none beyond it are in use
    std::vector<uint8_t> alphas;   // of the palette's first entries; others are opaque
    std::vector<uint8_t> profile;  // the ICC profile of its colours
    int orientation = 1;           // as EXIF counts; 1 = upright
    // What the file holds, when its reader decoded it smaller: so many eighths of these sides.
    PixelSize whole{};
    unsigned eighths = 8;
    std::vector<Notice> notices;
};

// What the reader of a picture is asked.
struct ReadRequest {
    uint64_t limitPixels = uint64_t{1} << 28;
    uint64_t longestSide = kLargestSide;
    bool orient = true;
    bool lenient = false;  // damaged pictures as far as they go
    int quarters = 0;      // turned clockwise so often, once it is upright
    unsigned threads = 1;  // of the reader, at most
    // How much of its sides is enough of a stored picture of that size and orientation, for readers
    // that decode a smaller one in less time; none = all of it.
    std::function<double(PixelSize stored, int orientation)> enough;
};

unsigned bitsOf(PixelFormat format);
bool isIndexed(PixelFormat format);

// The smallest format that holds so many palette entries.
PixelFormat indexFormat(size_t colors);

// Bytes of one row, padded to a multiple of 4.
uint64_t rowBytes(uint64_t width, unsigned bits);

// Sides or products beyond what is asked or possible are Failures.
void requireSize(const ReadRequest& request, PixelFormat format, uint64_t width, uint64_t height);

// A picture without its pixels; sides or products beyond what is asked or possible are Failures.
Image outlineOf(const ReadRequest& request, PixelFormat format, uint64_t width, uint64_t height);

// A zeroed picture; sides or products beyond what is asked or possible are Failures.
Image newImage(const ReadRequest& request, PixelFormat format, uint64_t width, uint64_t height);

// The same without limits, for what is made of pictures that kept to them.
Image newImage(PixelFormat format, PixelSize size);

Image copyOf(const Image& image);

// Row y, counted from the top.
inline uint8_t* rowAt(const Image& image, size_t y) {
    return image.pixels.get() + image.stride * (image.height - 1 - y);
}

// So many greys from black to white.
std::vector<Color> greys(unsigned count);

// Two-bit indices, four to a byte, become four-bit ones, two to a byte, in their place.
void widenTwoBits(uint8_t* row, uint32_t width);

// The same pixels, as Rgb or Rgba: greys and palettes become colours, and what has no alpha is
// opaque. Rgb leaves alpha away.
void convertRow(const Image& image, const uint8_t* from, PixelFormat wanted, uint8_t* to);

}  // namespace tool
