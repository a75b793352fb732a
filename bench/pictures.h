// Pictures to measure with, the same on every machine. What a stage costs depends on what it sees:
// flat rows favour run search, photographs spread over the colour cells, noise defeats both.
#pragma once

#include <tivar/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

enum class Content { kFlat, kPhoto, kNoise };

const char* nameOf(Content content);

// Unpadded rows of red, green, blue.
std::vector<uint8_t> drawColors(uint32_t width, uint32_t height, Content content);

// Owns a block of movable memory.
struct Block {
    explicit Block(MemHandle block = 0) : handle(block) {}
    ~Block();
    Block(Block&& other) noexcept : handle(other.handle) { other.handle = 0; }
    Block& operator=(Block&&) = delete;
    uint8_t* data() const;
    MemHandle handle;
};

// A block with these bytes.
Block blockOf(const std::vector<uint8_t>& bytes);

// A table of 2^bits entries taken from a photograph, or of greys.
std::vector<uint8_t> colorTable(int bits);
std::vector<uint8_t> greyTable(int bits);

// A bitmap with padded rows and, below 24 bits, the table of its depth.
struct Bitmap {
    Bitmap(uint32_t width, uint32_t height, int16_t bits, Content content = Content::kPhoto);
    uint32_t stride() const;
    uint64_t pixelCount() const { return uint64_t{width} * height; }

    uint32_t width;
    uint32_t height;
    int16_t bits;
    Block pixels;
    Block table;
};

constexpr uint32_t kSide = 1024;  // of the pictures that most stages are measured with

// A file of its own in the directory for temporary files, removed at the end.
struct TemporaryFile {
    TemporaryFile();
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    std::string path;
};

// The built-in settings as those that the library works with while the guard lives.
struct CurrentSettings {
    CurrentSettings(int bits, bool encoded);
    ~CurrentSettings();
    CurrentSettings(const CurrentSettings&) = delete;
    CurrentSettings& operator=(const CurrentSettings&) = delete;
    Block record;
};

}  // namespace bench
