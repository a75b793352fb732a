#include "pictures.h"

#include <tivar/color.h>
#include <tivar/filter.h>
#include <tivar/memory.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace bench {
namespace {

// A hash with good bits everywhere: the steps of a 32-bit xorshift-multiply mixer.
uint32_t mix(uint32_t value) {
    value ^= value >> 16;
    value *= 0x7feb352du;
    value ^= value >> 15;
    value *= 0x846ca68bu;
    return value ^ value >> 16;
}

// -1 to 1 at a lattice point.
float latticeValue(uint32_t x, uint32_t y, uint32_t seed) {
    const uint32_t hash = mix(x ^ mix(y ^ mix(seed)));
    return static_cast<float>(hash >> 8) / 8388608.0f - 1.0f;
}

float fade(float t) {
    return t * t * (3 - 2 * t);
}

float smoothValue(uint32_t x, uint32_t y, uint32_t period, uint32_t seed) {
    const float u = fade(static_cast<float>(x % period) / static_cast<float>(period));
    const float v = fade(static_cast<float>(y % period) / static_cast<float>(period));
    const auto corner = [&](uint32_t right, uint32_t down) {
        return latticeValue(x / period + right, y / period + down, seed);
    };
    const float top = std::lerp(corner(0, 0), corner(1, 0), u);
    const float bottom = std::lerp(corner(0, 1), corner(1, 1), u);
    return std::lerp(top, bottom, v);
}

// Detail fades with its size, as in nature.
float octaves(uint32_t x, uint32_t y, uint32_t largest, uint32_t smallest, uint32_t seed) {
    float sum = 0;
    float amplitude = 0.5f;
    for (uint32_t period = largest; period >= smallest; period /= 2, amplitude *= 0.55f)
        sum += amplitude * smoothValue(x, y, period, seed + period);
    return sum;
}

uint8_t byteOf(float level) {
    return static_cast<uint8_t>(std::clamp(level, 0.0f, 255.0f));
}

// Bright and dark carry the detail, hue changes slowly, and a sensor's grain lies over both.
void drawPhotoPixel(uint32_t x, uint32_t y, uint8_t* pixel) {
    const float light = 120 + 130 * octaves(x, y, 256, 4, 1);
    const float warm = 60 * octaves(x, y, 256, 32, 1001);
    const float tint = 40 * octaves(x, y, 128, 32, 2001);
    const float grain = 3 * latticeValue(x, y, 3001);
    pixel[0] = byteOf(light + warm + grain);
    pixel[1] = byteOf(light + tint + grain);
    pixel[2] = byteOf(light - warm - tint / 2 + grain);
}

void drawPixel(uint32_t x, uint32_t y, Content content, uint8_t* pixel) {
    switch (content) {
        case Content::kFlat:
            std::fill_n(pixel, 3, uint8_t{0x55});
            break;
        case Content::kPhoto:
            drawPhotoPixel(x, y, pixel);
            break;
        case Content::kNoise: {
            const uint32_t value = mix(x ^ mix(y));
            std::memcpy(pixel, &value, 3);
            break;
        }
    }
}

// The light of a pixel as an index of a shallower depth.
uint32_t indexOf(const uint8_t* pixel, int16_t bits) {
    return static_cast<uint32_t>(pixel[1]) >> (8 - bits);
}

void storeRow(const uint8_t* colors, uint32_t width, int16_t bits, uint8_t* row) {
    if (bits == 24) {
        std::memcpy(row, colors, size_t{width} * 3);
        return;
    }
    const auto perByte = static_cast<uint32_t>(8 / bits);
    for (uint32_t x = 0; x < width; ++x, colors += 3) {
        const uint32_t shift = (perByte - 1 - x % perByte) * static_cast<uint32_t>(bits);
        row[x / perByte] = static_cast<uint8_t>(row[x / perByte] | indexOf(colors, bits) << shift);
    }
}

int32_t formatOf(int bits) {
    return bits == 1   ? COLOR_FORMAT_1BIT
           : bits == 4 ? COLOR_FORMAT_4BIT
           : bits == 8 ? COLOR_FORMAT_8BIT
                       : COLOR_FORMAT_24BIT;
}

}  // namespace

