// A strict reader of BMP files, and what a file of the direct interface is to show, worked out one
// pixel at a time. Written from the format's description and the public header alone: nothing in
// here shares code with the library.
#pragma once

#include <tivar/write.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace model {

using Bytes = std::vector<std::uint8_t>;

struct Rgba {
    std::uint8_t red;
    std::uint8_t green;
    std::uint8_t blue;
    std::uint8_t alpha;

    bool operator==(const Rgba& other) const {
        return red == other.red && green == other.green && blue == other.blue &&
               alpha == other.alpha;
    }
    bool operator!=(const Rgba& other) const { return !(*this == other); }
};

// --- Files --------------------------------------------------------------------------------------

enum Compression : std::uint32_t { kRaw = 0, kRle8 = 1, kRle4 = 2, kMasks = 3 };

// A file taken apart. Pixels stand with the top row first, whatever the file's order.
struct BmpFile {
    std::uint32_t headerSize;  // 12, 40 or 108
    std::uint32_t width;
    std::uint32_t height;
    bool isTopDown;
    std::uint32_t bits;
    std::uint32_t compression;
    std::uint32_t masks[4];  // red, green, blue, alpha; zeros without masks
    std::int32_t xPerMeter;
    std::int32_t yPerMeter;
    Bytes palette;  // red, green, blue
    std::size_t rowsLength;
    std::vector<std::uint32_t> values;  // indices, or the pixels' numbers as they lie in the file
};

// Takes a file apart. The result is empty when every field, every byte of padding and the file's
// length are right, else what is wrong first. Encoded rows end with the code for it, the bitmap
// with its own, and every pixel is given once.
std::string readBmp(const Bytes& file, BmpFile& result);

std::uint32_t valueAt(const BmpFile& file, std::uint32_t x, std::uint32_t y);

// What a viewer shows; without an alpha mask all is opaque.
Rgba colorAt(const BmpFile& file, std::uint32_t x, std::uint32_t y);

// The colour of a palette's entry; black behind its last.
Rgba entryOf(const Bytes& palette, std::uint32_t index);

// --- Pictures -----------------------------------------------------------------------------------

// A picture in one of the public formats, rows from the top without padding.
struct Drawn {
    std::int32_t format;
    std::uint32_t width;
    std::uint32_t height;
    Bytes rows;
    Bytes palette;
};

int bitsOfFormat(std::int32_t format);
bool isIndexed(std::int32_t format);
bool hasAlpha(std::int32_t format);
std::size_t rowBytes(std::int32_t format, std::uint32_t width);

std::uint32_t indexAt(const Drawn& picture, std::uint32_t x, std::uint32_t y);
Rgba colorAt(const Drawn& picture, std::uint32_t x, std::uint32_t y);

// --- What a file is to be -----------------------------------------------------------------------

// The depth that the options stand for.
int bitsOfFile(const Drawn& picture, const TivarOptions& options);

// The colour laid over a background: each channel to the nearest, where there is no tie.
Rgba laidOver(Rgba color, const std::uint8_t background[3]);

// The pixel's colour before it is brought to the file's depth. Opaque unless the file keeps alpha.
Rgba wantedColor(const Drawn& picture, const TivarOptions& options, std::uint32_t x,
                 std::uint32_t y);

// The nearest of the numbers 0 to `most` to value / 255 of them.
std::uint32_t nearestLevel(std::uint32_t value, std::uint32_t most);

// A pixel of a file of 16 bits whose masks are those of the options, without dithering.
std::uint32_t wanted16(Rgba color, std::int32_t masks);

// Equal steps from black to white.
Bytes greys(std::uint32_t count);

// The least squared distance between the colour and an entry of the palette.
std::uint32_t nearestDistance(const Bytes& palette, Rgba color);
std::uint32_t distance(Rgba a, Rgba b);

// What is wrong with a file that is to hold the picture exactly, as far as its depth allows, or
// nothing. For indexed files the palette is whatever the file says; the colours count.
std::string compareExactly(const BmpFile& file, const Drawn& picture, const TivarOptions& options);

// --- Run lengths --------------------------------------------------------------------------------

// The least bytes that a row of indices can be encoded in, without the code for its end. Literal
// runs of 4-bit pixels count even lengths only, as the library writes them, or any.
std::size_t smallestRow(const std::vector<std::uint32_t>& row, std::uint32_t bits,
                        bool evenLiterals);

}  // namespace model
