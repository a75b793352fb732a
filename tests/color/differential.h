// What the comparisons of the colour library with its plain model share.
#pragma once

#include <tivar/color.h>

#include <memory>
#include <ostream>
#include <sstream>

#include "base/memory.h"
#include "support/color_bitmaps.h"
#include "support/random_bitmaps.h"

namespace differential {

using model::Bitmap;
using support::Block;
using support::Bytes;
using support::kMixes;
using support::Mix;
using support::Numbers;
using support::randomBitmap;
using support::randomTable;
using support::sameBytes;

constexpr int kDepths[] = {1, 4, 8, 24, 32};
constexpr uint32_t kCounts[] = {0, 1, 2, 16, 255, 256, 300};

inline int16_t narrow(int64_t value) {
    return static_cast<int16_t>(value);
}

// Entries that a source's colour table has; few where the depth has no table.
inline uint32_t entriesFor(int bits) {
    return bits > 8 ? 2 : 1u << bits;
}

// Bytes at an odd address on the heap, with nothing of the block behind them.
class Unaligned {
  public:
    explicit Unaligned(const Bytes& bytes, size_t offset = 1)
        : memory_(new uint8_t[offset + bytes.size()]), start_(offset), size_(bytes.size()) {
        std::copy(bytes.begin(), bytes.end(), data());
    }
    uint8_t* data() { return memory_.get() + start_; }
    Bytes contents() { return {data(), data() + size_}; }

  private:
    std::unique_ptr<uint8_t[]> memory_;
    size_t start_, size_;
};

// A block as hosts hand it over: of the library's memory, or of the host's own, which may start
// anywhere and ends with its bytes. Which one it is depends on the number of bytes.
class Handed {
  public:
    explicit Handed(const Bytes& bytes)
        : own_(bytes, 1 + bytes.size() / 8 % 9),
          block_(bytes.size() / 4 % 2 == 0
                     ? GlobalPointerToHandle(own_.data(), static_cast<uint32_t>(bytes.size()))
                     : support::newBlock(bytes)) {}
    MemHandle handle() const { return block_.handle; }
    Bytes contents() const { return block_.contents(); }

  private:
    Unaligned own_;
    Block block_;
};

// A table of a test's, and the block that hands it to the library; both may be absent.
struct Table {
    Table() = default;
    explicit Table(Bytes entries)
        : bytes(std::make_unique<Bytes>(std::move(entries))),
          block(std::make_unique<Handed>(*bytes)) {}
    const Bytes* forModel() const { return bytes.get(); }
    MemHandle handle() const { return block ? block->handle() : 0; }
    bool unchanged() const { return !block || block->contents() == *bytes; }

    std::unique_ptr<Bytes> bytes;
    std::unique_ptr<Handed> block;
};

// The block that a routine made has the expected bytes and nothing but zeros behind them. Frees it.
inline testing::AssertionResult sameBlock(MemHandle made, const Bytes& expected) {
    if (made == 0) return testing::AssertionFailure() << "no block";
    const Block block(made);
    const auto* data = static_cast<const uint8_t*>(GlobalLock(made));
    for (size_t i = GlobalSize(made); i < tivar::blockRoom(made); ++i) {
        if (data[i] != 0) return testing::AssertionFailure() << "written behind the block";
    }
    return sameBytes(block.contents(), expected);
}

// A bitmap's shape, for messages.
struct Shape {
    const Bitmap& bitmap;
};

inline std::ostream& operator<<(std::ostream& out, const Shape& shape) {
    return out << shape.bitmap.width << " x " << shape.bitmap.height << " at " << shape.bitmap.bits;
}

// --- What the library prints ---

inline bool printsDots(int level) {
    return level != 0 && level < 3;
}

// A conversion's text on standard error; only the shape of its result matters.
inline std::string conversionText(int level, uint32_t width, uint32_t height, int bits) {
    if (level == 0) return "";
    std::ostringstream text;
    text << "Allocated " << model::bytesPerLine(width, bits) * height
         << " bytes of new memory for the destination bitmap\n";
    if (printsDots(level)) text << "Converted bits. Each (.) represents one scan line\n";
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width && level > 3; ++x) text << "(" << x << "," << y << "): ";
        if (printsDots(level)) text << ".";
    }
    text << "\nColor resolution conversion complete\n";
    return text.str();
}

// The first entries of a table, a line each.
inline void printEntries(std::ostream& text, const char* start, const Bytes& table, int count) {
    for (int i = 0; i < count; ++i) {
        const uint32_t entry = model::tableEntry(table, static_cast<uint32_t>(i));
        text << start << i << ": [" << (entry >> 24) << ", " << (entry >> 16 & 255) << ", "
             << (entry >> 8 & 255) << "]\n";
    }
}

// A reduction's text on standard error.
inline std::string reductionText(int level, const model::Reduced& reduced) {
    if (level == 0) return "";
    std::ostringstream text;
    text << "Color Reduction in Process...24bit -> " << reduced.table.size() / 3
         << " colors\n  -new color table size: " << reduced.count << "\n";
    printEntries(text, "   color ", reduced.table, reduced.count);
    return text.str();
}

// A dither's text on standard output.
inline std::string ditherText(int level, const model::Reduced& table, uint32_t height) {
    if (level == 0) return "";
    std::ostringstream text;
    text << "Dithering to the following colortable:\n";
    printEntries(text, "color ", table.table, table.count);
    if (printsDots(level))
        text << "Dithering...each(.) represents one scan line\n"
             << std::string(height, '.') << "\n";
    return text.str();
}

}  // namespace differential