const char* nameOf(Content content) {
    return content == Content::kFlat ? "flat" : content == Content::kPhoto ? "photo" : "noise";
}

std::vector<uint8_t> drawColors(uint32_t width, uint32_t height, Content content) {
    std::vector<uint8_t> colors(size_t{width} * height * 3);
    uint8_t* pixel = colors.data();
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x, pixel += 3) drawPixel(x, y, content, pixel);
    return colors;
}

Block::~Block() {
    GlobalFree(handle);
}

uint8_t* Block::data() const {
    return static_cast<uint8_t*>(GlobalLock(handle));
}

Block blockOf(const std::vector<uint8_t>& bytes) {
    Block block(GlobalAlloc(TIVAR_GMEM_FLAGS, static_cast<uint32_t>(bytes.size())));
    std::memcpy(block.data(), bytes.data(), bytes.size());
    return block;
}

// As the reduction of a picture chooses it.
std::vector<uint8_t> colorTable(int bits) {
    const std::vector<uint8_t> colors = drawColors(kSide, 64, Content::kPhoto);
    const Block photo = blockOf(colors);
    auto count = static_cast<uint16_t>(1u << bits);
    const Block reduced(rlReduceColorTable(photo.handle, kSide, 64, &count));
    std::vector<uint8_t> table(size_t{3} << bits);
    std::memcpy(table.data(), reduced.data(), std::min<size_t>(table.size(), size_t{3} * count));
    return table;
}

std::vector<uint8_t> greyTable(int bits) {
    std::vector<uint8_t> table;
    const int last = (1 << bits) - 1;
    for (int i = 0; i <= last; ++i)
        table.insert(table.end(), 3, static_cast<uint8_t>(i * 255 / last));
    return table;
}

Bitmap::Bitmap(uint32_t bitmapWidth, uint32_t bitmapHeight, int16_t bitsPerPixel, Content content)
    : width(bitmapWidth),
      height(bitmapHeight),
      bits(bitsPerPixel),
      pixels(GlobalAlloc(TIVAR_GMEM_FLAGS, rlCalcNewSize(width, height, bits))),
      table(bits > 8 ? Block() : blockOf(colorTable(bits))) {
    // Large pictures repeat the rows of a small one: drawing them all would take longer than most
    // measurements.
    const uint32_t drawn = std::min(height, kSide);
    const std::vector<uint8_t> colors = drawColors(width, drawn, content);
    for (uint32_t y = 0; y < height; ++y)
        storeRow(colors.data() + size_t{y % drawn} * width * 3, width, bits,
                 pixels.data() + size_t{y} * stride());
}

uint32_t Bitmap::stride() const {
    return static_cast<uint32_t>(rlBytesPerLine(width, bits));
}

TemporaryFile::TemporaryFile()
    : path((std::filesystem::temp_directory_path() / "tivar-bench-XXXXXX").string()) {
    const int file = ::mkstemp(path.data());
    if (file >= 0) ::close(file);
}

TemporaryFile::~TemporaryFile() {
    ::unlink(path.c_str());
}

CurrentSettings::CurrentSettings(int bits, bool encoded)
    : record(GlobalAlloc(TIVAR_GMEM_FLAGS, sizeof(SetupRecord))) {
    hRaster = record.handle;
    lpRaster = reinterpret_cast<SetupRecord*>(record.data());
    UseDefaultSettings(lpRaster);
    lpRaster->colorFormat = formatOf(bits);
    lpRaster->compressionMode = encoded ? COMPRESSION_RLE : COMPRESSION_NONE;
}

CurrentSettings::~CurrentSettings() {
    hRaster = 0;
    lpRaster = nullptr;
}

}  // namespace bench
