#include "gallery/preview.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <vector>

#include "export/scaling.h"
#include "gallery/html.h"
#include "picture/write_picture.h"
#include "process/failure.h"
#include "process/input_file.h"
#include "process/system.h"

namespace tool {
namespace {

// In pixels of the page: three pictures side by side fit a page of 1280.
constexpr uint32_t kShotWidth = 352;
constexpr uint32_t kShotHeight = 220;
constexpr uint32_t kDetailEnlarged = 2;

constexpr uint32_t kLongestPreview = 400;

// Whole-number blocks of one row of blocks.
struct Blocks {
    PixelRows rows;
    uint32_t factor;
    std::vector<uint8_t> packed;
    std::vector<uint8_t> colors;
    std::vector<uint64_t> sums;
};

void addRow(Blocks& blocks) {
    for (uint32_t x = 0; x < blocks.rows.width; ++x) {
        uint64_t* sum = &blocks.sums[size_t{x / blocks.factor} * 3];
        for (size_t i = 0; i < 3; ++i) sum[i] += blocks.colors[size_t{x} * 3 + i];
    }
}

void readBlocks(Blocks& blocks, uint32_t y, uint8_t* means) {
    const uint32_t factor = blocks.factor;
    const uint32_t first = y * factor;
    const uint32_t height = std::min(factor, blocks.rows.height - first);
    std::fill(blocks.sums.begin(), blocks.sums.end(), 0);
    for (uint32_t row = first; row < first + height; ++row) {
        readColors(blocks.rows, row, blocks.packed, blocks.colors.data());
        addRow(blocks);
    }
    for (size_t i = 0; i < blocks.sums.size(); ++i) {
        const auto left = static_cast<uint32_t>(i / 3) * factor;
        const uint64_t count = uint64_t{height} * std::min(factor, blocks.rows.width - left);
        means[i] = static_cast<uint8_t>((blocks.sums[i] + count / 2) / count);
    }
}

// The middle of the picture, of at most width x height pixels; it begins with a whole byte.
PixelRows middle(const PixelRows& rows, uint32_t width, uint32_t height) {
    PixelRows part;
    part.width = std::min(width, rows.width);
    part.height = std::min(height, rows.height);
    part.bits = rows.bits;
    part.palette = rows.palette;
    const size_t left = (rows.width - part.width) / 2 / 8 * 8;
    const uint32_t top = (rows.height - part.height) / 2;
    const size_t count = packedBytes(part);
    part.read = [rows, left, top, count](uint32_t y, uint8_t* packed) {
        std::vector<uint8_t> whole(packedBytes(rows));
        rows.read(top + y, whole.data());
        std::copy_n(&whole[left * rows.bits / 8], count, packed);
    };
    return part;
}

std::string dataAddress(const PixelRows& rows, const char* kind,
                        int (*write)(const PixelRows& rows, std::FILE* file)) {
    const OpenFile file(::fdopen(::memfd_create("tivar-preview", MFD_CLOEXEC), "w+b"));
    if (file == nullptr) failErrno("", errno);
    const int error = write(rows, file.get());
    if (error != 0) failErrno("", error);
    std::rewind(file.get());
    const std::vector<uint8_t> bytes = readAll(file.get());
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return "data:image/" + std::string(kind) + ";base64," + base64(text);
}

}  // namespace

PreviewScale previewScale(uint32_t width, uint32_t height) {
    const uint32_t longest = std::max(width, evenHeight(height));
    return {(longest + kLongestPreview - 1) / kLongestPreview, std::max(1u, kShotWidth / longest)};
}

PixelRows reduced(const PixelRows& rows, uint32_t factor) {
    if (factor == 1) return rows;
    PixelRows small;
    small.width = (rows.width + factor - 1) / factor;
    small.height = (rows.height + factor - 1) / factor;
    small.bits = 24;
    auto blocks = std::make_shared<Blocks>(Blocks{rows, factor, {}, {}, {}});
    blocks->colors.resize(size_t{rows.width} * 3);
    blocks->sums.resize(size_t{small.width} * 3);
    small.read = [blocks](uint32_t y, uint8_t* packed) { readBlocks(*blocks, y, packed); };
    return small;
}

Preview previewOf(const PixelRows& rows, PreviewScale scale) {
    if (scale.factor == 1) {
        return {dataAddress(rows, "png", writePng), rows.width, rows.height, scale.enlarged};
    }
    const PixelRows small = reduced(rows, scale.factor);
    return {dataAddress(small, "jpeg", writeJpeg), small.width, small.height, 1};
}

bool deservesDetail(PreviewScale scale) {
    return scale.enlarged < kDetailEnlarged;
}

Preview detailOf(const PixelRows& rows) {
    const PixelRows part =
        middle(rows, kShotWidth / kDetailEnlarged, kShotHeight / kDetailEnlarged);
    return {dataAddress(part, "png", writePng), part.width, part.height, kDetailEnlarged};
}

}  // namespace tool
